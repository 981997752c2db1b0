#include "tests/support/RobotClient.h"
#include "tests/support/RobotProgram.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using KOZAV::Test::compactRequest;
using KOZAV::Test::indentedRequest;
using KOZAV::Test::RobotClient;
using KOZAV::Test::RobotProgram;

class RobotProgramTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void firstLineIsThePort();
    void givenPortIsTaken();
    void takenPortIsAFailure();
    void listensOnLoopbackOnly();
    void printsALineForEachDocument();
    void logHoldsALineForEachDocument();
    void logThatCannotBeOpened();
    void logOnAFullDisk();
    void logIsPutAside();
    void fifoWhoseReaderGoesIsAFailure();
    void endsAfterTheLastRequest();
    void endsOnASignal_data();
    void endsOnASignal();
    void aSignalEndsTheWaitForTheLastAnswers();
    void theSecondSignalEndsItAtOnce();
    void refuses();
    void hangsUp();
    void neverAccepts();
    void tooFewFilesAreAFailure();
    void filesNeverRunOut();
    void wrongOptionIsAFailure();
    void helpAndVersion_data();
    void helpAndVersion();
    void outputThatIsFull_data();
    void outputThatIsFull();
};

namespace {

const QRegularExpression
    requestLine(QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z 127\\.0\\.0\\.1:\\d+ "
                               "jobname=(.*) fromWeb=(\\S+) (.*)$"));

/// jobname, fromWeb and the verdict of a printed line.
QStringList parts(const QByteArray& line)
{
    return requestLine.match(QString::fromUtf8(line)).capturedTexts().mid(1);
}

/// The local address column of the kernel's tables for a listening port.
QStringList listeningAddresses(quint16 port)
{
    QStringList addresses;
    for (const char* name : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        QFile table(QString::fromLatin1(name));
        if (!table.open(QIODevice::ReadOnly))
            continue;
        const QRegularExpression row(
            QStringLiteral("^ *\\d+: ([0-9A-F]+):%1 [0-9A-F]+:0000 0A ").arg(port, 4, 16, QLatin1Char('0')),
            QRegularExpression::CaseInsensitiveOption | QRegularExpression::MultilineOption);
        auto match = row.globalMatch(QString::fromLatin1(table.readAll()));
        while (match.hasNext())
            addresses << match.next().captured(1);
    }
    return addresses;
}

} // namespace

void RobotProgramTest::firstLineIsThePort()
{
    RobotProgram program({});
    const quint16 port = program.port();
    QVERIFY(port > 0);
    QCOMPARE(program.output(), QByteArray::number(port) + '\n');
    QVERIFY(RobotClient(port).isConnected());
}

void RobotProgramTest::givenPortIsTaken()
{
    quint16 port = 0;
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        port = server.serverPort();
    }
    RobotProgram program({QStringLiteral("--port"), QString::number(port)});
    QCOMPARE(program.port(), port);
}

void RobotProgramTest::takenPortIsAFailure()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    RobotProgram program({QStringLiteral("--port"), QString::number(server.serverPort())});
    QCOMPARE(program.exitCode(), 2);
    QCOMPARE(program.complaint(), QByteArray("zav_robot: The bound address is already in use\n"));
    QCOMPARE(program.output(), QByteArray());
}

void RobotProgramTest::listensOnLoopbackOnly()
{
    if (!QFile::exists(QStringLiteral("/proc/net/tcp")))
        QSKIP("This system has no /proc/net/tcp");
    RobotProgram usual({});
    QCOMPARE(listeningAddresses(usual.port()), QStringList{QStringLiteral("0100007F")});
}

