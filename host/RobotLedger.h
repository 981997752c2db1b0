#pragma once

#include "host/site/RobotRecords.h"
#include "host/site/SiteAccess.h"

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QTimer>

#include <vector>

namespace KOZAV::UI {
class ZAV_Import_Widget;
}

namespace KOZAV::Host {

class PanelReport;
class PanelRun;

/// Writes down every request to the CAM robot that the panels make, with what became of it as far as it can
/// be known: as events of the jobs, and in the report of the run.
///
/// It changes nothing of what the panels do, and never fails an import: it writes when they have ended, and
/// what cannot be written is told.
class RobotLedger final : public QObject
{
    Q_OBJECT
public:
    /// @param run, report  of the file import panel; outlive this object, as the site does
    RobotLedger(SiteAccess& site, const PanelRun& run, const PanelReport& report, QObject* parent = nullptr);
    /// Writes what is not written yet, as far as it is known.
    ~RobotLedger() override;

    /// Follows the request that a job list panel makes for the job that it is opened for.
    void follow(UI::ZAV_Import_Widget* panel, const ImportedJob& job);

    /// Looks at the robot once more and writes what is not written yet, now and not in a moment; concluded()
    /// follows for each request of a confirmed job. Takes about a second at most.
    void conclude();

    /// What is wrong with the configured address of the robot: saved jobs are sent to a numeric one only.
    /// Empty where nothing is.
    [[nodiscard]] static QString addressWarning();

    bool eventFilter(QObject* watched, QEvent* event) override;

Q_SIGNALS:
    /// What became of the request of a confirmed job.
    void concluded(const KOZAV::Host::RobotRequest& request);
    /// What is to be known of such a request that was not plainly sent, or that it could not be written down;
    /// for people.
    void told(const QString& text);

private:
    /// An entry of a run of the file import panel, as its calls come.
    struct Entry
    {
        QString flowKey; ///< empty where the row could not be made
        QString generatedName;
        bool complete = false;
        bool requested = false;
        RobotRequest request;
    };

    void noteCall(const Backend::OperationEvent& event);
    void noteImportCall(const Backend::OperationEvent& event);
    void tellRun();
    void warn(const RobotRequest& request);
    void settle(RobotRequest::Outcome outcome);
    void writeConfirmed();
    QString write(const std::vector<RobotRequest>& requests);
    [[nodiscard]] static RobotRequest requestNow(RobotRequest::Origin origin);

    SiteAccess& m_site;
    const PanelRun& m_run;
    const PanelReport& m_report;
    std::vector<Entry> m_entries; ///< of the run that goes on
    ImportedJob m_job;            ///< of the job list panel
    bool m_confirming = false;    ///< its request is being made
    RobotRequest m_confirmed;
    std::vector<RobotRequest> m_unwritten;
    QTimer m_conclusion;
};

} // namespace KOZAV::Host
