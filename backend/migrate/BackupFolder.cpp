// The configuration decides which rows are the backup: each backup writes its rows to a file of its own,
// named after the moment, and becomes the last complete one when the configuration that names it is renamed
// into place. So whatever ends a run, the configuration that is there names rows that are whole, and no rows
// file is ever renamed or written again, which the log beside a database file would not survive. Stored files
// are shared by all: they never change under their names, and none is removed.
//
// A folder is marked before anything else is put into it. One that is not empty and has no mark is
// somebody's, and is left alone.

#include "backend/migrate/BackupFolder.h"

#include "backend/Site.h"
#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"
#include "backend/io/PrivateFile.h"
#include "backend/io/TempFile.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <utility>
#include <vector>

namespace KOZAV::Backend {

namespace {

constexpr const char* markName = "backup-of";
constexpr const char* backupLockName = "lock";
constexpr const char* currentName = "zav.ini";
constexpr const char* previousName = "previous.ini";
constexpr const char* nextName = "next.ini";
constexpr const char* rowsFolder = "rows";
constexpr qint64 longestFile = 1024LL * 1024;

std::string native(const QString& path)
{
    return QFile::encodeName(path).toStdString();
}

Status noBackup(const QString& path, const QString& reason)
{
    return Status::configuration(QStringLiteral("the folder \"%1\" %2").arg(path, reason));
}

/// A lock alone, or what an interrupted marking left, is no content.
Result<bool> isEmpty(const QString& path)
{
    const auto names = namesIn(native(path));
    if (!names.ok())
        return names.status();
    return std::all_of(names->begin(), names->end(), [](const std::string& name) {
        return name == backupLockName || name.rfind(".kozav-tmp-", 0) == 0;
    });
}

/// The values that differ from those of a new configuration. Paths are relative, so that the folder may move.
std::vector<std::pair<const char*, QString>> settingsOf(const Settings& site, const QString& identity,
                                                        const QString& moment, const QString& rows)
{
    return {{"database/file", rows},
            {"document_store/root", QStringLiteral("store")},
            {"document_store/database", site.documentStore.database},
            {"document_store/file_store", site.documentStore.fileStore},
            {"cache/upload", QStringLiteral("cache/upload/")},
            {"cache/download", QStringLiteral("cache/download/")},
            {"site/id", identity},
            {"site/backup", moment}};
}

} // namespace

BackupFolder::BackupFolder(const QString& path, FileLock lock, QString identity)
    : m_dir(path)
    , m_lock(std::move(lock))
    , m_identity(std::move(identity))
{
}

std::string BackupFolder::nativePath(const char* name) const
{
    return native(m_dir.filePath(QLatin1String(name)));
}

QString BackupFolder::configuration() const
{
    return m_dir.filePath(QLatin1String(currentName));
}

Result<BackupFolder> BackupFolder::openFor(const QString& path, const QString& identity)
{
    const QString folder = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    if (const auto made = makePrivateFolder(folder); !made.ok())
        return made.status();
    if (!QFileInfo::exists(QDir(folder).filePath(QLatin1String(markName)))) {
        const auto empty = isEmpty(folder);
        if (!empty.ok())
            return empty.status();
        if (!empty.value())
            return noBackup(folder,
                            QStringLiteral("is not empty and holds no backup: name an empty one, or one "
                                           "that holds a backup of this site"));
    }
    auto opened = open(folder);
    if (!opened.ok())
        return opened;
    if (opened->m_identity.isEmpty())
        if (auto marked = opened->mark(identity); !marked.ok())
            return marked;
    if (opened->m_identity != identity)
        return noBackup(folder, QStringLiteral("holds a backup of another site (%1); this one is %2")
                                    .arg(opened->m_identity, identity));
    return opened;
}

Result<BackupFolder> BackupFolder::openComplete(const QString& path)
{
    const QString folder = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    const QDir dir(folder);
    if (!QFileInfo::exists(dir.filePath(QLatin1String(markName))))
        return noBackup(folder, QStringLiteral("holds no backup"));
    if (!QFileInfo::exists(dir.filePath(QLatin1String(currentName))))
        return noBackup(folder, QStringLiteral("holds a backup that was begun and never completed"));
    return open(folder);
}

Result<BackupFolder> BackupFolder::open(const QString& path)
{
    const QDir dir(path);
    auto lock = FileLock::tryAcquire(native(dir.filePath(QLatin1String(backupLockName))));
    if (!lock.ok())
        return lock.status();
    if (!lock.value())
        return Status::unavailable(
            QStringLiteral("another backup or restore is running: it uses the folder \"%1\"").arg(path));
    BackupFolder folder(path, std::move(*lock.value()), {});
    const auto text = readSmallFile(folder.nativePath(markName), longestFile);
    if (text.ok())
        folder.m_identity = QString::fromStdString(text.value()).trimmed();
    else if (text.code() != ErrorCode::NotFound)
        return text.status();
    return folder;
}

Status BackupFolder::mark(const QString& identity)
{
    auto written = writePrivateFile(m_dir.filePath(QLatin1String(markName)), identity.toUtf8() + '\n',
                                    ExistingTarget::Keep);
    if (written.ok())
        m_identity = identity;
    return written;
}

Result<Settings> BackupFolder::begin(const Settings& site, const QString& moment)
{
    if (const auto removed = removeOtherRows(); !removed.ok())
        return removed;
    const QString next = m_dir.filePath(QLatin1String(nextName));
    if (QFileInfo::exists(next))
        if (const auto removed = removeFile(native(next)); !removed.ok())
            return removed;
    if (const auto made = createDefaultSettings(next, m_dir.path()); !made.ok())
        return made;
    QString stamp = moment;
    const QString rows =
        QStringLiteral("%1/%2.db").arg(QLatin1String(rowsFolder), stamp.remove(QLatin1Char(':')));
    for (const auto& [key, value] : settingsOf(site, m_identity, moment, rows))
        if (const auto written = writeSetting(next, QLatin1String(key), value); !written.ok())
            return written;
    return loadSettings(next);
}

Status BackupFolder::complete()
{
    if (QFileInfo::exists(configuration())) {
        const auto last = readSmallFile(nativePath(currentName), longestFile);
        if (!last.ok())
            return last.status();
        if (auto kept = writePrivateFile(m_dir.filePath(QLatin1String(previousName)),
                                         QByteArray::fromStdString(last.value()), ExistingTarget::Replace);
            !kept.ok())
            return kept;
    }
    if (auto named = publishFile(nativePath(nextName), nativePath(currentName), ExistingTarget::Replace);
        !named.ok())
        return named;
    return removeOtherRows();
}

/// Removes the rows that neither the last complete backup nor the one before it names.
Status BackupFolder::removeOtherRows() const
{
    const QString folder = m_dir.filePath(QLatin1String(rowsFolder));
    if (!QFileInfo::exists(folder))
        return {};
    QStringList kept;
    for (const char* name : {currentName, previousName}) {
        const QString configuration = m_dir.filePath(QLatin1String(name));
        if (!QFileInfo::exists(configuration))
            continue;
        const auto settings = loadSettings(configuration);
        if (!settings.ok())
            return settings.status();
        kept << QFileInfo(settings->database.file).fileName();
    }
    const auto names = namesIn(native(folder));
    if (!names.ok())
        return names.status();
    for (const std::string& name : names.value()) {
        const QString file = QFile::decodeName(name.c_str());
        // Beside a database lie its log and the index of that.
        const bool isKept = std::any_of(kept.cbegin(), kept.cend(),
                                        [&file](const QString& rows) { return file.startsWith(rows); });
        if (!isKept)
            if (auto removed = removeFile(joinPath(native(folder), name)); !removed.ok())
                return removed;
    }
    return {};
}

Result<OpenedBackup> openBackup(const QString& path)
{
    auto folder = BackupFolder::openComplete(path);
    if (!folder.ok())
        return folder.status();
    auto site = std::make_unique<Site>(folder->configuration(), Site::Use::Mending);
    const auto settings = site->settings();
    if (!settings.ok())
        return settings.status();
    return OpenedBackup{std::move(folder.value()), std::move(site), settings.value()};
}

} // namespace KOZAV::Backend
