#pragma once

#include "backend/Status.h"
#include "backend/io/FileDescriptor.h"

#include <string>

namespace KOZAV::Backend {

/// A file being written beside the place it is meant for. It gets its name only when it is complete and on
/// the disk; without that it is removed.
class TempFile final
{
public:
    /// Who may read the file once it has its name. Until then it is for this user alone.
    enum class Access { ThisUser, AsUserDefault };

    static Result<TempFile> create(const std::string& folder, Access access = Access::ThisUser);

    TempFile(TempFile&& other) noexcept;
    TempFile& operator=(TempFile&&) = delete;
    ~TempFile();
    Q_DISABLE_COPY(TempFile)

    [[nodiscard]] const FileDescriptor& descriptor() const { return m_descriptor; }
    [[nodiscard]] const std::string& path() const { return m_path; }

    /// Checks that the file has the length that it should have, and brings it to the disk.
    Status complete(qint64 expectedLength);

    /// Names the completed file. What had that name is replaced as a whole, or is left and makes the call
    /// fail with AlreadyExists. The name is durable after syncFolder() of the target's folder.
    Status replace(const std::string& target);
    Status moveTo(const std::string& target);

private:
    TempFile(FileDescriptor descriptor, std::string path, unsigned permissions);

    FileDescriptor m_descriptor;
    std::string m_path; ///< empty once the file has its name
    unsigned m_permissions;
};

/// Removes what interrupted programs left in a folder: temporary files of ours that are older than a day.
/// Failures are not reported, as such files do no harm.
void removeStaleTempFiles(const std::string& folder);

} // namespace KOZAV::Backend
