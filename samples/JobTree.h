#pragma once

#include "samples/OutputFile.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

namespace KOZAV::Samples {

/// The folder of a job under construction, and the count of what was written to it. Names are relative to the
/// folder. Every operation throws WriteError.
class JobTree final
{
public:
    /// Makes the folder at `path`. `savedAt` is the time that the check-sum files state.
    JobTree(QString path, QDateTime savedAt);

    void makeFolder(const QString& name) const;
    void write(const QString& name, const QByteArray& content);
    /// Writes the file and, beside it, the hidden check-sum file that a job keeps for it.
    void writeWithSum(const QString& name, const QByteArray& content);

    /// A file to be written in pieces; finishWithSum() ends it.
    [[nodiscard]] OutputFile create(const QString& name) const;
    void finishWithSum(OutputFile& file, const QString& name);

    [[nodiscard]] quint64 bytes() const { return m_bytes; }
    [[nodiscard]] quint64 files() const { return m_files; }

private:
    void finish(OutputFile& file);

    QString m_path;
    QDateTime m_savedAt;
    quint64 m_bytes = 0;
    quint64 m_files = 0;
};

} // namespace KOZAV::Samples
