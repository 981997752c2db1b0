#include "backend/migrate/TransferFolder.h"

#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"
#include "backend/io/PrivateFile.h"

#include <QFile>

#include <optional>
#include <utility>

namespace KOZAV::Backend {

namespace {

const std::string lockName = "lock";

Status removeLeftovers(const std::string& folder)
{
    const Result<std::vector<std::string>> names = namesIn(folder);
    if (!names.ok())
        return names.status();
    for (const std::string& name : names.value())
        if (name != lockName)
            if (Status removed = removeFile(joinPath(folder, name)); !removed.ok())
                return removed;
    return {};
}

} // namespace

Result<TransferFolder> TransferFolder::open(const QString& uploadCache)
{
    const QString path = uploadCache + QStringLiteral("migrate");
    if (const Result<bool> made = makePrivateFolder(path); !made.ok())
        return made.status();
    std::string folder = QFile::encodeName(path).toStdString();
    Result<std::optional<FileLock>> lock = FileLock::tryAcquire(joinPath(folder, lockName));
    if (!lock.ok())
        return lock.status();
    if (!lock.value())
        return Status::unavailable(
            QStringLiteral("another migration is running: it uses the folder %1").arg(displayPath(folder)));
    if (const Status swept = removeLeftovers(folder); !swept.ok())
        return swept;
    return TransferFolder(std::move(folder), std::move(*lock.value()));
}

std::string TransferFolder::path(const std::string& name) const
{
    return joinPath(m_folder, name);
}

} // namespace KOZAV::Backend
