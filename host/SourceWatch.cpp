// A source is looked at three times: right before its import, after the last call of the entry before; right
// after its own last row; and once more when the slot has returned, since a copy onto the disk may pause. An
// import that fails ends with any call, so the looks before and after are taken anew after each call that may
// be an entry's last one. A job folder is read by the packer, which refuses what changes meanwhile: it is
// looked at when it is packed and at the end.
//
// What the looks tell is no verdict yet. Which entry a call is made for is guessed here by the listing alone;
// the report knows it better afterwards, so a look may be one of another moment. And times change without the
// content. So where the looks differ the source is read and its content held against the SHA-256 that the row
// of the stored file has: only that counts. Not read are sources whose length alone shows that they are not
// what was stored, and those that somebody is writing at the end.

#include "host/SourceWatch.h"

#include "host/PanelReport.h"
#include "host/PanelRun.h"
#include "host/core/AllCores.h"
#include "host/core/ReadAlong.h"
#include "host/core/RunGate.h"
#include "host/site/KnownJobs.h"
#include "host/site/SiteAccess.h"
#include "ui/import_from_file/BatchDirectory.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace KOZAV::Host {

using Backend::OperationEvent;
using Backend::OperationOutcome;
using Backend::ServiceOperation;

namespace {

bool storesSource(const OperationEvent& event)
{
    return event.operation == ServiceOperation::MongodbPut ||
           event.operation == ServiceOperation::FoldersCompressSave2MongoDb;
}

/// Whether the import of an entry may have ended with this call.
bool mayBeLast(const OperationEvent& event)
{
    return event.outcome != OperationOutcome::Succeeded ||
           event.operation == ServiceOperation::SelectCompanies ||
           event.operation == ServiceOperation::InputJobCompress ||
           event.operation == ServiceOperation::InputJobCompressByFolder;
}

bool isSavedJobFile(const QString& storedName)
{
    return storedName.endsWith(QLatin1String(".kos"));
}

const QString sourceGone = QStringLiteral("source-gone");

bool isToldAsGone(const BatchReportRow& row)
{
    return std::any_of(row.warnings.begin(), row.warnings.end(),
                       [](const Remark& warning) { return warning.code == sourceGone; });
}

} // namespace

SourceWatch::SourceWatch(SiteAccess& site, const PanelRun& run, PanelReport& reports, QObject* parent)
    : QObject(parent)
    , m_site(site)
    , m_run(run)
    , m_reports(reports)
    , m_reader(new ReadAlong(this))
{
    connect(&run, &PanelRun::begins, this, &SourceWatch::begin);
    connect(&run, &PanelRun::ended, this, &SourceWatch::compare);
    connect(&site, &SiteAccess::serviceCalled, this, &SourceWatch::serviceCalled);
    connect(m_reader, &ReadAlong::hasRead, this, [this] { RunGate::whenOpen(this, [this] { takeRead(); }); });
}

SourceWatch::~SourceWatch() = default;

void SourceWatch::begin(const PanelSource& source)
{
    m_sources.clear();
    m_next = 0;
    m_current.reset();
    m_compared = m_hasTakenOff = false;
    if (source.kind == PanelSource::Kind::Batch)
        listBatch(source.path);
    else if (!source.path.isEmpty())
        m_sources.push_back({source.path, source.kind == PanelSource::Kind::JobFolder, {}, {}, {}});
    lookAtNext();
}

void SourceWatch::listBatch(const QString& directory)
{
    if (directory.isEmpty())
        return;
    for (const QFileInfo& company : UI::batchCompanies(directory)) {
        for (const QFileInfo& job : UI::batchJobs(UI::batchEntryPath(company))) {
            const auto kind = UI::batchEntryKind(job);
            if (kind != UI::BatchEntryKind::NotAccepted)
                m_sources.push_back(
                    {UI::batchEntryPath(job), kind == UI::BatchEntryKind::JobFolder, {}, {}, {}});
        }
    }
}

void SourceWatch::serviceCalled(const OperationEvent& event)
{
    if (!m_run.isRunning())
        return;
    if (storesSource(event))
        open(event);
    if (!mayBeLast(event))
        return;
    if (m_current && !m_sources[*m_current].isFolder) {
        Source& source = m_sources[*m_current];
        const bool isImported = event.outcome == OperationOutcome::Succeeded &&
                                event.operation != ServiceOperation::SelectCompanies;
        source.after = Host::lookAtFile(source.path, isImported);
    }
    lookAtNext();
}

