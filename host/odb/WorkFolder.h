#pragma once

#include <QByteArray>
#include <QString>

#include <system_error>

class QFile;

namespace KOZAV::Host {

/// The path of an archive entry below the folder that it is unpacked into.
struct EntryPath
{
    QString path;    ///< with "/" between, none at its end; empty for the folder itself
    QString refusal; ///< why the entry is not unpacked; empty where it is
};

/// Checks an entry's name as the archive has it.
EntryPath entryPath(const QByteArray& rawName);

/// Whether a symbolic link at path, made among real folders only, stays in the folder whatever other such
/// links there are: its target is relative, goes up only at its beginning, and not further than the folder.
bool linkStaysInside(const QString& path, const QByteArray& target);

/// Opens a regular file for reading by its path, a symbolic link included; what is none is not waited for and
/// fails as not_supported.
[[nodiscard]] std::error_code openRegularFile(const QString& path, QFile& file);

/// A folder that no name leads out of. Every path is resolved beneath it and through real folders only: a
/// symbolic link on the way, wherever it leads to, is an error.
///
/// Paths are as entryPath() gives them. Each operation returns an error whose value is an errno; reason()
/// puts it into words.
class WorkFolder final
{
public:
    WorkFolder() = default;
    ~WorkFolder();
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;

    /// Opens a folder that exists.
    [[nodiscard]] std::error_code open(const QString& folder);

    /// Makes a folder, and those above it, where there is none.
    [[nodiscard]] std::error_code makeFolder(const QString& path) const;
    /// The same for the folder that holds what has this path.
    [[nodiscard]] std::error_code makeFolderOf(const QString& path) const;
    /// Makes a file in a folder that exists, and opens it for writing; never one that is there already.
    [[nodiscard]] std::error_code makeFile(const QString& path, QFile& file) const;
    /// Makes a file with this content, durably, in a folder that exists: whole or not at all, and never over
    /// anything that has its name (file_exists).
    [[nodiscard]] std::error_code publishFile(const QString& path, const QByteArray& content) const;
    /// Makes a symbolic link in a folder that exists.
    [[nodiscard]] std::error_code makeLink(const QString& path, const QByteArray& target) const;
    /// Opens a regular file for reading; what is none is not waited for and fails as not_supported.
    [[nodiscard]] std::error_code openFile(const QString& path, QFile& file) const;

    static QString reason(const std::error_code& error);

private:
    int m_folder = -1;
};

} // namespace KOZAV::Host
