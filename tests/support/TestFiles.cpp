#include "tests/support/TestFiles.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>

#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <iterator>

namespace KOZAV::Test {

using Backend::ErrorCode;
using Backend::Status;

std::string local(const QString& path)
{
    return QFile::encodeName(path).toStdString();
}

void makeFolder(const std::string& path)
{
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        ::mkdir(path.substr(0, slash).c_str(), S_IRWXU);
    ::mkdir(path.c_str(), S_IRWXU);
    struct stat made = {};
    if (::stat(path.c_str(), &made) != 0 || !S_ISDIR(made.st_mode))
        qFatal("cannot make the folder %s", path.c_str());
}

void copyFolder(const QString& from, const QString& to)
{
    QDirIterator files(from, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString source = files.next();
        const QString target = to + source.mid(from.size());
        if (!QDir().mkpath(QFileInfo(target).path()) || !QFile::copy(source, target) ||
            !QFile::setPermissions(target, QFile::ReadOwner | QFile::WriteOwner))
            qFatal("cannot copy %s", qUtf8Printable(source));
    }
}

void writeFile(const std::string& path, const QByteArray& content)
{
    makeFolder(path.substr(0, path.rfind('/')));
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(content.constData(), content.size());
    file.close();
    if (!file)
        qFatal("cannot write %s", path.c_str());
}

QByteArray readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return {};
    const std::string content((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    return QByteArray(content.data(), static_cast<int>(content.size()));
}

QStringList namesOf(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                                  QDir::Name);
}

QByteArray randomBytes(int size, quint32 seed)
{
    QRandomGenerator generator(seed);
    QByteArray bytes(size + 8, Qt::Uninitialized);
    for (int at = 0; at < size; at += 4) {
        const quint32 number = generator.generate();
        std::copy_n(reinterpret_cast<const char*>(&number), sizeof number, bytes.begin() + at);
    }
    bytes.truncate(size);
    return bytes;
}

QByteArray emptyZip(const QByteArray& comment)
{
    QByteArray end("PK\5\6");
    end += QByteArray(16, '\0');
    end += char(comment.size() & 0xff);
    end += char(comment.size() >> 8);
    return end + comment;
}

QByteArray featureLines(int size, quint32 seed)
{
    QRandomGenerator generator(seed);
    QByteArray lines;
    lines.reserve(size + 64);
    while (lines.size() < size) {
        lines += "L ";
        for (const int limit : {400'000, 400'000, 40}) {
            lines += QByteArray::number(generator.bounded(limit));
            lines += ' ';
        }
        lines += "P 0\n";
    }
    lines.truncate(size);
    return lines;
}

ProgramEnd runProgram(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    ProgramEnd end;
    const bool finished = process.waitForFinished(-1) && process.exitStatus() == QProcess::NormalExit;
    end.exitCode = finished ? process.exitCode() : -1;
    end.output = process.readAll();
    return end;
}

ProgramEnd runRole(const QStringList& tool, const QStringList& role)
{
    QStringList command = tool;
    command << QCoreApplication::applicationFilePath() << role;
    const QString program = command.takeFirst();
    return runProgram(program, command);
}

ProgramEnd runRoleOnTmpfs(const QString& folder, const QString& options, const QString& preparation,
                          const QStringList& role)
{
    const QString script =
        QStringLiteral("mount -t tmpfs -o %1 tmpfs \"$0\" || exit %2; cd \"$0\"; %3; \"$@\"; "
                       "end=$?; find . -type f -printf 'left: %P\\n'; exit $end")
            .arg(options, QString::number(cannotMount), preparation);
    return runRole({QStringLiteral("unshare"), QStringLiteral("-m"), QStringLiteral("sh"),
                    QStringLiteral("-c"), script, folder},
                   role);
}

bool canInject()
{
    const ProgramEnd end = runProgram(
        QStringLiteral("strace"), {QStringLiteral("-o"), QStringLiteral("/dev/null"), QStringLiteral("-e"),
                                   QStringLiteral("inject=fsync:error=EIO"), QStringLiteral("true")});
    return end.exitCode == 0;
}

int reportRole(const Status& status)
{
    std::printf("%d %s\n", static_cast<int>(status.code()), status.message().toUtf8().constData());
    return status.ok() ? 0 : 1;
}

ErrorCode reportedCode(const QByteArray& output)
{
    bool isNumber = false;
    const int code = output.left(output.indexOf(' ')).toInt(&isNumber);
    return isNumber ? static_cast<ErrorCode>(code) : ErrorCode::Internal;
}

} // namespace KOZAV::Test
