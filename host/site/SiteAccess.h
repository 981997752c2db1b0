#pragma once

#include "backend/HostInterface.h"

#include <QByteArray>
#include <QDateTime>
#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace KOZAV::Host {

/// What an import left of one job.
struct ImportedJob
{
    QString flowKey;
    QString generatedName;
    QString jobName; ///< name the job came with
    QString company;
    QString storedName;
    qint64 storedLength = -1; ///< of the stored file, as its row says; -1 where that does not know it
    QByteArray storedSha256;
};

/// The client's door to the embedded services beyond their public operations: which site is open, its tables,
/// and what the services do while a panel works. The only part of the client that knows more of the backend
/// than its interface for hosts.
class SiteAccess final : public QObject
{
    Q_OBJECT
public:
    /// @param configuration  configuration file; empty: the usual places
    explicit SiteAccess(const QString& configuration, QObject* parent = nullptr);
    ~SiteAccess() override;

    /// Whether neither the program's caller nor the environment names a configuration and none is at the
    /// default places.
    [[nodiscard]] bool isFirstStart() const;
    /// Works on this configuration file from now on. To be called before open().
    void useConfiguration(const QString& path);

    /// Opens configuration, database and store. @return why that is not possible; empty on success
    [[nodiscard]] QString open();

    /// What rows and stored files of the site lie on, as found when it was opened, and whether they could be
    /// reached the last time that something was asked of them.
    [[nodiscard]] const Backend::ServiceHealth& part(Backend::SitePart part) const;
    [[nodiscard]] QString configurationPath() const;
    /// The identity of the open site; the configuration's path for one that has none.
    [[nodiscard]] QString identity() const;
    /// A directory of this machine for work files of any size, this program's alone; empty where it cannot be
    /// made. It lies in the download cache.
    [[nodiscard]] QString workDirectory();
    /// The work directories of programs that have ended without removing them, for this one from now on.
    /// Removes what of an interrupted import lies beside them.
    [[nodiscard]] QStringList takeAbandonedWork();
    /// Removes one of these.
    void removeAbandonedWork(const QString& directory);

    /// What a list has found when it read rows on its own thread: shown with the parts, which are looked at
    /// anew where the configuration names others by now.
    /// @param failure  why the rows cannot be reached; empty where they were read
    void noteRows(const QString& failure);
    [[nodiscard]] std::optional<ImportedJob> importedJob(const QString& flowKey);
    [[nodiscard]] std::optional<ImportedJob> jobNamed(const QString& generatedName);
    /// Whether a job of that stored file is imported; nothing where that cannot be asked.
    [[nodiscard]] std::optional<bool> isImported(const QString& storedName);
    /// Length of a stored file in bytes; -1 where there is none.
    [[nodiscard]] qint64 storedBytes(const QString& storedName);
    /// Whether a fetched file is what the job's row says of its stored file; false as well where the file
    /// cannot be read, true where the row says nothing. On any thread.
    [[nodiscard]] static bool isAsImported(const ImportedJob& job, const QString& path);

    /// Removes these files from the upload cache, where they are regular files in it.
    void removeStagedCopies(const QStringList& storedNames);
    /// Where the panel has staged what was stored under this name.
    [[nodiscard]] QString stagedCopy(const QString& storedName) const;
    /// Takes a job off the waiting list, since its import has failed. @return why it stays; empty where it
    /// does not
    [[nodiscard]] QString failImport(const QString& flowKey, const QString& reason);

Q_SIGNALS:
    void serviceCalled(const KOZAV::Backend::OperationEvent& event);
    /// An import waits, or does so no longer. On the thread of the import, which goes on when this is told;
    /// nothing may be asked of the site meanwhile.
    void serviceWaits(const KOZAV::Backend::ServiceWait& wait);
    /// How far a call is that takes its time, on the thread that makes it, which goes on when this is told;
    /// nothing may be asked of the site meanwhile.
    void serviceWorks(const KOZAV::Backend::WorkProgress& work);
    /// The import that is under way has lost its company to another one, in words.
    void companyLost(const QString& reason);
    void partChanged(KOZAV::Backend::SitePart part);

private:
    [[nodiscard]] std::optional<ImportedJob> findJob(const QString& flowKey, const QString& generatedName);
    void lookAtParts();
    void noteCall(const Backend::OperationEvent& event);
    void notePart(Backend::SitePart part, const QString& failure);
    Backend::ServiceHealth& stateOf(Backend::SitePart part);

    struct WorkFolders;
    std::unique_ptr<WorkFolders> m_work;
    bool m_named;     ///< whether the caller or the environment names the configuration
    QString m_places; ///< the places that the parts were looked at
    Backend::ServiceHealth m_rows;
    Backend::ServiceHealth m_files;
};

} // namespace KOZAV::Host
