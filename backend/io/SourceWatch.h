#pragma once

#include "backend/Status.h"
#include "backend/io/FileInfo.h"

#include <string>

namespace KOZAV::Backend {

/// Tells whether a file stayed what it was while it was read. File and path have to outlive it.
class SourceWatch final
{
public:
    static Result<SourceWatch> begin(const FileDescriptor& source, const std::string& path);

    /// Length of the file at the beginning.
    [[nodiscard]] qint64 length() const { return m_before.length; }

    /// ChangedWhileRead where anything happened to the file, or where what was read is not its whole length.
    [[nodiscard]] Status end(qint64 readLength) const;

private:
    SourceWatch(const FileDescriptor& source, const std::string& path, const FileInfo& before);

    const FileDescriptor* m_source;
    const std::string* m_path;
    FileInfo m_before;
};

} // namespace KOZAV::Backend
