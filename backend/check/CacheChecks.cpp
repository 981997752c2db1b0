// What programs leave in the two caches of this machine. A running program writes to what it has there, or
// holds a lock on it; so what is unlocked and has not changed for as long as an import takes belongs to none.
// Staged copies, which every import of an archive leaves, are only counted: "zav_admin sweep" knows which of
// them are no longer needed.

#include "backend/check/CheckContext.h"
#include "backend/io/FileInfo.h"
#include "backend/io/FileLock.h"
#include "backend/io/FilePath.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace KOZAV::Backend {

namespace {

const QLatin1String tempPrefix(".kozav-tmp-");
const QLatin1String lockName("lock");

/// The newest change of what lies at the path and below it, without following links.
QDateTime lastChange(const QFileInfo& entry)
{
    QDateTime last = entry.metadataChangeTime();
    if (!entry.isDir() || entry.isSymLink())
        return last;
    QDirIterator below(entry.filePath(),
                       QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                       QDirIterator::Subdirectories);
    while (below.hasNext()) {
        below.next();
        last = std::max(last, below.fileInfo().metadataChangeTime());
    }
    return last;
}

/// Whether a program holds the lock of the folder.
bool isLocked(const QString& folder)
{
    const QString lock = folder + QLatin1Char('/') + lockName;
    if (!QFileInfo::exists(lock))
        return false;
    const auto taken = FileLock::tryAcquire(QFile::encodeName(lock).toStdString());
    return taken.ok() && !taken.value();
}

/// Removes it, and holds its lock meanwhile, so that no program takes it over.
Status removeEntry(const QString& path)
{
    const QFileInfo entry(path);
    const std::string native = QFile::encodeName(path).toStdString();
    if (!entry.isDir() || entry.isSymLink()) {
        auto removed = removeFile(native);
        return removed.code() == ErrorCode::NotFound ? Status() : removed;
    }
    const auto lock = FileLock::tryAcquire(joinPath(native, QString(lockName).toStdString()));
    if (!lock.ok() || !lock.value())
        return lock.ok() ? Status::unavailable(QStringLiteral("a program uses it")) : lock.status();
    if (!QDir(path).removeRecursively())
        return Status::io(QStringLiteral("not everything in the folder \"%1\" can be removed").arg(path));
    return {};
}

/// Whether job manifests are in it that the client has not put back yet: they stand nowhere else.
bool holdsManifests(const QFileInfo& folder)
{
    return !QDir(folder.filePath()).entryList({QStringLiteral("manifests-*")}, QDir::Files).isEmpty();
}

/// A leftover, if no program owns it any more.
void addLeftover(CheckContext& context, FindingKind kind, const QFileInfo& entry, std::chrono::seconds age)
{
    const QDateTime last = lastChange(entry);
    const bool isFolder = entry.isDir() && !entry.isSymLink();
    if (!context.isOlder(last, age) || (isFolder && isLocked(entry.filePath())))
        return;
    Finding finding;
    finding.kind = kind;
    finding.subject = entry.filePath();
    finding.text = QStringLiteral("a %1 that was last changed at %2")
                       .arg(isFolder ? QStringLiteral("folder") : QStringLiteral("file"),
                            last.toUTC().toString(Qt::ISODate));
    if (isFolder && holdsManifests(entry))
        finding.mend =
            QStringLiteral("start zav_client: it puts the manifests of jobs back that were not imported");
    else
        finding.repair = [path = entry.filePath()] { return removeEntry(path); };
    context.add(std::move(finding));
}

/// The entries of a cache; a finding where it cannot be looked into.
QFileInfoList entriesOf(CheckContext& context, const QString& folder)
{
    const QFileInfo info(folder);
    if (info.exists() && !(info.isReadable() && info.isExecutable()))
        context.add(FindingKind::NotLookedAt, folder, QStringLiteral("the folder cannot be read"));
    return QDir(folder).entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                                      QDir::Name);
}

void checkUploadCache(CheckContext& context)
{
    qint64 copies = 0;
    qint64 bytes = 0;
    for (const QFileInfo& entry : entriesOf(context, context.settings.uploadCache)) {
        if (entry.fileName().startsWith(tempPrefix)) {
            addLeftover(context, FindingKind::TempLeftover, entry, context.options.orphanAge);
        } else if (entry.isFile() && !entry.isSymLink() && entry.fileName() != lockName) {
            ++copies;
            bytes += entry.size();
        }
    }
    const QString passage = context.settings.uploadCache + QStringLiteral("migrate");
    if (QFileInfo::exists(passage) && !isLocked(passage)) {
        for (const QFileInfo& entry : entriesOf(context, passage)) {
            if (entry.fileName() != lockName)
                addLeftover(context, FindingKind::FetchLeftover, entry, context.options.importAge);
        }
    }
    if (copies > 0)
        context.add(FindingKind::StagedCopy, context.settings.uploadCache,
                    QStringLiteral("%1 files, %2 bytes").arg(copies).arg(bytes));
}

void checkDownloadCache(CheckContext& context)
{
    for (const QFileInfo& entry : entriesOf(context, context.settings.downloadCache)) {
        if (entry.fileName().startsWith(tempPrefix))
            addLeftover(context, FindingKind::TempLeftover, entry, context.options.orphanAge);
        else if (entry.fileName().startsWith(QLatin1String("cam-")))
            addLeftover(context, FindingKind::CamLeftover, entry, context.options.orphanAge);
        else if (entry.isDir() && (entry.fileName().startsWith(QLatin1String("get-")) ||
                                   entry.fileName().startsWith(QLatin1String("check-"))))
            addLeftover(context, FindingKind::FetchLeftover, entry, context.options.importAge);
    }
    const QString work = context.settings.downloadCache + QStringLiteral("work");
    if (!QFileInfo::exists(work))
        return;
    for (const QFileInfo& entry : entriesOf(context, work)) {
        if (entry.fileName() != lockName)
            addLeftover(context, FindingKind::WorkLeftover, entry, context.options.importAge);
    }
}

} // namespace

Status checkCaches(CheckContext& context)
{
    context.meter.enter(CheckProgress::Phase::Places);
    checkUploadCache(context);
    checkDownloadCache(context);
    return {};
}

} // namespace KOZAV::Backend
