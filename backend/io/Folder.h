#pragma once

#include "backend/Status.h"
#include "backend/io/File.h"

#include <string>
#include <vector>

namespace KOZAV::Backend {

/// An open folder. Its entries are reached from it and never by a path that others could change meanwhile; a
/// relative path may have several parts, and no symbolic link on it is followed.
class Folder final
{
public:
    static Result<Folder> open(const std::string& path);

    /// Opens a folder beneath this one.
    [[nodiscard]] Result<Folder> openFolder(const std::string& relativePath) const;

    /// Opens what lies beneath this folder with the flags of open(). Returns a descriptor that the caller
    /// closes, or -1 and errno.
    [[nodiscard]] int openEntry(const std::string& relativePath, int flags) const;

    [[nodiscard]] const std::string& path() const { return m_file.path(); }

    [[nodiscard]] Result<FileInfo> info() const { return m_file.info(); }
    [[nodiscard]] Result<FileInfo> entryInfo(const std::string& relativePath) const;

    /// The names in it as the disk has them, without "." and "..", in no order.
    [[nodiscard]] Result<std::vector<std::string>> names() const;

    /// Where the symbolic link at relativePath leads.
    [[nodiscard]] Result<std::string> linkTarget(const std::string& relativePath) const;

    /// Brings its entries to the disk.
    [[nodiscard]] Status sync() const;

private:
    explicit Folder(File file)
        : m_file(std::move(file))
    {
    }

    static Result<Folder> opened(int descriptor, std::string path);

    File m_file;
};

/// The names in the folder at path.
Result<std::vector<std::string>> namesIn(const std::string& path);

/// Makes a folder for this user alone (0700) where there is none; the new entry is durable.
Status createFolder(const std::string& path);

/// Brings the entries of the folder at path to the disk.
Status syncFolder(const std::string& path);

/// Fails where this user may not make files in the folder.
Status requireWritableFolder(const std::string& path);

} // namespace KOZAV::Backend
