#pragma once

#include "samples/JobArchive.h"

#include <QDateTime>
#include <QString>

#include <optional>

namespace KOZAV::Samples {

constexpr quint64 kSmallestJob = 100U << 10U;
constexpr quint64 kLargestJob = quint64{8} << 30U;

/// A job to be made up. The same request gives the same job on every machine.
struct JobRequest
{
    /// The folder to write to; it is made where it is missing.
    QString directory;
    /// Letters, digits, "_", "+" and "-". The job itself has the name in lower case.
    QString name;
    /// Size of all files of the job together, kept within 5 %.
    quint64 bytes = kSmallestJob;
    quint64 seed = 1;
    int steps = 1;
    /// Copper layers; masks, paste, silk screen, drills, rout and outline come with them.
    int layers = 4;
    /// Packs the job and leaves the archive only.
    std::optional<ArchiveKind> archive;
    /// File name of the archive; empty for the job's name with the suffix of the kind.
    QString archiveName;
};

struct JobResult
{
    /// What went wrong; empty after success. A failure leaves nothing of the job behind.
    QString error;
    /// The job folder or the archive.
    QString path;
    quint64 files = 0;
    /// Size of all files of the job together, unpacked.
    quint64 bytes = 0;
    /// Size of the archive; 0 where none was asked for.
    quint64 archiveBytes = 0;
    /// The time of the job's last save, which its files, its folders and its archive have as time of last
    /// change.
    QDateTime savedAt;

    [[nodiscard]] bool ok() const { return error.isEmpty(); }
};

/// The bytes meant by "4096", "100K", "5M" or "8G" (multiples of 1024, either case); nothing for any other
/// text.
[[nodiscard]] std::optional<quint64> parseSize(const QString& text);

/// The size as a person reads it: "5 M", "1.5 G", "700 bytes".
[[nodiscard]] QString readableSize(quint64 bytes);

/// Why there cannot be so many of something, where there must be 1 to `most`; nothing where there can.
[[nodiscard]] std::optional<QString> invalidCount(const QString& what, int count, int most);

/// Why no job can be made from the request; nothing where it can. Looks at the request alone, not at the
/// disk.
[[nodiscard]] std::optional<QString> invalidJobRequest(const JobRequest& request);

/// Writes the job folder `directory`/`name`, or the archive of it. Refuses a folder that holds something
/// already and an archive that exists.
[[nodiscard]] JobResult generateJob(const JobRequest& request);

} // namespace KOZAV::Samples
