// Findings may come in numbers, long after their run: an archive of a large batch is read when nobody else
// wants the machine. They are gathered for a moment, and the run is written once for all of them.
//
// While a panel's slot runs nothing is written; a report whose run is over is another one's by then, so what
// was found of it is taken over as soon as it is told.

#include "host/RunResults.h"

#include "host/PanelReport.h"
#include "host/PanelRun.h"
#include "host/SourceWatch.h"
#include "host/core/RunGate.h"
#include "host/site/RunHistory.h"
#include "host/site/SiteAccess.h"

#include <algorithm>
#include <utility>

namespace KOZAV::Host {

namespace {

constexpr int gatherMs = 300;
/// So many runs are held in memory while the site cannot be reached.
constexpr std::size_t mostUnkept = 20;

QString notKeptCode()
{
    return QStringLiteral("history-not-kept");
}

} // namespace

RunResults::RunResults(SiteAccess& site, const PanelRun& run, PanelReport& reports,
                       const SourceWatch& sources, QObject* parent)
    : QObject(parent)
    , m_site(site)
    , m_reports(reports)
{
    m_late.setSingleShot(true);
    m_late.setInterval(gatherMs);
    connect(&run, &PanelRun::ended, this, [this] {
        if (!m_waits)
            conclude();
    });
    connect(&sources, &SourceWatch::warnedLate, this, [this] {
        if (!m_waits && !m_last.guid.isEmpty() && !RunGate::isClosed())
            amend();
    });
    connect(&m_late, &QTimer::timeout, this, [this] { RunGate::whenOpen(this, [this] { keepLast(); }); });
    connect(&site, &SiteAccess::partChanged, this, [this](Backend::SitePart part) {
        if (part == Backend::SitePart::Rows && m_site.part(part).isReachable() && !m_unkept.empty())
            RunGate::whenOpen(this, [this] { (void)keepUnkept(); });
    });
}

RunResults::~RunResults()
{
    if (m_late.isActive())
        keepLast();
}

const RunRecord& RunResults::conclude()
{
    if (m_late.isActive()) {
        m_late.stop();
        keepLast();
    }
    makeLast(QString());
    keepLast();
    Q_EMIT concluded(m_last);
    return m_last;
}

/// @param guid  of the run where it has one
void RunResults::makeLast(const QString& guid)
{
    RunRecord made = RunRecord::of(*m_reports.current());
    if (!guid.isEmpty())
        made.guid = guid;
    made.userName = m_last.userName;
    made.host = m_last.host;
    m_last = std::move(made);
}

/// Behind those that wait to be written: their order is that of the list of runs.
void RunResults::keepLast()
{
    const auto isIt = [this](const RunRecord& run) { return run.guid == m_last.guid; };
    m_unkept.erase(std::remove_if(m_unkept.begin(), m_unkept.end(), isIt), m_unkept.end());
    m_unkept.push_back(m_last);
    // That it was not kept before is over when it is.
    auto& remarks = m_unkept.back().remarks;
    remarks.erase(std::remove_if(remarks.begin(), remarks.end(),
                                 [](const Remark& one) { return one.code == notKeptCode(); }),
                  remarks.end());
    if (m_unkept.size() > mostUnkept)
        m_unkept.erase(m_unkept.begin());
    const QString failure = keepUnkept();
    if (failure.isEmpty())
        return;
    const Remark remark{
        notKeptCode(),
        QStringLiteral("the results could not be written into the site's history: %1").arg(failure)};
    m_reports.current()->remark(remark);
    m_last.remarks.push_back(remark);
}

void RunResults::amend()
{
    makeLast(m_last.guid);
    Q_EMIT amended(m_last);
    m_late.start();
}

/// In their order; ends with the first that still cannot be written. @return why; empty where all are
QString RunResults::keepUnkept()
{
    while (!m_unkept.empty()) {
        RunRecord& run = m_unkept.front();
        QString failure = keepRun(run);
        if (run.guid == m_last.guid) {
            m_last.userName = run.userName;
            m_last.host = run.host;
        }
        if (!failure.isEmpty())
            return failure;
        m_unkept.erase(m_unkept.begin());
        Q_EMIT kept();
    }
    return {};
}

QJsonObject besideResults(const SiteAccess& site, int exitCode)
{
    const QJsonObject parts{{QStringLiteral("rows"), site.part(Backend::SitePart::Rows).place},
                            {QStringLiteral("files"), site.part(Backend::SitePart::Files).place}};
    return {{QStringLiteral("configuration"), site.configurationPath()},
            {QStringLiteral("site"), parts},
            {QStringLiteral("exit_code"), exitCode}};
}

} // namespace KOZAV::Host
