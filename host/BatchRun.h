#pragma once

#include "backend/HostInterface.h"

#include <QObject>
#include <QTextStream>

#include <memory>

namespace KOZAV::Host {

class BatchReport;
class DialogOperator;
class KnownBatch;
class MainWindow;
class SiteAccess;
struct RunRecord;

struct BatchOptions
{
    QString directory;       ///< absolute path of the batch directory
    QString screenshots;     ///< directory for pictures of the window (idle, running, done); empty: none
    bool json = false;       ///< the report as a JSON document, not as tables
    bool skipKnown = false;  ///< leave out what the site has already (KnownBatch)
    bool allowLinks = false; ///< import what links that lead out of the directory lead to
    QString report = {};     ///< file that takes the report as well (RunReportFile.h); empty: none
};

/// Works the file import panel of a window as an operator would: chooses a batch directory in the panel's own
/// dialog, presses the button, reads the messages; then prints what was imported and what was not.
class BatchRun final : public QObject
{
    Q_OBJECT
public:
    /// @param out       takes the report
    /// @param messages  takes what is told meanwhile, and why a batch cannot be started; may be out
    BatchRun(MainWindow& window, SiteAccess& site, BatchOptions options, QTextStream& out,
             QTextStream& messages);
    ~BatchRun() override;

    /// A signal that ends programs has the job that is imported be the last one: the entries that are left
    /// are told as stopped.
    /// @return exit code: 0 when every entry was imported or left out, 1 when not, or when that is unknown of
    /// one, or the report's file could not be written, 2 when the directory cannot be imported; then there is
    /// no report; that of the signal where one came before all was done
    int run();

private:
    [[nodiscard]] bool mayBegin();
    [[nodiscard]] bool leaveOutKnown();
    [[nodiscard]] bool chooseDirectory(const QString& directory);
    [[nodiscard]] bool importDirectory();
    void stopIfAsked();
    void tellStop();
    void showProgress(int companiesDone);
    void showWait(const Backend::ServiceWait& wait);
    void printTables(const BatchReport& report);
    void printRemarks(const BatchReport& report);
    void printJson(const RunRecord& run, int exitCode);
    [[nodiscard]] bool writeReport(const RunRecord& run, int exitCode);
    void screenshot(const QString& name);
    /// A line of its own, at once. @return false
    bool refuse(const QString& reason);

    MainWindow& m_window;
    SiteAccess& m_site;
    BatchOptions m_options;
    QTextStream& m_out;
    QTextStream& m_messages;
    std::unique_ptr<DialogOperator> m_operator;
    std::unique_ptr<KnownBatch> m_known; ///< where it is asked for
    bool m_runningShown = false;
    bool m_stopping = false;
    bool m_waiting = false; ///< told that the import waits, and not yet that this is over
};

} // namespace KOZAV::Host
