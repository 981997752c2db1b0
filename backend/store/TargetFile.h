#pragma once

#include "backend/Status.h"
#include "backend/io/TempFile.h"

#include <string>

namespace KOZAV::Backend {

/// A local file that gets its content as a whole: it is written beside its place, and what was there before
/// stays until the content is complete and on the disk.
class TargetFile final
{
public:
    /// Where there is room for length bytes. A missing folder is InvalidArgument: NotFound is said of stored
    /// files only.
    static Result<TargetFile> create(const std::string& localPath, qint64 length);

    [[nodiscard]] const FileDescriptor& descriptor() const { return m_temp.descriptor(); }
    [[nodiscard]] const std::string& path() const { return m_path; }

    /// Puts the content in its place, durably, if it has the announced length.
    Status finish();

private:
    TargetFile(TempFile temp, std::string path, qint64 length);

    TempFile m_temp;
    std::string m_path;
    qint64 m_length;
};

} // namespace KOZAV::Backend
