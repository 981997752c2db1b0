#include "tests/support/FolderTree.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>

namespace KOZAV::Test {

QMap<QString, QByteArray> filesOf(const QString& folder)
{
    QMap<QString, QByteArray> files;
    const QDir root(folder);
    QDirIterator entries(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        QFile file(entries.next());
        if (!file.open(QIODevice::ReadOnly))
            qFatal("%s: %s", qUtf8Printable(file.fileName()), qUtf8Printable(file.errorString()));
        QCryptographicHash hash(QCryptographicHash::Sha256);
        hash.addData(&file);
        files.insert(root.relativeFilePath(file.fileName()), hash.result());
    }
    return files;
}

QByteArray run(const QString& program, const QStringList& arguments, const QString& workingDirectory)
{
    QProcess process;
    process.setWorkingDirectory(workingDirectory);
    process.start(program, arguments);
    if (!process.waitForFinished(300000) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0)
        qFatal("%s %s: %s", qUtf8Printable(program), qUtf8Printable(arguments.join(QLatin1Char(' '))),
               process.readAllStandardError().constData());
    return process.readAllStandardOutput();
}

} // namespace KOZAV::Test
