#include "host/odb/OdbJob.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace KOZAV::Host {

namespace {

/// A matrix is a small text; what is larger is none.
constexpr qint64 largestMatrix = 64LL * 1024 * 1024;

QString matrixFile(const QString& folder)
{
    return folder + QStringLiteral("/matrix/matrix");
}

QString jobFolder(const QString& folder)
{
    if (QFileInfo(matrixFile(folder)).isFile())
        return folder;
    for (const QFileInfo& entry :
         QDir(folder).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden)) {
        if (QFileInfo(matrixFile(entry.filePath())).isFile())
            return entry.filePath();
    }
    return {};
}

} // namespace

OdbJob openOdbJob(const QString& folder)
{
    OdbJob job;
    job.folder = jobFolder(folder);
    if (job.folder.isEmpty()) {
        job.error = QStringLiteral("there is no matrix/matrix: this is not an ODB++ job");
        return job;
    }
    job.name = QDir(job.folder).dirName();
    QFile file(matrixFile(job.folder));
    if (file.size() > largestMatrix || !file.open(QIODevice::ReadOnly)) {
        job.error = QStringLiteral("the matrix cannot be read");
        return job;
    }
    job.matrix = readMatrix(file.readAll());
    job.error = job.matrix.error;
    return job;
}

} // namespace KOZAV::Host
