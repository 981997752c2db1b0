#include "robot_server/CommandLine.h"
#include "robot_server/RequestLog.h"
#include "robot_server/RobotServer.h"
#include "terminal/FileSizeLimit.h"
#include "terminal/StandardStreams.h"

#include <QCoreApplication>
#include <QFile>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>

#ifdef Q_OS_LINUX
#include <sys/signalfd.h>
#endif

namespace {

using namespace KOZAV::Robot;

/// From now on SIGINT and SIGTERM end the event loop. Where they cannot be waited for they keep their default
/// effect, which ends the program too.
void quitOnStopSignals(QObject* parent)
{
#ifdef Q_OS_LINUX
    sigset_t stopSignals;
    ::sigemptyset(&stopSignals);
    ::sigaddset(&stopSignals, SIGINT);
    ::sigaddset(&stopSignals, SIGTERM);
    const int descriptor = ::signalfd(-1, &stopSignals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor < 0 || ::pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr) != 0)
        return;
    auto* const notifier = new QSocketNotifier(descriptor, QSocketNotifier::Read, parent);
    QObject::connect(notifier, &QSocketNotifier::activated, parent, [] { QCoreApplication::quit(); });
#else
    Q_UNUSED(parent)
#endif
}

/// A pipe whose reader has gone is a failure to write, which is told.
void surviveClosedPipes()
{
#ifdef Q_OS_UNIX
    std::signal(SIGPIPE, SIG_IGN);
#endif
}

int complain(const QString& failure, ExitCode exitCode)
{
    std::fprintf(stderr, "zav_robot: %s\n", failure.toUtf8().constData());
    return exitCode;
}

int print(QFile& out, const QByteArray& text)
{
    const bool printed = out.write(text) == text.size() && out.flush();
    return printed ? EndedAsAskedFor : complain(out.errorString(), WriteFailure);
}

int serve(const CommandLine& line, QFile& out)
{
    RequestLog log(out);
    if (!line.logFile.isEmpty() && !log.openFile(line.logFile, line.log))
        return complain(log.errorString(), StartFailure);

    RobotServer server;
    const auto write = [&log](const auto& event) {
        if (!log.write(event))
            QCoreApplication::exit(complain(log.errorString(), WriteFailure));
        if (const QString complaint = log.takeComplaint(); !complaint.isEmpty())
            complain(complaint, EndedAsAskedFor);
    };
    QObject::connect(&server, &RobotServer::requestReceived, &server, write);
    QObject::connect(&server, &RobotServer::connectionDropped, &server, write);
    QObject::connect(&server, &RobotServer::finished, &server, [] { QCoreApplication::quit(); });
    quitOnStopSignals(&server);

    const quint16 port = server.start(line.server);
    if (port == 0)
        return complain(server.errorString(), StartFailure);
    const int failure = print(out, QByteArray::number(port) + '\n');
    return failure != EndedAsAskedFor ? failure : QCoreApplication::exec();
}

} // namespace

int main(int argc, char* argv[])
{
    KOZAV::Terminal::holdStandardStreams();
    KOZAV::Terminal::outliveFileSizeLimit();
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationVersion(QStringLiteral(ZAV_ROBOT_VERSION));
    const CommandLine line = parseCommandLine(QCoreApplication::arguments());
    if (!line.failure.isEmpty())
        return complain(line.failure, StartFailure);

    surviveClosedPipes();
    QFile out;
    if (!out.open(stdout, QIODevice::WriteOnly))
        return complain(out.errorString(), WriteFailure);
    return line.information.isEmpty() ? serve(line, out) : print(out, line.information.toUtf8());
}
