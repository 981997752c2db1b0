#pragma once

#include <QObject>
#include <QTextStream>

#include <memory>

namespace KOZAV::Host {

class DialogOperator;
class MainWindow;
class SiteAccess;

/// Works the file import panel of a window as an operator would: chooses a batch directory in the panel's own
/// dialog, presses the button, reads the messages; then prints what was imported and what was not.
class BatchRun final : public QObject
{
    Q_OBJECT
public:
    /// @param directory    absolute path of the batch directory
    /// @param screenshots  directory for pictures of the window (idle, running, done); empty: none
    BatchRun(MainWindow& window, SiteAccess& site, const QString& directory, const QString& screenshots,
             QTextStream& out);
    ~BatchRun() override;

    /// @return exit code: 0 when every entry was imported, 1 when not, or when that is unknown of one, 2 when
    /// the directory cannot be imported
    int run();

private:
    [[nodiscard]] bool chooseDirectory();
    void importDirectory();
    void showProgress(int companiesDone);
    void printReport();
    void screenshot(const QString& name);

    MainWindow& m_window;
    SiteAccess& m_site;
    QString m_directory;
    QString m_screenshots;
    QTextStream& m_out;
    std::unique_ptr<DialogOperator> m_operator;
    bool m_runningShown = false;
};

} // namespace KOZAV::Host
