#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QFile>
#include <QString>

namespace KOZAV::Samples {

/// Why a file or folder could not be written. Thrown inside the library only: its public functions turn it
/// into the error text of their result.
struct WriteError
{
    QString text;
};

/// Throws a WriteError: "cannot `what` `path`: `reason`".
[[noreturn]] void fail(const char* what, const QString& path, const QString& reason);

/// A file that is written from start to end. Every operation throws WriteError with the file's name and the
/// system's reason when the bytes did not reach the file.
class OutputFile final
{
public:
    /// Creates the file; one that exists already is an error.
    explicit OutputFile(const QString& path);

    void write(const QByteArray& data);

    /// Closes the file after checking that it holds what was written, and gives it its time of last change.
    /// Must be called once; a file that goes out of scope without it is unfinished.
    void finish(const QDateTime& time);

    [[nodiscard]] quint64 size() const { return m_size; }
    /// Sum of all bytes, as the job's check-sum files have it.
    [[nodiscard]] quint32 sum() const { return m_sum; }

private:
    void check(bool success) const;

    QFile m_file;
    quint64 m_size = 0;
    quint32 m_sum = 0;
};

/// Makes the folder and the folders above it. Throws WriteError.
void makeFolder(const QString& path);

/// Makes the folder; throws WriteError where something other than an empty folder stands in its place.
void makeEmptyFolder(const QString& path);

/// Gives the folder alone the time of last change that another file or folder has. Throws WriteError.
void stampFolder(const QString& folder, const QString& like);

/// Gives the folder and every folder below it the time of last change that the file has. Throws WriteError.
void stampFolders(const QString& folder, const QString& like);

/// Removes what stands at the path: a file, or a folder with all it holds. Undoes a half-written sample.
void removeAll(const QString& path);

} // namespace KOZAV::Samples
