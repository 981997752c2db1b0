#pragma once

#include <QMainWindow>

class QLabel;
class QPushButton;
class QSplitter;

namespace KOZAV::UI {
class ZAV_ImportFromFile_Widget;
class ZAV_Import_Widget;
} // namespace KOZAV::UI

/// A window with both panels, and what they leave to their host.
class HostWindow : public QMainWindow
{
    Q_OBJECT
public:
    HostWindow();

    [[nodiscard]] KOZAV::UI::ZAV_ImportFromFile_Widget& importPanel() const { return *m_importPanel; }
    /// Where both panels stand.
    [[nodiscard]] QWidget& place() const;
    /// The generated names of the jobs that the job list panel shows.
    [[nodiscard]] QStringList listedJobs() const;

private:
    void openJobList();
    void importJob(const QString& jobInformation);
    void reportImported();

    QSplitter* m_place;
    KOZAV::UI::ZAV_ImportFromFile_Widget* m_importPanel;
    KOZAV::UI::ZAV_Import_Widget* m_jobList = nullptr;
    QLabel* m_message;
    QPushButton* m_imported;
};
