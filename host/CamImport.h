#pragma once

#include "host/odb/OdbJob.h"
#include "host/site/SiteAccess.h"

#include <QFutureWatcher>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <atomic>
#include <memory>
#include <optional>

namespace KOZAV::UI {
class ZAV_ImportFromFile_Widget;
}

namespace KOZAV::Host {

/// What a job-information text of the job list panel says.
struct JobAnnouncement
{
    enum class Origin { Site, Web, Robot };

    QString prefix;
    QString jobName; ///< generated job name
    Origin origin = Origin::Site;
};

/// Reads "prefix|job", "prefix|job|ISWEB" or "prefix|job|ROBOT"; nothing where the text is of no such form.
/// The prefix may hold bars, a generated job name does not.
std::optional<JobAnnouncement> readAnnouncement(const QString& jobInformation);

/// The CAM import of this client: fetches the stored file of an announced job back, unpacks it into a work
/// folder, opens it as an ODB++ job, and only then reports success to the panels
/// (ZAV_UICommon::hasImportSuccess()).
///
/// Fetching and unpacking run on a thread of their own; one import at a time.
class CamImport final : public QObject
{
    Q_OBJECT
public:
    /// @param panel  fetches the stored file; lives until another one is set
    CamImport(SiteAccess& site, UI::ZAV_ImportFromFile_Widget& panel, QObject* parent = nullptr);
    /// Waits for a running import to end.
    ~CamImport() override;

    /// Has this panel fetch from now on. Not while one is running.
    void setPanel(UI::ZAV_ImportFromFile_Widget& panel) { m_panel = &panel; }
    [[nodiscard]] bool isRunning() const { return m_watcher.isRunning() || m_isOver; }
    /// Ends the running import as soon as it can; failed() follows.
    void cancel();

Q_SIGNALS:
    void started(const QString& jobName);
    /// Bytes of the stored file that are done with, of all that there are; -1: fetching, how far is not
    /// known.
    void progressed(qint64 done, qint64 total);
    void opened(const QString& jobName, const KOZAV::Host::OdbJob& job);
    /// Something is wrong with the archive of the job that was just opened.
    void warned(const QString& jobName, const QString& warning);
    void failed(const QString& jobName, const QString& reason);
    /// A started import is over, and the panels have done what follows from it.
    void ended();

private:
    /// What the thread hands back.
    struct Outcome
    {
        OdbJob job;
        QString error;
        QStringList warnings;
    };

    void announced(const QString& jobInformation);
    void start(const QString& jobName);
    [[nodiscard]] Outcome importStoredFile(const ImportedJob& job, qint64 storedBytes,
                                           const QString& workFolder);
    [[nodiscard]] Outcome openFetched(const QString& archive, qint64 storedBytes, const QString& workFolder);
    [[nodiscard]] QString fetch(const QString& storedName, const QString& workFolder);
    void finished();

    SiteAccess& m_site;
    UI::ZAV_ImportFromFile_Widget* m_panel;
    QFutureWatcher<Outcome> m_watcher;
    bool m_isOver = false; ///< the thread has ended, and its result waits to be taken
    std::atomic<bool> m_cancelled{false};
    QString m_jobName;
    std::unique_ptr<QTemporaryDir> m_workFolder; ///< of the job that is shown
};

} // namespace KOZAV::Host
