// The client's message area.

#include "host/ServiceLog.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Host;

namespace {

Q_LOGGING_CATEGORY(logTest, "kozav.backend.test")

QString cell(const ServiceLog& log, int row, ServiceLog::Column column)
{
    return log.data(log.index(row, column), Qt::DisplayRole).toString();
}

} // namespace

class HostServiceLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void messagesOfTheServices();
    void messagesOfOtherThreads();
    void linesOfTheClient();
    void theOldestGo();
    void theFormerHandlerIsBackInPlace();
    void linesAreKeptInTheFile();
    void platformLinesAreInTheFileAlone();
    void twoClientsWriteOneFile();
    void fileThatCannotBeKept();
    void usualFileIsInTheStateFolder();
};

namespace {

QList<QByteArray> linesOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll().split('\n') : QList<QByteArray>();
}

} // namespace

void HostServiceLog::messagesOfTheServices()
{
    const ServiceLog log;
    QSignalSpy inserted(&log, &ServiceLog::rowsInserted);
    QTest::ignoreMessage(QtWarningMsg, "put x: disk full");
    qCWarning(logTest) << "put x: disk full";
    QTRY_COMPARE(inserted.count(), 1);
    QCOMPARE(log.rowCount(), 1);
    QCOMPARE(cell(log, 0, ServiceLog::Category), QStringLiteral("kozav.backend.test"));
    QCOMPARE(cell(log, 0, ServiceLog::Text), QStringLiteral("put x: disk full"));
    QVERIFY(!cell(log, 0, ServiceLog::Time).isEmpty());
    QVERIFY(log.data(log.index(0, 0), Qt::ForegroundRole).isValid());
}

void HostServiceLog::messagesOfOtherThreads()
{
    const ServiceLog log;
    QTest::ignoreMessage(QtInfoMsg, "from a thread");
    const std::unique_ptr<QThread> thread(QThread::create([] { qCInfo(logTest) << "from a thread"; }));
    thread->start();
    QVERIFY(thread->wait(10000));
    QTRY_COMPARE(log.rowCount(), 1);
    QCOMPARE(cell(log, 0, ServiceLog::Text), QStringLiteral("from a thread"));
}

void HostServiceLog::linesOfTheClient()
{
    ServiceLog log;
    log.add(QtInfoMsg, QStringLiteral("client"), QStringLiteral("sent"));
    QTRY_COMPARE(log.rowCount(), 1);
    QVERIFY(!log.data(log.index(0, 0), Qt::ForegroundRole).isValid());
}

void HostServiceLog::theOldestGo()
{
    ServiceLog log;
    for (int i = 0; i < 5003; ++i)
        log.add(QtInfoMsg, QStringLiteral("client"), QString::number(i));
    QTRY_COMPARE(cell(log, log.rowCount() - 1, ServiceLog::Text), QStringLiteral("5002"));
    QCOMPARE(log.rowCount(), 5000);
    QCOMPARE(cell(log, 0, ServiceLog::Text), QStringLiteral("3"));
}

void HostServiceLog::theFormerHandlerIsBackInPlace()
{
    const QtMessageHandler before = qInstallMessageHandler(nullptr);
    qInstallMessageHandler(before);
    {
        const ServiceLog log;
    }
    const QtMessageHandler after = qInstallMessageHandler(nullptr);
    qInstallMessageHandler(after);
    QVERIFY(before == after);
}

void HostServiceLog::linesAreKeptInTheFile()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("state/zav_client/zav_client.log"));
    ServiceLog log;
    QCOMPARE(log.keptFile(), QString());
    QCOMPARE(log.keepIn(path), QString());
    QCOMPARE(log.keptFile(), path);
    QTest::ignoreMessage(QtWarningMsg, "put x: disk full");
    qCWarning(logTest) << "put x: disk full";
    log.add(QtInfoMsg, QStringLiteral("client"), QStringLiteral("甲\nnext line"));
    // Without the event loop: what ends the program is in the file.
    const auto lines = linesOf(path);
    QCOMPARE(lines.size(), 3);
    const QByteArray pid = QByteArray::number(QCoreApplication::applicationPid());
    QVERIFY2(lines[0].endsWith("Z " + pid + " warning kozav.backend.test: put x: disk full"),
             lines[0].constData());
    QVERIFY2(lines[1].endsWith(" info client: 甲\\nnext line"), lines[1].constData());
    QCOMPARE(QFile::permissions(QFileInfo(path).path()) & (QFile::ReadGroup | QFile::ReadOther),
             QFile::Permissions());
}

void HostServiceLog::platformLinesAreInTheFileAlone()
{
    static const QLoggingCategory plugin("qt.qpa.xcb");
    const QTemporaryDir folder;
    ServiceLog log;
    QTest::ignoreMessage(QtWarningMsg, "no file yet");
    qCWarning(plugin) << "no file yet";
    QCOMPARE(log.keepIn(folder.filePath(QStringLiteral("log"))), QString());
    qCWarning(plugin) << "QXcbConnection: error"; // nobody is told to ignore it
    log.add(QtInfoMsg, QStringLiteral("client"), QStringLiteral("last"));
    QTRY_COMPARE(cell(log, log.rowCount() - 1, ServiceLog::Text), QStringLiteral("last"));
    QCOMPARE(log.rowCount(), 2);
    QVERIFY(
        linesOf(folder.filePath(QStringLiteral("log")))[0].endsWith(" qt.qpa.xcb: QXcbConnection: error"));
}

void HostServiceLog::twoClientsWriteOneFile()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("log"));
    Terminal::LogFile other;
    QCOMPARE(other.open(path, {1000, 5, true}), QString());
    ServiceLog log;
    QCOMPARE(log.keepIn(path), QString());
    for (int i = 0; i < 40; ++i) {
        QCOMPARE(other.append("from the other client, and put aside by it\n"), QString());
        log.add(QtInfoMsg, QStringLiteral("client"), QStringLiteral("line"));
        QVERIFY(linesOf(path).contains("from the other client, and put aside by it"));
        QVERIFY(linesOf(path).rbegin()[1].endsWith(" info client: line"));
    }
    QVERIFY(QFile::exists(path + QStringLiteral(".1")));
}

void HostServiceLog::fileThatCannotBeKept()
{
    ServiceLog log;
    QVERIFY(!log.keepIn(QStringLiteral("/proc/none/log")).isEmpty());
    QCOMPARE(log.keptFile(), QString());
    QCOMPARE(log.keepIn(QStringLiteral("/dev/full")), QString());
    for (int i = 0; i < 3; ++i)
        log.add(QtInfoMsg, QStringLiteral("client"), QStringLiteral("line"));
    QTRY_COMPARE(log.rowCount(), 4); // the failure once
    QVERIFY(cell(log, 0, ServiceLog::Text).startsWith(QStringLiteral("/dev/full cannot be written to: ")));
}

void HostServiceLog::usualFileIsInTheStateFolder()
{
    const QByteArray before = qgetenv("XDG_STATE_HOME");
    qputenv("XDG_STATE_HOME", "/state");
    QCOMPARE(ServiceLog::usualFile(), QStringLiteral("/state/zav_client/zav_client.log"));
    qputenv("XDG_STATE_HOME", "not/absolute");
    QCOMPARE(ServiceLog::usualFile(),
             QDir::homePath() + QStringLiteral("/.local/state/zav_client/zav_client.log"));
    qputenv("XDG_STATE_HOME", before);
}

ZAV_REGISTER_TEST(host_service_log, HostServiceLog, QCoreApplication)

#include "host_service_log.moc"
