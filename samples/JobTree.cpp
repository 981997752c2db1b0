#include "samples/JobTree.h"

#include "samples/Folders.h"

#include <utility>

namespace KOZAV::Samples {

JobTree::JobTree(QString path, QDateTime savedAt)
    : m_path(std::move(path))
    , m_savedAt(std::move(savedAt))
{
    makeEmptyFolder(m_path);
}

void JobTree::makeFolder(const QString& name) const
{
    Samples::makeFolder(m_path + QLatin1Char('/') + name);
}

void JobTree::write(const QString& name, const QByteArray& content)
{
    OutputFile file = create(name);
    file.write(content);
    finish(file);
}

void JobTree::writeWithSum(const QString& name, const QByteArray& content)
{
    OutputFile file = create(name);
    file.write(content);
    finishWithSum(file, name);
}

OutputFile JobTree::create(const QString& name) const
{
    return OutputFile(m_path + QLatin1Char('/') + name);
}

void JobTree::finishWithSum(OutputFile& file, const QString& name)
{
    finish(file);
    QString sumName = name;
    sumName.insert(name.lastIndexOf(QLatin1Char('/')) + 1, QLatin1Char('.'));
    const QByteArray text = "SIZE=" + QByteArray::number(file.size()) +
                            "\nSUM=" + QByteArray::number(file.sum()) +
                            "\nDATE=" + m_savedAt.toString(QStringLiteral("MM/dd/yyyy")).toLatin1() +
                            "\nTIME=" + m_savedAt.toString(QStringLiteral("HH:mm:ss")).toLatin1() +
                            "\nVERSION=ZAV SAMPLES 1\nUSER=SAMPLES\n";
    write(sumName + QStringLiteral(".sum"), text);
}

void JobTree::finish(OutputFile& file)
{
    file.finish();
    m_bytes += file.size();
    ++m_files;
}

} // namespace KOZAV::Samples
