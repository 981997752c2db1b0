#pragma once

#include <QEventLoop>
#include <QObject>
#include <QTextStream>

namespace KOZAV::UI {
class ZAV_Import_Widget;
}

namespace KOZAV::Host {

class DialogOperator;
class MainWindow;
class SiteAccess;

/// Works the job list panel of a window as an operator would: opens it for a job, picks the job's row,
/// presses the button, confirms; waits until the job is opened and the robot request written, and says how it
/// went.
class ImportRun final : public QObject
{
    Q_OBJECT
public:
    /// @param screenshots  directory for pictures of the window (list, opened); empty: none
    ImportRun(MainWindow& window, SiteAccess& site, const QString& jobName, int mode,
              const QString& screenshots, QTextStream& out);

    /// @return exit code: 0 when the request was sent, 1 when not or when that is doubtful, 2 when the job
    /// does not wait for import
    int run();

private:
    [[nodiscard]] bool pickRow(const UI::ZAV_Import_Widget& panel);
    void watch(UI::ZAV_Import_Widget* panel, DialogOperator& dialogs);
    void say(const QString& text);
    void screenshot(const QString& name);

    MainWindow& m_window;
    SiteAccess& m_site;
    QString m_jobName;
    int m_mode;
    QString m_screenshots;
    QTextStream& m_out;
    QEventLoop m_loop;
    bool m_started = false;
    bool m_isOver = false;
    bool m_sent = false;
    bool m_rowChanged = true;
};

} // namespace KOZAV::Host
