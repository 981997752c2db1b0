#include "tests/support/KilledClient.h"

#include "tests/support/ClientProgram.h"

#include <QHash>
#include <QList>

namespace KOZAV::Test {

namespace {

QString traceOption()
{
    return QStringLiteral(
        "trace=write,pwrite64,fsync,fdatasync,ftruncate,rename,renameat,renameat2,link,linkat,"
        "unlink,unlinkat,mkdir,symlink,symlinkat,sendfile,copy_file_range,sendto,sendmsg");
}

/// The calls of the thread that made the first, without those of the start, which come before the work folder
/// of the process is made.
std::vector<SystemCall> callsIn(const QByteArray& trace)
{
    const QList<QByteArray> lines = trace.split('\n');
    const QByteArray mainThread = lines.front().left(lines.front().indexOf(' ') + 1);
    QHash<QByteArray, int> numbers;
    bool started = false;
    std::vector<SystemCall> found;
    for (const QByteArray& line : lines) {
        const int end = line.indexOf('(');
        if (!line.startsWith(mainThread) || end < 0 || line.contains("resumed>"))
            continue;
        const QByteArray name = line.mid(mainThread.size(), end - mainThread.size()).trimmed();
        started = started || line.contains("/process-");
        if (const int number = ++numbers[name]; started)
            found.push_back({name, number});
    }
    return found;
}

} // namespace

std::vector<SystemCall> clientCalls(const QStringList& arguments, const QString& trace)
{
    const ProgramEnd end = runProgram(QStringLiteral("strace"),
                                      QStringList({QStringLiteral("-f"), QStringLiteral("-o"), trace,
                                                   QStringLiteral("-e"), traceOption(), clientProgram()}) +
                                          arguments);
    if (end.exitCode != 0) {
        qWarning("%s", end.output.constData());
        return {};
    }
    return callsIn(readFile(local(trace)));
}

ProgramEnd killClient(const QStringList& arguments, const SystemCall& call)
{
    const QString inject =
        QStringLiteral("inject=%1:signal=KILL:when=%2").arg(QString::fromLatin1(call.name)).arg(call.number);
    return runProgram(
        QStringLiteral("strace"),
        QStringList({QStringLiteral("-f"), QStringLiteral("-o"), QStringLiteral("/dev/null"),
                     QStringLiteral("-e"), traceOption(), QStringLiteral("-e"), inject, clientProgram()}) +
            arguments);
}

} // namespace KOZAV::Test
