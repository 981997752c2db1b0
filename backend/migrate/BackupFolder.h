#pragma once

#include "backend/Status.h"
#include "backend/config/Settings.h"
#include "backend/io/FileLock.h"

#include <QDir>
#include <QString>

#include <memory>
#include <optional>
#include <string>

namespace KOZAV::Backend {

class Site;

/// A folder that holds the backup of one site (docs/sites.md). It is an embedded site itself: a configuration
/// names the rows of one moment and a local store with every file that they name. While the object lives,
/// others are kept from the folder.
class BackupFolder final
{
public:
    /// Opens the backup of the site with this identity, or begins one in a folder that is empty or missing.
    /// Configuration where the folder holds something else, or another site's backup; Unavailable where
    /// somebody works on it.
    static Result<BackupFolder> openFor(const QString& path, const QString& identity);

    /// Opens a complete backup. Configuration where there is none.
    static Result<BackupFolder> openComplete(const QString& path);

    [[nodiscard]] QString path() const { return m_dir.path(); }
    [[nodiscard]] const QString& identity() const { return m_identity; }

    /// The configuration of the last complete backup; its file is missing before the first one.
    [[nodiscard]] QString configuration() const;

    /// Begins a backup beside the complete ones: removes what an interrupted one left and writes a
    /// configuration that names a new file for the rows, and the names that the site gives its store.
    /// @param moment  of the rows, as rowTime()
    Result<Settings> begin(const Settings& site, const QString& moment);

    /// Makes the backup that was begun the last complete one, and the one before it the previous one. Rows of
    /// earlier ones are removed. What it names has to be on the disk.
    Status complete();

private:
    BackupFolder(const QString& path, FileLock lock, QString identity);

    static Result<BackupFolder> open(const QString& path);
    Status mark(const QString& identity);
    Status removeOtherRows() const;
    [[nodiscard]] std::string nativePath(const char* name) const;

    QDir m_dir;
    FileLock m_lock;
    QString m_identity; ///< of the site; empty in a folder that is not marked yet
};

/// A complete backup that is read. It is opened like a site in which files may be missing.
struct OpenedBackup
{
    BackupFolder folder;
    std::unique_ptr<Site> site;
    Settings settings;
};

/// See BackupFolder::openComplete(). Neither rows nor store are opened.
Result<OpenedBackup> openBackup(const QString& path);

} // namespace KOZAV::Backend
