#include "host/PanelReport.h"

#include "host/PanelRun.h"
#include "host/SiteAccess.h"

#include <utility>

namespace KOZAV::Host {

PanelReport::PanelReport(SiteAccess& site, const PanelRun& run, QObject* parent)
    : QObject(parent)
{
    connect(&run, &PanelRun::begins, this, [this](const PanelSource& source) {
        m_report = std::make_unique<BatchReport>(source, std::exchange(m_originals, {}));
    });
    connect(&site, &SiteAccess::serviceCalled, this, [this, &run](const Backend::OperationEvent& event) {
        if (run.isRunning())
            m_report->serviceCalled(event);
    });
    connect(&run, &PanelRun::ended, this, [this] { m_report->finish(); });
}

} // namespace KOZAV::Host
