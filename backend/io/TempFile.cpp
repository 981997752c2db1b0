#include "backend/io/TempFile.h"

#include "backend/WorkWatch.h"
#include "backend/io/Folder.h"
#include "backend/io/SystemError.h"

#include <QDateTime>
#include <QRandomGenerator>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace KOZAV::Backend {

namespace {

const std::string tempPrefix = ".kozav-tmp-";
/// A file from this length on may take the disk longer than a blink.
constexpr qint64 longToSync = 4LL << 20;

constexpr qint64 staleAfterNs = 24LL * 60 * 60 * 1'000'000'000;

std::string uniqueTempName()
{
    const quint64 number = QRandomGenerator::system()->generate64();
    return tempPrefix + QByteArray::number(number, 16).rightJustified(16, '0').toStdString();
}

bool isStale(const FileInfo& info)
{
    const auto nowNs = QDateTime::currentMSecsSinceEpoch() * 1'000'000;
    return info.kind == FileKind::Regular && nowNs - info.modifiedNs > staleAfterNs;
}

mode_t creationMode(TempFile::Access access)
{
    constexpr mode_t everybody = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
    return access == TempFile::Access::AsUserDefault ? everybody : S_IRUSR | S_IWUSR;
}

/// The file that is called target by messages, under a name of its own in the folder.
File createUnique(const std::string& folder, mode_t mode, const std::string& target, std::string* path)
{
    constexpr int attempts = 16;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        *path = joinPath(folder, uniqueTempName());
        File file(::open(path->c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode), target);
        if (file.isOpen() || errno != EEXIST)
            return file;
    }
    return {};
}

} // namespace

Result<TempFile> TempFile::create(const std::string& target, Access access)
{
    return createIn(parentFolder(target), target, access);
}

Result<TempFile> TempFile::createIn(const std::string& folder, const std::string& target, Access access)
{
    std::string path;
    File file = createUnique(folder, creationMode(access), target, &path);
    if (!file.isOpen())
        return systemFailure(errno, QStringLiteral("make a file in"), folder);
    TempFile temp(std::move(file), std::move(path), S_IRUSR | S_IWUSR);
    const auto made = access == Access::ThisUser ? Status() : temp.hidePermissions();
    return made.ok() ? Result(std::move(temp)) : made;
}

/// Keeps what the user's mask has left of the permissions for the time when the file has its name.
Status TempFile::hidePermissions()
{
    const auto info = m_file.info();
    if (!info.ok())
        return info.status();
    m_permissions = info->permissions;
    return m_file.makePrivate();
}

TempFile::TempFile(File file, std::string path, unsigned permissions)
    : m_file(std::move(file))
    , m_path(std::move(path))
    , m_permissions(permissions)
{
}

TempFile::TempFile(TempFile&& other) noexcept
    : m_file(std::move(other.m_file))
    , m_path(std::exchange(other.m_path, {}))
    , m_permissions(other.m_permissions)
    , m_isLent(other.m_isLent)
{
}

TempFile::~TempFile()
{
    if (!m_path.empty())
        ::unlink(m_path.c_str());
    if (m_isLent)
        (void)m_file.release();
}

File TempFile::lend()
{
    m_isLent = true;
    return {m_file.descriptor(), m_file.path()};
}

Status TempFile::publish(qint64 expectedLength, ExistingTarget existing)
{
    if (auto completed = complete(expectedLength); !completed.ok())
        return completed;
    return publishFile(std::exchange(m_path, {}), m_file.path(), existing);
}

Status TempFile::close(qint64 expectedLength)
{
    const auto info = m_file.info();
    if (!info.ok())
        return info.status();
    if (info->length != expectedLength)
        return Status::io(QStringLiteral("cannot write %1: it has %2 bytes instead of %3")
                              .arg(displayPath(m_file.path()), QString::number(info->length),
                                   QString::number(expectedLength)));
    if (info->permissions != m_permissions && ::fchmod(m_file.descriptor(), m_permissions) != 0)
        return systemFailure(errno, QStringLiteral("set the permissions of"), m_file.path());
    return {};
}

Status TempFile::complete(qint64 expectedLength)
{
    if (auto closed = close(expectedLength); !closed.ok())
        return closed;
    if (expectedLength < longToSync)
        return m_file.sync();
    Status synced;
    runTold(WorkProgress::Stage::Flushing, [this, &synced] { synced = m_file.sync(); });
    return synced;
}

Status TempFile::rename(ExistingTarget existing)
{
    auto renamed = renameFile(m_path, m_file.path(), existing);
    if (renamed.ok())
        m_path.clear();
    return renamed;
}

Result<std::vector<std::string>> staleTempFiles(const std::string& folder)
{
    const auto names = namesIn(folder);
    if (!names.ok())
        return names.status();
    std::vector<std::string> stale;
    for (const std::string& name : names.value()) {
        if (name.compare(0, tempPrefix.size(), tempPrefix) != 0)
            continue;
        const auto info = fileInfo(joinPath(folder, name));
        if (info.ok() && isStale(info.value()))
            stale.push_back(name);
    }
    return stale;
}

void removeStaleTempFiles(const std::string& folder)
{
    const auto names = staleTempFiles(folder);
    if (!names.ok())
        return;
    for (const std::string& name : names.value())
        (void)removeFile(joinPath(folder, name));
}

} // namespace KOZAV::Backend
