#pragma once

#include "host/core/BatchReport.h"

#include <QObject>

#include <memory>

namespace KOZAV::Host {

class PanelRun;
class SiteAccess;

/// Makes the report of each run of the file import panel: the rows of a batch, or the one of a single source.
class PanelReport final : public QObject
{
    Q_OBJECT
public:
    /// To be made before all that follow the run to tell something of it: they find the report of their run,
    /// and when the run has ended its rows.
    /// @param run  of the panel; outlives this object, as the site does
    PanelReport(SiteAccess& site, const PanelRun& run, QObject* parent = nullptr);

    /// The source of the next run is this one.
    void setStandIn(const BatchStandIn& standIn) { m_standIn = standIn; }
    /// Makes the report of a batch of which nothing is left for the panel to import.
    void reportWithoutRun();

    /// Of the run that goes on, or was last; null before the first.
    [[nodiscard]] BatchReport* current() const { return m_report.get(); }

private:
    [[nodiscard]] bool rowsAreEmbedded() const;
    void tellKnownContent();

    const SiteAccess& m_site;
    std::unique_ptr<BatchReport> m_report;
    BatchStandIn m_standIn;
};

} // namespace KOZAV::Host
