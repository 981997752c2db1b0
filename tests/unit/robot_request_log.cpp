#include "robot_server/RequestLog.h"
#include "tests/support/TestProgram.h"

#include <QBuffer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace KOZAV::Robot;

class RobotRequestLogTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void printedJobName_data();
    void printedJobName();
    void longReasonIsCutOff();
    void validRequest();
    void invalidRequest();
    void droppedConnection();
    void linesAreAppended();
    void fileThatCannotBeOpened();
    void fullDiskIsAFailure();
    void closedOutputIsAFailure();

private:
    [[nodiscard]] QString fileName() const { return m_directory.filePath(QStringLiteral("requests.log")); }
    [[nodiscard]] QList<QJsonObject> records() const;

    QTemporaryDir m_directory;
};

namespace {

ReceivedRequest receivedRequest(const QByteArray& bytes)
{
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    const QDateTime time(QDate(2024, 2, 29), QTime(23, 59, 58, 7), Qt::UTC);
    return {time, QStringLiteral("127.0.0.1:40123"), bytes.size(), document,
            checkRobotRequest(document.object())};
}

} // namespace

QList<QJsonObject> RobotRequestLogTest::records() const
{
    QFile file(fileName());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QList<QJsonObject> records;
    while (!file.atEnd())
        records << QJsonDocument::fromJson(file.readLine()).object();
    return records;
}

void RobotRequestLogTest::printedJobName_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("printed");
    const auto row = [](const char* name, const QString& text, const char* printed) {
        QTest::newRow(name) << text << QString::fromUtf8(printed);
    };
    row("plain", QStringLiteral("Job-1 甲"), R"("Job-1 甲")");
    row("empty", QString(), R"("")");
    row("quote and backslash", QStringLiteral("a\"b\\n"), R"("a\"b\\n")");
    row("backslash before the end", QStringLiteral("a\\"), R"("a\\")");
    row("escape that is none", QStringLiteral("\\x1b"), R"("\\x1b")");
    row("line feed", QStringLiteral("a\nb\r"), R"("a\nb\x0d")");
    row("terminal sequence", QStringLiteral("\u001b[2J\u009b1m\u007f"), R"("\x1b[2J\x9b1m\x7f")");
    row("right to left", QStringLiteral("a\u202egnp.exe"), R"("a\u{202e}gnp.exe")");
    row("longest", QString(200, QLatin1Char('j')), ('"' + QByteArray(200, 'j') + '"').constData());
    row("longer", QString(201, QLatin1Char('j')), ('"' + QByteArray(200, 'j') + "\"...").constData());
}

void RobotRequestLogTest::printedJobName()
{
    QFETCH(QString, text);
    QFETCH(QString, printed);
    QBuffer out;
    QVERIFY(out.open(QIODevice::WriteOnly));
    const QByteArray request = QJsonDocument(robotRequest(text, false)).toJson();
    QVERIFY(RequestLog(out).write(receivedRequest(request)));
    QCOMPARE(QString::fromUtf8(out.data()),
             QStringLiteral("2024-02-29T23:59:58.007Z 127.0.0.1:40123 jobname=") + printed +
                 QStringLiteral(" fromWeb=false valid\n"));
}

void RobotRequestLogTest::longReasonIsCutOff()
{
    QBuffer out;
    QVERIFY(out.open(QIODevice::WriteOnly));
    const QString reason(201, QLatin1Char('r'));
    QVERIFY(RequestLog(out).write(DroppedConnection{{}, QStringLiteral("-"), reason}));
    QVERIFY2(out.data().endsWith(" dropped: " + QByteArray(200, 'r') + "...\n"), out.data().constData());
}

void RobotRequestLogTest::validRequest()
{
    QBuffer out;
    QVERIFY(out.open(QIODevice::WriteOnly));
    RequestLog log(out);
    QVERIFY(log.openFile(fileName()));
    const QByteArray bytes =
        R"({"module": "robot","msgType":1, "msgParams":{"fromWeb":true,"jobname":"a\n\"甲"}})";
    QVERIFY(log.write(receivedRequest(bytes)));
    QCOMPARE(QString::fromUtf8(out.data()),
             QStringLiteral(
                 "2024-02-29T23:59:58.007Z 127.0.0.1:40123 jobname=\"a\\n\\\"甲\" fromWeb=true valid\n"));

    QCOMPARE(records().size(), 1);
    QJsonObject record = records().first();
    QCOMPARE(record.take(QStringLiteral("document")).toObject(), QJsonDocument::fromJson(bytes).object());
    QCOMPARE(record, (QJsonObject{{QStringLiteral("event"), QStringLiteral("request")},
                                  {QStringLiteral("time"), QStringLiteral("2024-02-29T23:59:58.007Z")},
                                  {QStringLiteral("peer"), QStringLiteral("127.0.0.1:40123")},
                                  {QStringLiteral("bytes"), bytes.size()},
                                  {QStringLiteral("valid"), true},
                                  {QStringLiteral("jobname"), QStringLiteral("a\n\"甲")},
                                  {QStringLiteral("fromWeb"), true}}));
}