/// The import has come to another source.
void SourceWatch::open(const OperationEvent& storing)
{
    const std::size_t index = nextSource(storing);
    m_current.reset();
    if (index == m_sources.size())
        return;
    m_current = index;
    m_next = index + 1;
    Source& source = m_sources[index];
    source.storedName = storing.storedName;
    if (storing.outcome == OperationOutcome::Failed)
        return;
    if (source.isFolder)
        source.before = source.after = Host::lookAtFolder(source.path);
    else
        m_reader->add({storing.storedName, m_site.stagedCopy(storing.storedName), source.path});
}

/// @return the number of all sources where there is none
std::size_t SourceWatch::nextSource(const OperationEvent& storing) const
{
    const bool isFolder = storing.operation == ServiceOperation::FoldersCompressSave2MongoDb;
    const bool isBatch = m_run.source().kind == PanelSource::Kind::Batch;
    const QString suffix = QFileInfo(storing.storedName).suffix();
    const auto isIt = [&](const Source& source) {
        if (source.isFolder != isFolder || !isBatch)
            return source.isFolder == isFolder;
        return isFolder ? source.path == storing.subject : QFileInfo(source.path).suffix() == suffix;
    };
    const auto found =
        std::find_if(m_sources.begin() + static_cast<std::ptrdiff_t>(m_next), m_sources.end(), isIt);
    return static_cast<std::size_t>(found - m_sources.begin());
}

void SourceWatch::lookAtNext()
{
    if (m_next < m_sources.size() && !m_sources[m_next].isFolder)
        m_sources[m_next].before = Host::lookAtFile(m_sources[m_next].path, false);
}

void SourceWatch::compare()
{
    m_byPath.clear();
    for (std::size_t i = 0; i < m_sources.size(); ++i)
        m_byPath.insert(QDir::cleanPath(m_sources[i].path), i);
    // A refutation changes the rows.
    const std::vector<BatchReportRow> rows = m_reports.current()->rows();
    std::vector<Doubt> doubts;
    for (const BatchReportRow& row : rows) {
        const bool mayBeThere = row.result == BatchResult::Imported || row.result == BatchResult::Unknown;
        if (!mayBeThere || row.storedName.isEmpty() || row.sourcePath.isEmpty())
            continue;
        const Source* known = sourceOf(row);
        const Source unknown = {row.sourcePath, QFileInfo(row.sourcePath).isDir(), {}, {}, row.storedName};
        const Source& source = known ? *known : unknown;
        tell(source, row, source.isFolder ? lookAtFolder(source) : lookAtArchive(source, row, doubts));
    }
    settle(doubts);
    m_current.reset();
    takeRead();
    m_compared = true;
    if (m_hasTakenOff)
        Q_EMIT waitingListChanged();
}

void SourceWatch::tell(const Source& source, const BatchReportRow& row, const Finding& finding)
{
    switch (finding.verdict) {
    case Verdict::AsStored:
        break;
    case Verdict::Gone:
        m_reports.current()->warn(row.sourcePath, {sourceGone, finding.text});
        break;
    case Verdict::Changed:
    case Verdict::StillWritten:
        refute(source, row, finding);
        break;
    }
}

/// Null where the source came after the listing.
const SourceWatch::Source* SourceWatch::sourceOf(const BatchReportRow& row) const
{
    const auto listed = m_byPath.find(QDir::cleanPath(row.sourcePath));
    if (listed != m_byPath.end())
        return &m_sources[listed.value()];
    // The row may tell it by the path that it stands for.
    const auto found = std::find_if(m_sources.begin(), m_sources.end(),
                                    [&](const Source& one) { return one.storedName == row.storedName; });
    return found == m_sources.end() ? nullptr : &*found;
}

SourceWatch::Finding SourceWatch::lookAtFolder(const Source& source)
{
    if (!source.after.isThere)
        return {};
    const SourceLook now = Host::lookAtFolder(source.path);
    if (now.state == source.after.state)
        return {};
    if (!now.isThere && !QFileInfo::exists(source.path))
        return {Verdict::Gone, QStringLiteral("the folder is gone since it was imported")};
    if (now.isThere && now.identity != source.after.identity)
        return {Verdict::Changed, QStringLiteral("another folder took its place while it was imported")};
    return {Verdict::Changed, QStringLiteral("files in it were changed while it was imported")};
}

