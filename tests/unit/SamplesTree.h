#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

namespace KOZAV::Test {

/// Name, relative to the folder, of everything below it: a hash of the content of files, "folder" for
/// folders.
using Tree = QMap<QString, QByteArray>;

[[nodiscard]] Tree readTree(const QString& folder);

/// Time of last change of everything below the folder, in milliseconds.
[[nodiscard]] QMap<QString, qint64> readTimes(const QString& folder);

/// One hash of a whole tree.
[[nodiscard]] QByteArray digest(const Tree& tree);

/// Number and size of all files below the folder.
struct TreeSize
{
    quint64 files = 0;
    quint64 bytes = 0;
};
[[nodiscard]] TreeSize measureTree(const QString& folder);

[[nodiscard]] QByteArray readFile(const QString& path);
void writeFile(const QString& path, const QByteArray& content);

} // namespace KOZAV::Test
