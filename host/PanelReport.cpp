#include "host/PanelReport.h"

#include "host/PanelRun.h"
#include "host/site/KnownJobs.h"
#include "host/site/SiteAccess.h"

#include <QHash>

#include <utility>

namespace KOZAV::Host {

PanelReport::PanelReport(SiteAccess& site, const PanelRun& run, QObject* parent)
    : QObject(parent)
    , m_site(site)
{
    connect(&run, &PanelRun::begins, this, [this](const PanelSource& source) {
        m_report = std::make_unique<BatchReport>(source, std::exchange(m_standIn, {}), rowsAreEmbedded());
    });
    connect(&site, &SiteAccess::serviceCalled, this, [this, &run](const Backend::OperationEvent& event) {
        if (run.isRunning())
            m_report->serviceCalled(event);
    });
    connect(&site, &SiteAccess::companyLost, this, [this, &run](const QString& reason) {
        if (run.isRunning())
            m_report->remark({QStringLiteral("company-lost"), reason});
    });
    connect(&run, &PanelRun::ended, this, [this] {
        m_report->finish();
        tellKnownContent();
    });
}

void PanelReport::reportWithoutRun()
{
    const PanelSource source{PanelSource::Kind::Batch, m_standIn.original, QString()};
    m_report = std::make_unique<BatchReport>(source, std::exchange(m_standIn, {}), rowsAreEmbedded());
    m_report->finish();
}

bool PanelReport::rowsAreEmbedded() const
{
    return !m_site.part(Backend::SitePart::Rows).remote;
}

/// Names for each imported job the one that had its content before: of the site, or of this very run.
void PanelReport::tellKnownContent()
{
    QHash<QString, QString> companies;
    for (const BatchReportRow& row : m_report->rows()) {
        if (row.result == BatchResult::Imported)
            companies.insert(row.flowKey, row.company);
    }
    if (companies.isEmpty())
        return;
    QString failure;
    const auto before = jobsBefore(companies, failure);
    if (!before)
        return m_report->remark(
            {QStringLiteral("content-not-asked"),
             QStringLiteral("whether the site had contents before could not be asked: %1").arg(failure)});
    for (const BatchReportRow& row : std::vector<BatchReportRow>(m_report->rows())) {
        const auto found = before->find(row.flowKey);
        if (row.result != BatchResult::Imported || found == before->end())
            continue;
        const QString job = QStringLiteral("%1 (%2)").arg(found->generatedName, found->company);
        if (companies.contains(found->flowKey))
            m_report->warn(row.sourcePath, {QStringLiteral("same-content"),
                                            QStringLiteral("the same content as %1 of this run").arg(job)});
        else
            m_report->warn(row.sourcePath, {QStringLiteral("known-content"),
                                            QStringLiteral("the site had its content before: %1").arg(job)});
    }
}

} // namespace KOZAV::Host
