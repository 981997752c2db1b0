#include "backend/store/TargetFile.h"

#include "backend/io/FilePath.h"
#include "backend/io/SystemError.h"

#include <utility>

namespace KOZAV::Backend {

namespace {

Result<TempFile> tempFileFor(const std::string& localPath, qint64 length)
{
    if (const auto replaceable = requireReplaceable(localPath); !replaceable.ok())
        return replaceable;
    if (const auto roomy = requireFreeSpace(parentFolder(localPath), length); !roomy.ok())
        return roomy;
    return TempFile::create(localPath, TempFile::Access::AsUserDefault);
}

} // namespace

TargetFile::TargetFile(TempFile temp, qint64 length)
    : m_temp(std::move(temp))
    , m_length(length)
{
}

Result<TargetFile> TargetFile::create(const std::string& localPath, qint64 length)
{
    auto temp = tempFileFor(localPath, length);
    if (temp.code() == ErrorCode::NotFound)
        return Status::invalidArgument(temp.message());
    if (!temp.ok())
        return temp.status();
    return TargetFile(std::move(temp.value()), length);
}

Status TargetFile::finish()
{
    return m_temp.publish(m_length, ExistingTarget::Replace);
}

} // namespace KOZAV::Backend
