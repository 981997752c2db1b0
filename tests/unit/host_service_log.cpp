// The client's message area.

#include "host/ServiceLog.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <memory>

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
};

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

ZAV_REGISTER_TEST(host_service_log, HostServiceLog, QCoreApplication)

#include "host_service_log.moc"
