#include "robot_server/CommandLine.h"
#include "robot_server/RequestLog.h"
#include "robot_server/RobotServer.h"
#include "terminal/FileSizeLimit.h"
#include "terminal/Interruption.h"
#include "terminal/StandardStreams.h"

#include <QCoreApplication>
#include <QFile>
#include <QTimer>

#include <csignal>
#include <cstdio>

namespace {

using namespace KOZAV::Robot;
using KOZAV::Terminal::Interruption;

/// Has SIGINT, SIGTERM and SIGHUP end the server: what is being written still goes out, every line is whole.
void stopOnSignals(RobotServer& server)
{
    constexpr int lookMs = 100;
    auto* const look = new QTimer(&server);
    QObject::connect(look, &QTimer::timeout, &server, [&server, look] {
        if (!Interruption::isAskedFor())
            return;
        look->stop();
        server.stopAtOnce();
    });
    look->start(lookMs);
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
    stopOnSignals(server);

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
    const Interruption interruption;
    QFile out;
    if (!out.open(stdout, QIODevice::WriteOnly))
        return complain(out.errorString(), WriteFailure);
    return line.information.isEmpty() ? serve(line, out) : print(out, line.information.toUtf8());
}
