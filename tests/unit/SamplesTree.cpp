#include "tests/unit/SamplesTree.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <functional>

namespace KOZAV::Test {

namespace {

void forEachEntry(const QString& folder, const std::function<void(const QString&, const QFileInfo&)>& visit)
{
    const QDir root(folder);
    QDirIterator entries(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = entries.next();
        visit(root.relativeFilePath(path), entries.fileInfo());
    }
}

} // namespace

Tree readTree(const QString& folder)
{
    Tree tree;
    forEachEntry(folder, [&](const QString& name, const QFileInfo& info) {
        tree.insert(name, info.isDir() ? QByteArray("folder")
                                       : QCryptographicHash::hash(readFile(info.filePath()),
                                                                  QCryptographicHash::Sha256));
    });
    return tree;
}

QMap<QString, qint64> readTimes(const QString& folder)
{
    QMap<QString, qint64> times;
    forEachEntry(folder, [&](const QString& name, const QFileInfo& info) {
        times.insert(name, info.lastModified().toMSecsSinceEpoch());
    });
    return times;
}

QByteArray digest(const Tree& tree)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    for (auto entry = tree.constBegin(); entry != tree.constEnd(); ++entry)
        hash.addData(entry.key().toUtf8() + '\n' + entry.value().toHex() + '\n');
    return hash.result().toHex();
}

TreeSize measureTree(const QString& folder)
{
    TreeSize size;
    forEachEntry(folder, [&](const QString&, const QFileInfo& info) {
        size.files += info.isDir() ? 0 : 1;
        size.bytes += info.isDir() ? 0 : static_cast<quint64>(info.size());
    });
    return size;
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(path));
    return file.readAll();
}

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.flush())
        qFatal("cannot write %s", qPrintable(path));
}

} // namespace KOZAV::Test
