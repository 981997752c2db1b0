#include "samples/OutputFile.h"

#include "samples/WriteError.h"

#include <numeric>

namespace KOZAV::Samples {

OutputFile::OutputFile(const QString& path)
    : m_file(path)
{
    // Unbuffered, so that a full disk shows in the result of the write that met it. Callers write large
    // pieces.
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
        fail(m_file.errorString());
}

void OutputFile::write(const char* data, qint64 size)
{
    qint64 written = 0;
    while (written < size) {
        const qint64 step = m_file.write(data + written, size - written);
        if (step <= 0)
            fail(m_file.errorString());
        written += step;
    }
    const auto addByte = [](quint32 sum, char byte) { return sum + static_cast<unsigned char>(byte); };
    m_sum = std::accumulate(data, data + size, m_sum, addByte);
    m_size += static_cast<quint64>(size);
}

void OutputFile::finish()
{
    if (!m_file.flush())
        fail(m_file.errorString());
    if (static_cast<quint64>(m_file.size()) != m_size)
        fail(QStringLiteral("only %1 of %2 bytes are in the file").arg(m_file.size()).arg(m_size));
    m_file.close();
    if (m_file.error() != QFileDevice::NoError)
        fail(m_file.errorString());
}

void OutputFile::fail(const QString& reason) const
{
    throw WriteError(QStringLiteral("cannot write %1: %2").arg(m_file.fileName(), reason));
}

} // namespace KOZAV::Samples
