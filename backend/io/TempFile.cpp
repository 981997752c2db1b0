#include "backend/io/TempFile.h"

#include "backend/io/FileAccess.h"
#include "backend/io/FileInfo.h"
#include "backend/io/FileNames.h"
#include "backend/io/FilePath.h"
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
constexpr qint64 staleAfterNs = 24LL * 60 * 60 * 1'000'000'000;

std::string uniqueTempName()
{
    const quint64 number = QRandomGenerator::system()->generate64();
    return tempPrefix + QByteArray::number(number, 16).rightJustified(16, '0').toStdString();
}

bool isStale(const FileInfo& info)
{
    const qint64 nowNs = QDateTime::currentMSecsSinceEpoch() * 1'000'000;
    return info.kind == FileKind::Regular && nowNs - info.modifiedNs > staleAfterNs;
}

mode_t creationMode(TempFile::Access access)
{
    constexpr mode_t everybody = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
    return access == TempFile::Access::AsUserDefault ? everybody : S_IRUSR | S_IWUSR;
}

FileDescriptor createUnique(const std::string& folder, mode_t mode, std::string* path)
{
    constexpr int attempts = 16;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        *path = joinPath(folder, uniqueTempName());
        FileDescriptor file(::open(path->c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode));
        if (file.isOpen() || errno != EEXIST)
            return file;
    }
    return {};
}

} // namespace

Result<TempFile> TempFile::create(const std::string& folder, Access access)
{
    std::string path;
    FileDescriptor file = createUnique(folder, creationMode(access), &path);
    if (!file.isOpen())
        return systemFailure(errno, QStringLiteral("make a file in"), folder);
    const auto info = fileInfo(file, path);
    const unsigned permissions = info.ok() ? info->permissions : S_IRUSR | S_IWUSR;
    TempFile temp(std::move(file), std::move(path), permissions);
    if (::fchmod(temp.descriptor().get(), S_IRUSR | S_IWUSR) != 0)
        return systemFailure(errno, QStringLiteral("protect"), temp.path());
    return temp;
}

TempFile::TempFile(FileDescriptor descriptor, std::string path, unsigned permissions)
    : m_descriptor(std::move(descriptor))
    , m_path(std::move(path))
    , m_permissions(permissions)
{
}

TempFile::TempFile(TempFile&& other) noexcept
    : m_descriptor(std::move(other.m_descriptor))
    , m_path(std::exchange(other.m_path, {}))
    , m_permissions(other.m_permissions)
{
}

TempFile::~TempFile()
{
    if (!m_path.empty())
        ::unlink(m_path.c_str());
}

Status TempFile::complete(qint64 expectedLength)
{
    const auto info = fileInfo(m_descriptor, m_path);
    if (!info.ok())
        return info.status();
    if (info->length != expectedLength)
        return Status::io(
            QStringLiteral("Cannot write %1: it has %2 bytes instead of %3")
                .arg(displayPath(m_path), QString::number(info->length), QString::number(expectedLength)));
    if (::fchmod(m_descriptor.get(), m_permissions) != 0)
        return systemFailure(errno, QStringLiteral("set the permissions of"), m_path);
    return syncFile(m_descriptor, m_path);
}

Status TempFile::replace(const std::string& target)
{
    Status renamed = renameReplacing(m_path, target);
    if (renamed.ok())
        m_path.clear();
    return renamed;
}

Status TempFile::moveTo(const std::string& target)
{
    Status renamed = renameWithoutReplacing(m_path, target);
    if (renamed.ok())
        m_path.clear();
    return renamed;
}

void removeStaleTempFiles(const std::string& folder)
{
    const auto names = namesIn(folder);
    if (!names.ok())
        return;
    for (const std::string& name : names.value()) {
        if (name.compare(0, tempPrefix.size(), tempPrefix) != 0)
            continue;
        const std::string path = joinPath(folder, name);
        const auto info = fileInfo(path);
        if (info.ok() && isStale(info.value()))
            (void)removeFile(path);
    }
}

} // namespace KOZAV::Backend