SourceWatch::Finding SourceWatch::lookAtArchive(const Source& source, const BatchReportRow& row,
                                                std::vector<Doubt>& doubts) const
{
    const bool stayed = source.before.isThere && source.before.state == source.after.state &&
                        source.after.length == row.bytes && !source.after.isOpenForWriting;
    const SourceLook now = Host::lookAtFile(source.path, true);
    if (!now.isThere && stayed)
        return {Verdict::Gone, QStringLiteral("the archive is gone since it was imported")};
    if (!now.isThere)
        return {Verdict::Changed,
                QStringLiteral("it was gone before it could be compared with what was stored")};
    if (now.isOpenForWriting)
        return {Verdict::StillWritten, QStringLiteral("it is still being written: somebody has it open")};
    if (now.length != row.bytes)
        return {Verdict::Changed,
                QStringLiteral("it was changed while it was imported: %1 bytes were stored, it has %2")
                    .arg(row.bytes)
                    .arg(now.length)};
    const bool sameLooks = stayed && now.state == source.after.state;
    if (sameLooks && source.before.isSettled)
        return {};
    const bool isOther = now.identity != source.before.identity;
    doubts.push_back(
        {&row,
         source,
         sameLooks,
         {Verdict::Changed, isOther ? QStringLiteral("another file took its place while it was imported")
                                    : QStringLiteral("its content was changed while it was imported")}});
    return {};
}

/// The site is asked once for all of them, and they are read by as many threads as there are cores.
void SourceWatch::settle(const std::vector<Doubt>& doubts)
{
    if (doubts.empty())
        return;
    QStringList flowKeys;
    for (const Doubt& doubt : doubts)
        flowKeys << doubt.row->flowKey;
    QString failure; // where it cannot be asked their looks decide
    const auto stored = contentsOfJobs(flowKeys, failure).value_or(QHash<QString, SourceContent>());
    std::vector<std::optional<bool>> isStored(doubts.size());
    const auto read = [&](std::size_t number) {
        const auto content = stored.find(flowKeys.at(static_cast<int>(number)));
        if (content != stored.end() && !content->sha256.isEmpty())
            isStored[number] = hasContent(doubts[number].source.path, *content);
    };
    forEachOnCores(doubts.size(), 0, read, [] {});
    for (std::size_t i = 0; i < doubts.size(); ++i) {
        if (!isStored[i].value_or(doubts[i].sameLooks))
            tell(doubts[i].source, *doubts[i].row, doubts[i].otherwise);
    }
}

void SourceWatch::refute(const Source& source, const BatchReportRow& row, const Finding& finding)
{
    const QString code = finding.verdict == Verdict::StillWritten ? QStringLiteral("still-written")
                                                                  : QStringLiteral("source-changed");
    QString text = finding.text;
    const QString failure = m_site.failImport(row.flowKey, finding.text);
    if (!failure.isEmpty())
        text +=
            QStringLiteral("; %1 stays on the waiting list all the same: %2").arg(row.generatedName, failure);
    else if (isSavedJobFile(row.storedName))
        text += QStringLiteral("; the robot was asked for it already");
    m_hasTakenOff = m_hasTakenOff || failure.isEmpty();
    m_reports.current()->refute(row.sourcePath, {code, text},
                                failure.isEmpty() ? BatchResult::NotImported : BatchResult::Unknown);
    Q_EMIT refuted(source.path);
}

void SourceWatch::finishReading()
{
    m_reader->finish();
    takeRead();
}

/// While the panel imports, the report does not know yet which stored file is whose.
void SourceWatch::takeRead()
{
    if (m_run.isRunning())
        return;
    for (const ReadAlong::Read& read : m_reader->takeRead()) {
        const auto remark = remarkOf(read.flaw, isSavedJobFile(read.archive.storedName));
        if (!remark)
            continue;
        BatchReport& report = *m_reports.current();
        const auto& rows = report.rows();
        const auto row = std::find_if(rows.begin(), rows.end(), [&read](const BatchReportRow& one) {
            return one.storedName == read.archive.storedName;
        });
        const QString path = row == rows.end() ? read.archive.source : row->sourcePath;
        if (row != rows.end() && read.flaw.kind == ArchiveFlaw::Kind::Gone && isToldAsGone(*row))
            continue;
        if (row != rows.end())
            report.warn(path, *remark);
        if (m_compared)
            Q_EMIT warnedLate(path, *remark);
    }
}

} // namespace KOZAV::Host
