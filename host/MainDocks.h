#pragma once

#include <QObject>

class QDockWidget;
class QMainWindow;

namespace KOZAV::Host {

class JobListDock;

/// What stands in the docks of the window; the docks take it over.
struct DockContents
{
    QWidget* importPanel = nullptr;
    QWidget* waitingJobs = nullptr;
    JobListDock* jobList = nullptr; ///< a dock itself
    QWidget* job = nullptr;         ///< the opened one
    QWidget* messages = nullptr;
};

/// The places around the pages: import and waiting jobs at the left, messages at the bottom. At the right,
/// one behind the other, the job list and the opened job, each only while there is a job for it.
class MainDocks final : public QObject
{
    Q_OBJECT
public:
    /// @param window  has its central widget; becomes the owner
    MainDocks(QMainWindow& window, const DockContents& contents);

    /// In the order in which they stand.
    [[nodiscard]] QList<QDockWidget*> all() const;
    /// Shows the opened job in front of the job list.
    void showJob();

    /// Gives the window the size and the docks the places of the last time on this site; else the window is
    /// as large as the screen allows.
    /// @param formerState  a file to take them from where the user has none yet
    void restore(const QString& siteId, const QString& formerState);
    void keep(const QString& siteId) const;

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QDockWidget* add(const char* objectName, const QString& title, QWidget* content, Qt::DockWidgetArea area);
    void giveDefaultSizes();
    void nameTabs() const;
    void noteRightSize(const QDockWidget& dock);
    void showRight(QDockWidget* dock);

    QMainWindow& m_window;
    QDockWidget* m_import;
    QDockWidget* m_waiting;
    QDockWidget* m_jobList;
    QDockWidget* m_job;
    QDockWidget* m_messages;
    int m_rightWidth;
};

} // namespace KOZAV::Host