void RobotRequestLogTest::invalidRequest()
{
    QBuffer out;
    QVERIFY(out.open(QIODevice::WriteOnly));
    RequestLog log(out);
    QVERIFY(log.openFile(fileName()));
    QVERIFY(log.write(receivedRequest("{\"module\":\"robot\",\"msgType\":1,\"msgParams\":{\"jobname\":\"a\","
                                      "\"fromWeb\":true,\"\\u001b[2J\":[]}}")));
    QCOMPARE(out.data(), QByteArray("2024-02-29T23:59:58.007Z 127.0.0.1:40123 jobname=- fromWeb=- invalid: "
                                    "\"\\x1b[2J\" is unknown\n"));
    const QJsonObject record = records().last();
    QCOMPARE(record.value(QStringLiteral("valid")), QJsonValue(false));
    QCOMPARE(record.value(QStringLiteral("reason")), QJsonValue(QStringLiteral("\"\u001b[2J\" is unknown")));
    QVERIFY(!record.contains(QStringLiteral("jobname")));
}

void RobotRequestLogTest::droppedConnection()
{
    QBuffer out;
    QVERIFY(out.open(QIODevice::WriteOnly));
    RequestLog log(out);
    QVERIFY(log.openFile(fileName()));
    const QDateTime time(QDate(2024, 2, 29), QTime(1, 2, 3), Qt::UTC);
    QVERIFY(log.write(DroppedConnection{time, QStringLiteral("[::1]:7"), QStringLiteral("byte 1: \"\n\"")}));
    QCOMPARE(out.data(), QByteArray("2024-02-29T01:02:03.000Z [::1]:7 dropped: byte 1: \"\\n\"\n"));
    QCOMPARE(records().last(),
             (QJsonObject{{QStringLiteral("event"), QStringLiteral("dropped")},
                          {QStringLiteral("time"), QStringLiteral("2024-02-29T01:02:03.000Z")},
                          {QStringLiteral("peer"), QStringLiteral("[::1]:7")},
                          {QStringLiteral("reason"), QStringLiteral("byte 1: \"\n\"")}}));
}

void RobotRequestLogTest::linesAreAppended()
{
    QFile::remove(fileName());
    for (int run = 1; run <= 3; ++run) {
        QBuffer out;
        QVERIFY(out.open(QIODevice::WriteOnly));
        RequestLog log(out);
        QVERIFY(log.openFile(fileName()));
        QVERIFY(log.write(receivedRequest("{}")));
        // Handed to the system although the log is still open.
        QCOMPARE(records().size(), run);
    }
}

void RobotRequestLogTest::fileThatCannotBeOpened()
{
    QBuffer out;
    RequestLog log(out);
    QVERIFY(!log.openFile(m_directory.path()));
    QVERIFY2(log.errorString().contains(m_directory.path()), qPrintable(log.errorString()));
}

void RobotRequestLogTest::fullDiskIsAFailure()
{
    const QString full = QStringLiteral("/dev/full");
    if (!QFile::exists(full))
        QSKIP("This system has no /dev/full");
    QBuffer out;
    QVERIFY(out.open(QIODevice::WriteOnly));
    RequestLog log(out);
    QVERIFY(log.openFile(full));
    QVERIFY(!log.write(receivedRequest("{}")));
    QCOMPARE(log.errorString(), QStringLiteral("/dev/full cannot be written to: No space left on device"));
}

void RobotRequestLogTest::closedOutputIsAFailure()
{
    QFile out(fileName());
    QVERIFY(out.open(QIODevice::ReadWrite));
    out.close();
    QVERIFY(out.open(QIODevice::ReadOnly));
    RequestLog log(out);
    const QByteArray warning = "QIODevice::write (QFile, \"" + fileName().toUtf8() + "\"): ReadOnly device";
    QTest::ignoreMessage(QtWarningMsg, warning.constData());
    QVERIFY(!log.write(receivedRequest("{}")));
    QVERIFY2(log.errorString().startsWith(QStringLiteral("the standard output cannot be written to: ")),
             qPrintable(log.errorString()));
}

ZAV_REGISTER_TEST(robot_request_log, RobotRequestLogTest, KOZAV::Test::NoApplication)

#include "robot_request_log.moc"
