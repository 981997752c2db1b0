#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

namespace KOZAV::Samples {

/// How a job is packed. A saved job (Kos) is packed like Tgz and differs in its suffix; Tar is a kind that
/// the import does not take.
enum class ArchiveKind { Tgz, Zip, Kos, Tar };

/// "tgz", "zip", "kos" or "tar".
[[nodiscard]] QString archiveSuffix(ArchiveKind kind);
/// The kind of "tgz", "zip" or "kos"; nothing for any other text.
[[nodiscard]] std::optional<ArchiveKind> archiveKind(const QString& suffix);

struct ArchiveRequest
{
    QString folder;
    /// Name of the folder inside the archive.
    QString rootName;
    /// The file to write; one that exists already is an error.
    QString archivePath;
    ArchiveKind kind = ArchiveKind::Tgz;
    /// The time of every entry and of the archive itself. Entries of a zip have none: a zip states local
    /// time, which differs between machines.
    QDateTime time;
};

struct ArchiveResult
{
    /// What went wrong; empty after success. No archive is left behind a failure.
    QString error;
    quint64 files = 0;
    quint64 bytes = 0;

    [[nodiscard]] bool ok() const { return error.isEmpty(); }
};

/// Packs a folder with all it holds, hidden files and empty folders included. Entries are sorted by name and
/// belong to user and group 0, so that the same folder gives the same archive.
[[nodiscard]] ArchiveResult writeArchive(const ArchiveRequest& request);

} // namespace KOZAV::Samples
