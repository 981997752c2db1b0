#include "tests/support/ClientProgram.h"

#include <QProcess>
#include <QProcessEnvironment>

namespace KOZAV::Test {

QString clientProgram()
{
    return QStringLiteral(ZAV_CLIENT);
}

ClientRun runClient(const QStringList& arguments, const QString& platform,
                    const std::function<void(const QString& output)>& watch)
{
    const QString platformVariable = QStringLiteral("QT_QPA_PLATFORM");
    auto environment = QProcessEnvironment::systemEnvironment();
    for (const QString& name :
         {QStringLiteral("DISPLAY"), QStringLiteral("WAYLAND_DISPLAY"), platformVariable})
        environment.remove(name);
    if (!platform.isEmpty())
        environment.insert(platformVariable, platform);

    QProcess client;
    client.setProcessEnvironment(environment);
    client.start(clientProgram(), arguments);
    ClientRun run;
    QByteArray output;
    while (watch && client.waitForReadyRead(120000)) {
        output += client.readAllStandardOutput();
        watch(QString::fromUtf8(output));
    }
    if (client.state() != QProcess::NotRunning && !client.waitForFinished(120000))
        qFatal("the client did not end");
    if (client.exitStatus() == QProcess::NormalExit)
        run.exitCode = client.exitCode();
    run.output = QString::fromUtf8(output + client.readAllStandardOutput());
    run.errors = QString::fromLocal8Bit(client.readAllStandardError());
    return run;
}

} // namespace KOZAV::Test
