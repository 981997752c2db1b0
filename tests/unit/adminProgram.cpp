#include "tests/support/ConfigurationFile.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

using namespace KOZAV::Test;

/// The program itself: what the shell sees of it.
class AdminProgramTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void helpGoesToStandardOutput();
    void versionIsTheProjects();
    void unknownVerbGoesToStandardError();
    void configurationComesFromTheEnvironment();
    void closedOutputIsAFailure();
};

namespace {

struct Ended
{
    int code = -1;
    QByteArray out;
    QByteArray err;
};

Ended run(const QStringList& arguments, const QString& configuration = {}, const QString& output = {})
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!configuration.isEmpty())
        environment.insert(QStringLiteral("ZAV_CONFIG"), configuration);
    process.setProcessEnvironment(environment);
    if (!output.isEmpty())
        process.setStandardOutputFile(output);
    process.start(QStringLiteral(ZAV_ADMIN_PROGRAM), arguments);
    if (!process.waitForFinished() || process.exitStatus() != QProcess::NormalExit)
        return {-1, {}, process.errorString().toUtf8()};
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

} // namespace

void AdminProgramTest::helpGoesToStandardOutput()
{
    const Ended ended = run({QStringLiteral("--help")});
    QCOMPARE(ended.code, 0);
    QVERIFY(ended.out.startsWith("Usage: zav_admin"));
    QCOMPARE(ended.err, QByteArray());
}

void AdminProgramTest::versionIsTheProjects()
{
    const Ended ended = run({QStringLiteral("--version")});
    QCOMPARE(ended.code, 0);
    QCOMPARE(ended.out, QByteArray("zav_admin " ZAV_PROJECT_VERSION "\n"));
}

void AdminProgramTest::unknownVerbGoesToStandardError()
{
    const Ended ended = run({QStringLiteral("frobnicate")});
    QCOMPARE(ended.code, 2);
    QCOMPARE(ended.out, QByteArray());
    QVERIFY(ended.err.startsWith("zav_admin: unknown verb \"frobnicate\""));
}

void AdminProgramTest::configurationComesFromTheEnvironment()
{
    const ConfigurationFile file;
    const QString data = file.inFolder(QStringLiteral("data"));
    const Ended made = run({QStringLiteral("init"), QStringLiteral("--data-root"), data}, file.path());
    QCOMPARE(made.code, 0);
    QCOMPARE(made.err, QByteArray());
    QCOMPARE(permissionsOf(file.path()), 0600U);
    const Ended shown =
        run({QStringLiteral("config"), QStringLiteral("get"), QStringLiteral("--json")}, file.path());
    QCOMPARE(shown.code, 0);
    QCOMPARE(QJsonDocument::fromJson(shown.out).object().value(QStringLiteral("file")).toString(),
             file.path());
}

void AdminProgramTest::closedOutputIsAFailure()
{
    const Ended ended = run({QStringLiteral("--help")}, {}, QStringLiteral("/dev/full"));
    QCOMPARE(ended.code, 1);
    QVERIFY(ended.err.contains("cannot be written"));
}

QTEST_GUILESS_MAIN(AdminProgramTest)
#include "adminProgram.moc"
