#pragma once

#include <QByteArray>
#include <QHash>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <tuple>
#include <vector>

namespace KOZAV::Host {

/// What the site knows of the content of sources. All of it may be asked on any thread.

/// The content of a source, as a job of it would have it.
struct SourceContent
{
    bool isFolder = false; ///< a job folder, whose manifest does not count; otherwise an archive
    qint64 length = -1;
    QByteArray sha256;

    bool operator==(const SourceContent& other) const
    {
        return isFolder == other.isFolder && length == other.length && sha256 == other.sha256;
    }
    /// Some order, for maps.
    bool operator<(const SourceContent& other) const
    {
        return std::tie(isFolder, length, sha256) < std::tie(other.isFolder, other.length, other.sha256);
    }
};

/// A complete job of the site, neither failed nor taken back, and its content.
struct JobWithContent
{
    SourceContent content;
    QString flowKey;
    QString generatedName;
    QString company; ///< the name that it has now
};

/// The length of a source's content without reading it; -1 where that cannot be told.
[[nodiscard]] qint64 contentLength(const QString& path, bool isFolder);
/// Reads a source; its length is -1 where it cannot be read.
/// @param onBytes  told of bytes as they are read; returns whether to go on
[[nodiscard]] SourceContent contentOf(const QString& path, bool isFolder,
                                      const std::function<bool(qint64 bytes)>& onBytes);
/// Which of these lengths a content of the site may have; nothing, and the reason, where that cannot be
/// asked.
[[nodiscard]] std::optional<QSet<qint64>> knownLengths(bool isFolder, const QSet<qint64>& lengths,
                                                       QString& failure);
/// Of each of these contents and each company the oldest job.
[[nodiscard]] std::optional<std::vector<JobWithContent>>
jobsWithContent(const std::vector<SourceContent>& contents, QString& failure);
/// By the flow keys of jobs, their contents, as far as the site knows them: of an archive its stored file's.
[[nodiscard]] std::optional<QHash<QString, SourceContent>> contentsOfJobs(const QStringList& flowKeys,
                                                                          QString& failure);
/// By the flow keys of jobs, given with their companies: a job that had the same content before, of the
/// same company where there is one.
[[nodiscard]] std::optional<QHash<QString, JobWithContent>>
jobsBefore(const QHash<QString, QString>& companies, QString& failure);

} // namespace KOZAV::Host
