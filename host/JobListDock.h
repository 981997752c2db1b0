#pragma once

#include <QDockWidget>

class QTableView;

namespace KOZAV::UI {
class ZAV_Import_Widget;
}

namespace KOZAV::Host {

struct ImportedJob;

/// Holds the job list panel while it is open for a job; closes with it.
class JobListDock final : public QDockWidget
{
    Q_OBJECT
public:
    explicit JobListDock(QWidget* parent = nullptr);

    /// Opens the panel for a job, in place of one that is open, with the job's row selected. @return the
    /// panel, owned by the dock
    UI::ZAV_Import_Widget* open(const ImportedJob& job, int mode);

    bool eventFilter(QObject* watched, QEvent* event) override;

Q_SIGNALS:
    /// A panel was made for a job.
    void opened(KOZAV::UI::ZAV_Import_Widget* panel, const KOZAV::Host::ImportedJob& job);
    /// The robot request of the job was written.
    void requestSent(const QString& jobName);

private:
    void keepRoomForRows(const QTableView& table);
    void preselect(QTableView& table, const QString& generatedName);

    UI::ZAV_Import_Widget* m_panel = nullptr;
};

} // namespace KOZAV::Host
