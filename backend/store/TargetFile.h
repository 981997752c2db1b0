#pragma once

#include "backend/Status.h"
#include "backend/io/TempFile.h"

#include <string>

namespace KOZAV::Backend {

/// The local file that a stored one is fetched to. It gets its content as a whole: it is written beside its
/// place, and a regular file that was there before stays until the content is complete and on the disk.
class TargetFile final
{
public:
    /// Where there is room for length bytes. InvalidArgument for a place that is taken by anything but a
    /// regular file, which stays untouched, and for a missing folder: NotFound is said of stored files only.
    static Result<TargetFile> create(const std::string& localPath, qint64 length);

    [[nodiscard]] File& file() { return m_temp.file(); }

    /// Puts the content in its place, durably, if it has the announced length.
    Status finish();

private:
    TargetFile(TempFile temp, qint64 length);

    TempFile m_temp;
    qint64 m_length;
};

} // namespace KOZAV::Backend
