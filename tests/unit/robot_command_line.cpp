#include "robot_server/CommandLine.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Robot;

Q_DECLARE_METATYPE(KOZAV::Robot::Reception)

class RobotCommandLineTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void defaults();
    void everyOption();
    void receptions_data();
    void receptions();
    void failures_data();
    void failures();
    void helpNamesEveryOptionAndDefault_data();
    void helpNamesEveryOptionAndDefault();
    void version_data();
    void version();
};

namespace {

CommandLine parse(const QString& arguments)
{
    return parseCommandLine(QStringList{QStringLiteral("zav_robot")} +
                            arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts));
}

} // namespace

void RobotCommandLineTest::defaults()
{
    const CommandLine line = parse(QString());
    QCOMPARE(line.failure, QString());
    QCOMPARE(line.information, QString());
    QCOMPARE(line.logFile, QString());
    QCOMPARE(line.server.address, QHostAddress(QHostAddress::LocalHost));
    QCOMPARE(line.server.port, quint16(0));
    QVERIFY(line.server.allowedPeers.empty());
    QCOMPARE(line.server.reception, Reception::Serve);
    QVERIFY(!line.server.reply.has_value());
    QVERIFY(!line.server.silent);
    QCOMPARE(line.server.replyDelayMs, 0);
    QCOMPARE(line.server.maxRequests, 0);
    QCOMPARE(line.server.maxConnections, 32);
    QCOMPARE(line.server.maxPerPeer, 16);
    QCOMPARE(line.log.maxBytes, 10485760);
    QCOMPARE(line.log.oldFiles, 5);
    QCOMPARE(line.server.json.maxBytes, 1048576);
    QCOMPARE(line.server.json.maxDepth, 32);
    QCOMPARE(line.server.idleTimeoutMs, 300000);
    QCOMPARE(line.server.documentTimeoutMs, 10000);
}

void RobotCommandLineTest::everyOption()
{
    const CommandLine line = parse(QStringLiteral(
        "--port 8123 --listen ::1 --allow 10.0.0.0/8 --allow ::1 --log a.log --reply 完 --delay 5 "
        "--max-requests 6 --max-connections 7 --max-bytes 8 --max-depth 9 --idle-timeout 10 "
        "--document-timeout 11 --max-per-peer 12 --log-size 4096 --log-files 14"));
    QCOMPARE(line.failure, QString());
    QCOMPARE(line.server.port, quint16(8123));
    QCOMPARE(line.server.address, QHostAddress(QHostAddress::LocalHostIPv6));
    QCOMPARE(line.server.allowedPeers.size(), std::size_t(2));
    QCOMPARE(line.server.allowedPeers[0], QHostAddress::parseSubnet(QStringLiteral("10.0.0.0/8")));
    QCOMPARE(line.logFile, QStringLiteral("a.log"));
    QCOMPARE(line.server.reply.value_or("none"), QByteArray("完"));
    QCOMPARE(line.server.replyDelayMs, 5);
    QCOMPARE(line.server.maxRequests, 6);
    QCOMPARE(line.server.maxConnections, 7);
    QCOMPARE(line.server.json.maxBytes, 8);
    QCOMPARE(line.server.json.maxDepth, 9);
    QCOMPARE(line.server.idleTimeoutMs, 10);
    QCOMPARE(line.server.documentTimeoutMs, 11);
    QCOMPARE(line.server.maxPerPeer, 12);
    QCOMPARE(line.log.maxBytes, 4096);
    QCOMPARE(line.log.oldFiles, 14);
    QVERIFY(parse(QStringLiteral("--silent")).server.silent);
}

void RobotCommandLineTest::receptions_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<Reception>("reception");
    QTest::newRow("refuse") << QStringLiteral("--refuse") << Reception::Refuse;
    QTest::newRow("hang up") << QStringLiteral("--hang-up") << Reception::HangUp;
    QTest::newRow("never accept") << QStringLiteral("--never-accept") << Reception::NeverAccept;
}

void RobotCommandLineTest::receptions()
{
    QFETCH(QString, option);
    QFETCH(Reception, reception);
    QCOMPARE(parse(option).failure, QString());
    QCOMPARE(parse(option).server.reception, reception);
}

