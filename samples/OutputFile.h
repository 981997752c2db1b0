#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

namespace KOZAV::Samples {

/// A file that is written from start to end. Every operation throws WriteError with the file's name and the
/// system's reason when the bytes did not reach the file.
class OutputFile final
{
public:
    /// Creates the file; one that exists already is an error.
    explicit OutputFile(const QString& path);

    void write(const char* data, qint64 size);
    void write(const QByteArray& data) { write(data.constData(), data.size()); }

    /// Closes the file after checking that it holds what was written. Must be called once; a file that goes
    /// out of scope without it is unfinished.
    void finish();

    [[nodiscard]] quint64 size() const { return m_size; }
    /// Sum of all bytes, as the job's check-sum files have it.
    [[nodiscard]] quint32 sum() const { return m_sum; }

private:
    [[noreturn]] void fail(const QString& reason) const;

    QFile m_file;
    quint64 m_size = 0;
    quint32 m_sum = 0;
};

} // namespace KOZAV::Samples
