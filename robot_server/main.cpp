#include "robot_server/CommandLine.h"
#include "robot_server/RequestLog.h"
#include "robot_server/RobotServer.h"
#include "robot_server/StopSignals.h"

#include <QCoreApplication>
#include <QFile>

#include <cstdio>

namespace {

constexpr int writeFailure = 1;
constexpr int startFailure = 2;

int complain(const QString& failure, int exitCode)
{
    std::fprintf(stderr, "zav_robot: %s\n", failure.toUtf8().constData());
    return exitCode;
}

int serve(const KOZAV::Robot::CommandLine& line, QFile& out)
{
    KOZAV::Robot::RequestLog log(out);
    if (!line.logFile.isEmpty() && !log.openFile(line.logFile))
        return complain(log.errorString(), startFailure);

    KOZAV::Robot::RobotServer server;
    const auto write = [&log](const auto& event) {
        if (!log.write(event))
            QCoreApplication::exit(complain(log.errorString(), writeFailure));
    };
    using KOZAV::Robot::RobotServer;
    QObject::connect(&server, &RobotServer::requestReceived, &server, write);
    QObject::connect(&server, &RobotServer::connectionDropped, &server, write);
    QObject::connect(&server, &RobotServer::finished, &server, [] { QCoreApplication::quit(); });
    const KOZAV::Robot::StopSignals stopSignals;
    QObject::connect(&stopSignals, &KOZAV::Robot::StopSignals::stopRequested, &server,
                     [] { QCoreApplication::quit(); });

    const quint16 port = server.start(line.server);
    if (port == 0)
        return complain(server.errorString(), startFailure);
    if (out.write(QByteArray::number(port) + '\n') < 0 || !out.flush())
        return complain(out.errorString(), writeFailure);
    return QCoreApplication::exec();
}

} // namespace

// Exit code: 0 ended as asked for, 1 a line could not be written, 2 not started.
int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationVersion(QStringLiteral(ZAV_ROBOT_VERSION));
    const KOZAV::Robot::CommandLine line = KOZAV::Robot::parseCommandLine(QCoreApplication::arguments());
    if (!line.failure.isEmpty())
        return complain(line.failure, startFailure);

    QFile out;
    if (!out.open(stdout, QIODevice::WriteOnly))
        return complain(out.errorString(), writeFailure);
    if (!line.information.isEmpty())
        return out.write(line.information.toUtf8()) < 0 ? complain(out.errorString(), writeFailure) : 0;
    return serve(line, out);
}