void RobotProgramTest::printsALineForEachDocument()
{
    RobotProgram program({QStringLiteral("--reply"), QStringLiteral("ok")});
    RobotClient client(program.port());
    client.send(compactRequest(QStringLiteral("Job\u001b 甲"), true) +
                indentedRequest(QStringLiteral("job")) + "{}");
    QTRY_COMPARE(client.answers(), QByteArray("okokok"));
    QTRY_COMPARE(program.lines().size(), 3);
    QCOMPARE(parts(program.lines().at(0)), (QStringList{QStringLiteral("\"Job\\x1b 甲\""),
                                                        QStringLiteral("true"), QStringLiteral("valid")}));
    QCOMPARE(parts(program.lines().at(1)),
             (QStringList{QStringLiteral("\"job\""), QStringLiteral("false"), QStringLiteral("valid")}));
    QCOMPARE(parts(program.lines().at(2)), (QStringList{QStringLiteral("-"), QStringLiteral("-"),
                                                        QStringLiteral("invalid: \"module\" is missing")}));
    client.send("x");
    QTRY_COMPARE(program.lines().size(), 4);
    QVERIFY(program.lines().at(3).contains(" dropped: byte "));
}

void RobotProgramTest::logHoldsALineForEachDocument()
{
    const QTemporaryDir directory;
    const QString name = directory.filePath(QStringLiteral("robot.log"));
    RobotProgram program(
        {QStringLiteral("--log"), name, QStringLiteral("--max-requests"), QStringLiteral("2")});
    RobotClient client(program.port());
    const QByteArray first = indentedRequest(QStringLiteral("ab00042"));
    client.send(first + "[1, 2]");
    QCOMPARE(program.exitCode(), 0);
    QFile log(name);
    QVERIFY(log.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = log.readAll().split('\n');
    QCOMPARE(lines.size(), 3);
    const QJsonObject record = QJsonDocument::fromJson(lines[0]).object();
    QCOMPARE(record.value(QStringLiteral("bytes")).toInt(), first.trimmed().size());
    QCOMPARE(record.value(QStringLiteral("document")).toObject(), QJsonDocument::fromJson(first).object());
    QCOMPARE(record.value(QStringLiteral("peer")).toString(), client.name());
    QVERIFY(record.value(QStringLiteral("time")).toString().endsWith(QLatin1Char('Z')));
    QCOMPARE(QJsonDocument::fromJson(lines[1]).object().value(QStringLiteral("bytes")).toInt(), 6);
}

void RobotProgramTest::logThatCannotBeOpened()
{
    const QTemporaryDir directory;
    RobotProgram program({QStringLiteral("--log"), directory.path()});
    QCOMPARE(program.exitCode(), 2);
    QVERIFY(program.complaint().contains(directory.path().toUtf8()));
}

void RobotProgramTest::logOnAFullDisk()
{
    const QString full = QStringLiteral("/dev/full");
    if (!QFile::exists(full))
        QSKIP("This system has no /dev/full");
    RobotProgram program({QStringLiteral("--log"), full});
    RobotClient client(program.port());
    client.send(compactRequest(QStringLiteral("job")));
    QCOMPARE(program.exitCode(), 1);
    QVERIFY(
        program.complaint().endsWith("zav_robot: /dev/full cannot be written to: No space left on device\n"));
}

void RobotProgramTest::logIsPutAside()
{
    constexpr int requests = 60;
    const QTemporaryDir directory;
    const QString name = directory.filePath(QStringLiteral("robot.log"));
    RobotProgram program({QStringLiteral("--log"), name, QStringLiteral("--log-size"), QStringLiteral("4096"),
                          QStringLiteral("--log-files"), QStringLiteral("9"),
                          QStringLiteral("--max-requests"), QString::number(requests)});
    RobotClient client(program.port());
    for (int request = 0; request < requests; ++request)
        client.send(compactRequest(QStringLiteral("job %1").arg(request)));
    QCOMPARE(program.exitCode(), 0);
    QStringList names;
    for (int age = 9; age >= 0; --age) {
        QFile log(age == 0 ? name : name + QLatin1Char('.') + QString::number(age));
        if (!log.open(QIODevice::ReadOnly))
            continue;
        QVERIFY(log.size() <= 4096);
        while (!log.atEnd())
            names << QJsonDocument::fromJson(log.readLine())
                         .object()
                         .value(QStringLiteral("jobname"))
                         .toString();
    }
    QCOMPARE(names.size(), requests);
    for (int request = 0; request < requests; ++request)
        QCOMPARE(names.at(request), QStringLiteral("job %1").arg(request));
    QVERIFY(QFile::exists(name + QStringLiteral(".1")));
}

void RobotProgramTest::fifoWhoseReaderGoesIsAFailure()
{
    const QTemporaryDir directory;
    const QString name = directory.filePath(QStringLiteral("robot.fifo"));
    QCOMPARE(::mkfifo(QFile::encodeName(name).constData(), 0600), 0);
    const int reader = ::open(QFile::encodeName(name).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    QVERIFY(reader >= 0);
    RobotProgram program({QStringLiteral("--log"), name});
    RobotClient client(program.port());
    ::close(reader);
    client.send(compactRequest(QStringLiteral("job")));
    QCOMPARE(program.exitCode(), 1);
    QCOMPARE(program.complaint(), "zav_robot: " + name.toUtf8() + " cannot be written to: Broken pipe\n");
}

void RobotProgramTest::endsAfterTheLastRequest()
{
    RobotProgram program({QStringLiteral("--max-requests"), QStringLiteral("2"), QStringLiteral("--delay"),
                          QStringLiteral("20"), QStringLiteral("--reply"), QStringLiteral("done")});
    RobotClient client(program.port());
    client.send(compactRequest(QStringLiteral("one")) + compactRequest(QStringLiteral("two")) + "{}");
    QCOMPARE(program.exitCode(), 0);
    QTRY_COMPARE(client.answers(), QByteArray("donedone"));
    QCOMPARE(program.lines().size(), 2);
}

void RobotProgramTest::endsOnASignal_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGHUP") << SIGHUP;
}

void RobotProgramTest::endsOnASignal()
{
    QFETCH(int, signal);
    RobotProgram program({QStringLiteral("--delay"), QStringLiteral("60000")});
    RobotClient client(program.port());
    client.send(compactRequest(QStringLiteral("job")) + "{\"half");
    QTRY_COMPARE(program.lines().size(), 1);
    QVERIFY(program.sendSignal(signal));
    QCOMPARE(program.exitCode(), 0);
    QTRY_VERIFY(!client.isConnected());
    QCOMPARE(program.complaint(), QByteArray());
    QCOMPARE(program.lines().size(), 1);
}

void RobotProgramTest::aSignalEndsTheWaitForTheLastAnswers()
{
    RobotProgram program({QStringLiteral("--max-requests"), QStringLiteral("2"), QStringLiteral("--delay"),
                          QStringLiteral("60000")});
    const quint16 port = program.port();
    RobotClient one(port);
    one.send(compactRequest(QStringLiteral("one")));
    QTRY_COMPARE(program.lines().size(), 1);
    RobotClient two(port);
    two.send(compactRequest(QStringLiteral("two")));
    QTRY_COMPARE(program.lines().size(), 2);
    QVERIFY(program.sendSignal(SIGTERM));
    QCOMPARE(program.exitCode(), 0);
    QTRY_VERIFY(!one.isConnected() && !two.isConnected());
    QCOMPARE(one.answers() + two.answers(), QByteArray());
}

/// It has both when it goes on, before it could have ended for one.
void RobotProgramTest::theSecondSignalEndsItAtOnce()
{
    RobotProgram program({});
    QVERIFY(program.port() > 0);
    QVERIFY(program.sendSignal(SIGSTOP) && program.sendSignal(SIGTERM) && program.sendSignal(SIGINT) &&
            program.sendSignal(SIGCONT));
    QCOMPARE(program.exitCode(), -1);
}

void RobotProgramTest::refuses()
{
    RobotProgram program({QStringLiteral("--refuse")});
    const quint16 port = program.port();
    QVERIFY(port > 0);
    const RobotClient client(port);
    QCOMPARE(client.error(), QAbstractSocket::ConnectionRefusedError);
    QTcpServer other;
    QVERIFY(!other.listen(QHostAddress::LocalHost, port));
    program.terminate();
    QCOMPARE(program.exitCode(), 0);
}

void RobotProgramTest::hangsUp()
{
    RobotProgram program({QStringLiteral("--hang-up")});
    RobotClient client(program.port());
    QTRY_VERIFY(!client.isConnected());
    QTRY_COMPARE(program.lines().size(), 1);
    QVERIFY(program.lines().at(0).endsWith(" dropped: every connection is hung up"));
}

void RobotProgramTest::neverAccepts()
{
    RobotProgram program({QStringLiteral("--never-accept")});
    RobotClient client(program.port());
    QVERIFY(client.isConnected());
    client.send(compactRequest(QStringLiteral("job")));
    program.terminate();
    QCOMPARE(program.exitCode(), 0);
    QCOMPARE(program.lines(), QByteArrayList());
    QCOMPARE(client.answers(), QByteArray());
}

void RobotProgramTest::tooFewFilesAreAFailure()
{
    RobotProgram program({}, 40);
    QCOMPARE(program.exitCode(), 2);
    QCOMPARE(program.complaint(),
             QByteArray("zav_robot: 32 connections need a limit of 56 open files, and it is 40\n"));
}

void RobotProgramTest::filesNeverRunOut()
{
    RobotProgram program({QStringLiteral("--max-per-peer"), QStringLiteral("32")}, 56);
    const quint16 port = program.port();
    QVERIFY(port > 0);
    std::vector<std::unique_ptr<RobotClient>> clients(60);
    for (auto& client : clients)
        client = std::make_unique<RobotClient>(port);
    QTRY_COMPARE(program.lines().size(), 28);
    for (const QByteArray& line : program.lines())
        QVERIFY2(line.endsWith(" dropped: 32 connections are open"), line.constData());
    clients.front()->send(compactRequest(QStringLiteral("job")));
    QTRY_COMPARE(clients.front()->answers(), QByteArray("{\"accepted\":true}\n"));
}

void RobotProgramTest::wrongOptionIsAFailure()
{
    RobotProgram program({QStringLiteral("--port"), QStringLiteral("many")});
    QCOMPARE(program.exitCode(), 2);
    QCOMPARE(program.complaint(),
             QByteArray("zav_robot: --port needs a number from 0 to 65535, not 'many'\n"));
}

void RobotProgramTest::helpAndVersion_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<QByteArray>("printed");
    QTest::newRow("-h") << QStringLiteral("-h") << QByteArray("--max-requests N");
    QTest::newRow("--help") << QStringLiteral("--help") << QByteArray("--max-requests N");
    QTest::newRow("-v") << QStringLiteral("-v") << QByteArray("zav_robot ");
    QTest::newRow("--version") << QStringLiteral("--version") << QByteArray("zav_robot ");
}

void RobotProgramTest::helpAndVersion()
{
    QFETCH(QString, option);
    QFETCH(QByteArray, printed);
    RobotProgram program({option});
    QCOMPARE(program.exitCode(), 0);
    QVERIFY2(program.output().contains(printed), program.output().constData());
    QCOMPARE(program.complaint(), QByteArray());
}

void RobotProgramTest::outputThatIsFull_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("port") << QStringList();
    QTest::newRow("help") << QStringList(QStringLiteral("--help"));
    QTest::newRow("version") << QStringList(QStringLiteral("--version"));
}

void RobotProgramTest::outputThatIsFull()
{
    const QString full = QStringLiteral("/dev/full");
    if (!QFile::exists(full))
        QSKIP("This system has no /dev/full");
    QFETCH(QStringList, arguments);
    RobotProgram program(arguments, 0, full);
    QCOMPARE(program.exitCode(), 1);
    QCOMPARE(program.complaint(), QByteArray("zav_robot: No space left on device\n"));
}

ZAV_REGISTER_TEST(robot_program, RobotProgramTest, QCoreApplication)

#include "robot_program.moc"
