#pragma once

#include "backend/Status.h"
#include "backend/io/File.h"
#include "backend/io/FilePath.h"

#include <string>
#include <vector>

namespace KOZAV::Backend {

/// A file being written that gets its name only when it is complete and on the disk; without that it is
/// removed. Until then it is for this user alone, and messages call it by the name that it is to get.
class TempFile final
{
public:
    /// Who may read the file once it has its name.
    enum class Access { ThisUser, AsUserDefault };

    /// Makes the file beside target.
    static Result<TempFile> create(const std::string& target, Access access = Access::ThisUser);

    /// Makes it in another folder of the same file system.
    static Result<TempFile> createIn(const std::string& folder, const std::string& target,
                                     Access access = Access::ThisUser);

    TempFile(TempFile&& other) noexcept;
    TempFile& operator=(TempFile&&) = delete;
    ~TempFile();
    Q_DISABLE_COPY(TempFile)

    /// Open for reading and writing.
    [[nodiscard]] File& file() { return m_file; }

    /// Another owner of the open file, who has to live longer than this object and may use it at the same
    /// time: one descriptor for both.
    [[nodiscard]] File lend();

    /// Where it lies now.
    [[nodiscard]] const std::string& path() const { return m_path; }

    /// Has the file get these permission bits with its name, whatever it was made for.
    void setPermissions(quint32 permissions) { m_permissions = permissions; }

    /// Names the complete file durably: checks that it has the length that it should have, brings it to the
    /// disk, renames it to the target and brings the target's folder to the disk. On failure nothing of it is
    /// left, except that a file which has replaced another stays: the other one is gone.
    Status publish(qint64 expectedLength, ExistingTarget existing);

    // The steps of publish(), for whoever has to do something between them. The name is durable after
    // syncFolder() of the target's folder.
    Status complete(qint64 expectedLength);
    /// The same without bringing the content to the disk.
    Status close(qint64 expectedLength);
    Status rename(ExistingTarget existing);

private:
    TempFile(File file, std::string path, unsigned permissions);

    Status hidePermissions();

    File m_file;
    std::string m_path; ///< empty once the file has its name
    unsigned m_permissions;
    bool m_isLent = false; ///< somebody else closes it
};

/// The names of what interrupted programs left in a folder: temporary files of ours that are older than a
/// day.
Result<std::vector<std::string>> staleTempFiles(const std::string& folder);

/// Removes what interrupted programs left in a folder.
/// Failures are not reported, as such files do no harm.
void removeStaleTempFiles(const std::string& folder);

} // namespace KOZAV::Backend
