#pragma once

#include <QDateTime>
#include <QString>

namespace KOZAV::Samples {

/// Makes the folder and the folders above it. Throws WriteError.
void makeFolder(const QString& path);

/// Makes the folder; throws WriteError where something other than an empty folder stands in its place.
void makeEmptyFolder(const QString& path);

/// Gives the file, or every file and folder below `path` and `path` itself, the same time of last change.
/// Throws WriteError.
void stampTree(const QString& path, const QDateTime& time);

/// Gives the folder alone the time of last change that another file or folder has. Throws WriteError.
void stampFolder(const QString& folder, const QString& like);

/// Removes what stands at `path`, a file or a folder with all it holds.
void removeTree(const QString& path);

/// Undoes a half-written sample: removes `path` when it goes out of scope, unless keep() was called.
class RemovalGuard final
{
public:
    explicit RemovalGuard(QString path);
    ~RemovalGuard();
    RemovalGuard(const RemovalGuard&) = delete;
    RemovalGuard& operator=(const RemovalGuard&) = delete;

    void keep() { m_keep = true; }

private:
    QString m_path;
    bool m_keep = false;
};

} // namespace KOZAV::Samples