void RobotCommandLineTest::failures_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("failure");
    const auto row = [](const char* arguments, const char* failure) {
        QTest::newRow(arguments) << QString::fromUtf8(arguments) << QString::fromUtf8(failure);
    };
    row("start", "unexpected argument 'start'");
    row("--nosuch", "Unknown option 'nosuch'.");
    row("--help-all", "Unknown option 'help-all'.");
    row("--port", "Missing value after '--port'.");
    row("--port 65536", "--port needs a number from 0 to 65535, not '65536'");
    row("--port -1", "--port needs a number from 0 to 65535, not '-1'");
    row("--port 80x", "--port needs a number from 0 to 65535, not '80x'");
    row("--max-connections 0", "--max-connections needs a number from 1 to 10000, not '0'");
    row("--max-per-peer 0", "--max-per-peer needs a number from 1 to 10000, not '0'");
    row("--log-size 4095", "--log-size needs a number from 4096 to 2147483647, not '4095'");
    row("--log-files 0", "--log-files needs a number from 1 to 1000, not '0'");
    row("--max-bytes 1", "--max-bytes needs a number from 2 to 1073741824, not '1'");
    row("--max-depth 1001", "--max-depth needs a number from 1 to 1000, not '1001'");
    row("--idle-timeout 0", "--idle-timeout needs a number from 1 to 2147483647, not '0'");
    row("--delay 2147483648", "--delay needs a number from 0 to 2147483647, not '2147483648'");
    row("--listen localhost", "--listen needs a numeric address, not 'localhost'");
    row("--listen=", "--listen needs a numeric address, not ''");
    row("--allow everybody", "--allow needs an address or a network, not 'everybody'");
    row("--allow 10.0.0.0/33", "--allow needs an address or a network, not '10.0.0.0/33'");
    row("--log=", "--log needs the name of a file");
    row("--reply a --silent", "--reply and --silent exclude each other");
    row("--refuse --never-accept", "--refuse, --hang-up and --never-accept exclude each other");
    row("--port x --listen y", "--port needs a number from 0 to 65535, not 'x'");
}

void RobotCommandLineTest::failures()
{
    QFETCH(QString, arguments);
    QFETCH(QString, failure);
    QCOMPARE(parse(arguments).failure, failure);
}

void RobotCommandLineTest::helpNamesEveryOptionAndDefault_data()
{
    QTest::addColumn<QString>("arguments");
    for (const char* arguments : {"-h", "--help", "--port 80 --help", "--port x -h"})
        QTest::newRow(arguments) << QString::fromLatin1(arguments);
}

void RobotCommandLineTest::helpNamesEveryOptionAndDefault()
{
    QFETCH(QString, arguments);
    const CommandLine line = parse(arguments);
    QCOMPARE(line.failure, QString());
    const QString help = line.information.simplified();
    for (const char* text :
         {"--port N", "--listen ADDRESS", "--allow ADDRESS[/BITS]", "--log FILE", "--reply TEXT", "--silent",
          "--delay MS", "--refuse", "--hang-up", "--never-accept", "--max-requests N", "-h, --help",
          "-v, --version", "otherwise 127.0.0.1 ", "otherwise 32 ", "otherwise 1048576 ", "otherwise 300000 ",
          "otherwise 10000 "})
        QVERIFY2(help.contains(QLatin1String(text)), text);
}

void RobotCommandLineTest::version_data()
{
    QTest::addColumn<QString>("argument");
    QTest::newRow("-v") << QStringLiteral("-v");
    QTest::newRow("--version") << QStringLiteral("--version");
}

void RobotCommandLineTest::version()
{
    QFETCH(QString, argument);
    QCoreApplication::setApplicationVersion(QStringLiteral("1.2.3"));
    QCOMPARE(parse(argument).information, QStringLiteral("zav_robot 1.2.3\n"));
}

ZAV_REGISTER_TEST(robot_command_line, RobotCommandLineTest, QCoreApplication)

#include "robot_command_line.moc"
