#include "backend/io/SourceWatch.h"

#include "backend/io/SystemError.h"

namespace KOZAV::Backend {

SourceWatch::SourceWatch(const FileDescriptor& source, const std::string& path, const FileInfo& before)
    : m_source(&source)
    , m_path(&path)
    , m_before(before)
{
}

Result<SourceWatch> SourceWatch::begin(const FileDescriptor& source, const std::string& path)
{
    const auto info = fileInfo(source, path);
    if (!info.ok())
        return info.status();
    return SourceWatch(source, path, info.value());
}

Status SourceWatch::end(qint64 readLength) const
{
    const auto after = fileInfo(*m_source, *m_path);
    if (!after.ok())
        return after.status();
    if (after->isSameState(m_before) && readLength == m_before.length)
        return {};
    return Status::changedWhileRead(
        QStringLiteral("Cannot read %1: it was changed while it was read").arg(displayPath(*m_path)));
}

} // namespace KOZAV::Backend
