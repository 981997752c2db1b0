#include "backend/store/TargetFile.h"

#include "backend/io/FilePath.h"
#include "backend/io/Folder.h"
#include "backend/io/SystemError.h"

#include <utility>

namespace KOZAV::Backend {

namespace {

Result<TempFile> tempFileIn(const std::string& folder, qint64 length)
{
    if (Status roomy = requireFreeSpace(folder, length); !roomy.ok())
        return roomy;
    return TempFile::create(folder, TempFile::Access::AsUserDefault);
}

} // namespace

TargetFile::TargetFile(TempFile temp, std::string path, qint64 length)
    : m_temp(std::move(temp))
    , m_path(std::move(path))
    , m_length(length)
{
}

Result<TargetFile> TargetFile::create(const std::string& localPath, qint64 length)
{
    auto temp = tempFileIn(parentFolder(localPath), length);
    if (temp.code() == ErrorCode::NotFound)
        return Status::invalidArgument(temp.message());
    if (!temp.ok())
        return temp.status();
    return TargetFile(std::move(temp.value()), localPath, length);
}

Status TargetFile::finish()
{
    if (Status completed = m_temp.complete(m_length); !completed.ok())
        return completed;
    const Status replaced = m_temp.replace(m_path);
    return replaced.ok() ? syncFolder(parentFolder(m_path)) : replaced;
}

} // namespace KOZAV::Backend
