#include "robot/RobotRequest.h"
#include "tests/support/TestProgram.h"

#include <QJsonDocument>
#include <QTest>

using namespace KOZAV;

class RobotRequestTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void compactFormIsOneLine();
    void indentedFormIsSeveralLines();
    void ownDocumentIsValid_data();
    void ownDocumentIsValid();
    void orderOfMembersMeansNothing();
    void oneIsOneHoweverWritten_data();
    void oneIsOneHoweverWritten();
    void otherDocumentsAreInvalid_data();
    void otherDocumentsAreInvalid();
};

void RobotRequestTest::compactFormIsOneLine()
{
    const QJsonDocument request(Robot::robotRequest(QStringLiteral("Job \"甲\"/1"), true));
    QCOMPARE(request.toJson(QJsonDocument::Compact),
             QByteArray("{\"module\":\"robot\",\"msgParams\":{\"fromWeb\":true,\"jobname\":\"Job "
                        "\\\"\xe7\x94\xb2\\\"/1\"},\"msgType\":1}"));
}

void RobotRequestTest::indentedFormIsSeveralLines()
{
    const QJsonDocument request(Robot::robotRequest(QStringLiteral("ab00042"), false));
    QCOMPARE(request.toJson(), QByteArray("{\n"
                                          "    \"module\": \"robot\",\n"
                                          "    \"msgParams\": {\n"
                                          "        \"fromWeb\": false,\n"
                                          "        \"jobname\": \"ab00042\"\n"
                                          "    },\n"
                                          "    \"msgType\": 1\n"
                                          "}\n"));
}

void RobotRequestTest::ownDocumentIsValid_data()
{
    QTest::addColumn<QString>("jobName");
    QTest::addColumn<bool>("fromWeb");
    QTest::newRow("from the web") << QStringLiteral("Job-1") << true;
    QTest::newRow("not from the web") << QStringLiteral("job-1") << false;
    QTest::newRow("empty name") << QString() << false;
    QTest::newRow("name with quotes and braces") << QStringLiteral("}\"{\\") << false;
    QTest::newRow("name with control characters") << QStringLiteral("a\nb\u0001") << true;
    QTest::newRow("name beyond the first plane") << QStringLiteral("\U0001F5A8 甲") << true;
}

void RobotRequestTest::ownDocumentIsValid()
{
    QFETCH(QString, jobName);
    QFETCH(bool, fromWeb);
    const QByteArray bytes = QJsonDocument(Robot::robotRequest(jobName, fromWeb)).toJson();
    const Robot::CheckedRequest check = Robot::checkRobotRequest(QJsonDocument::fromJson(bytes).object());
    QCOMPARE(check.whyNot, QString());
    QVERIFY(check.valid());
    QCOMPARE(check.jobName, jobName.isNull() ? QStringLiteral("") : jobName);
    QCOMPARE(check.fromWeb, fromWeb);
}

void RobotRequestTest::orderOfMembersMeansNothing()
{
    const QByteArray bytes = R"({"msgType":1,"msgParams":{"jobname":"a","fromWeb":true},"module":"robot"})";
    const Robot::CheckedRequest check = Robot::checkRobotRequest(QJsonDocument::fromJson(bytes).object());
    QCOMPARE(check.whyNot, QString());
    QCOMPARE(check.jobName, QStringLiteral("a"));
}

void RobotRequestTest::oneIsOneHoweverWritten_data()
{
    QTest::addColumn<QByteArray>("one");
    for (const char* one : {"1", "1.0", "1e0", "10E-1", "0.1e1", "1.000"})
        QTest::newRow(one) << QByteArray(one);
}

void RobotRequestTest::oneIsOneHoweverWritten()
{
    QFETCH(QByteArray, one);
    const QByteArray bytes =
        R"({"module":"robot","msgParams":{"fromWeb":true,"jobname":"a"},"msgType":)" + one + '}';
    QCOMPARE(Robot::checkRobotRequest(QJsonDocument::fromJson(bytes).object()).whyNot, QString());
}

void RobotRequestTest::otherDocumentsAreInvalid_data()
{
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QString>("whyNot");
    const auto row = [](const char* name, const char* document, const char* whyNot) {
        QTest::newRow(name) << QByteArray(document) << QString::fromUtf8(whyNot);
    };
    row("empty", R"({})", R"("module" is missing)");
    row("no module", R"({"msgParams":{"fromWeb":true,"jobname":"a"},"msgType":1})", R"("module" is missing)");
    row("no type", R"({"module":"robot","msgParams":{"fromWeb":true,"jobname":"a"}})",
        R"("msgType" is missing)");
    row("no parameters", R"({"module":"robot","msgType":1})", R"("msgParams" is missing)");
    row("no name", R"({"module":"robot","msgType":1,"msgParams":{"fromWeb":true}})",
        R"("jobname" is missing)");
    row("no origin", R"({"module":"robot","msgType":1,"msgParams":{"jobname":"a"}})",
        R"("fromWeb" is missing)");
    row("name in other case", R"({"module":"robot","msgType":1,"msgParams":{"fromWeb":true,"jobName":"a"}})",
        R"("jobname" is missing)");
    row("another member",
        R"({"id":7,"module":"robot","msgParams":{"fromWeb":true,"jobname":"a"},"msgType":1})",
        R"("id" is unknown)");
    row("another parameter",
        R"({"module":"robot","msgParams":{"fromWeb":true,"jobname":"a","path":"/"},"msgType":1})",
        R"("path" is unknown)");
    row("other module", R"({"module":"Robot","msgParams":{"fromWeb":true,"jobname":"a"},"msgType":1})",
        R"("module" is not "robot")");
    row("module a number", R"({"module":1,"msgParams":{"fromWeb":true,"jobname":"a"},"msgType":1})",
        R"("module" is a number, not a string)");
    row("type 2", R"({"module":"robot","msgParams":{"fromWeb":true,"jobname":"a"},"msgType":2})",
        R"("msgType" is not 1)");
    row("type 1.5", R"({"module":"robot","msgParams":{"fromWeb":true,"jobname":"a"},"msgType":1.5})",
        R"("msgType" is not 1)");
    row("type -1", R"({"module":"robot","msgParams":{"fromWeb":true,"jobname":"a"},"msgType":-1})",
        R"("msgType" is not 1)");
    row("type a string", R"({"module":"robot","msgParams":{"fromWeb":true,"jobname":"a"},"msgType":"1"})",
        R"("msgType" is a string, not a number)");
    row("type true", R"({"module":"robot","msgParams":{"fromWeb":true,"jobname":"a"},"msgType":true})",
        R"("msgType" is a boolean, not a number)");
    row("type null", R"({"module":"robot","msgParams":{"fromWeb":true,"jobname":"a"},"msgType":null})",
        R"("msgType" is null, not a number)");
    row("parameters an array", R"({"module":"robot","msgParams":["a",true],"msgType":1})",
        R"("msgParams" is an array, not an object)");
    row("parameters null", R"({"module":"robot","msgParams":null,"msgType":1})",
        R"("msgParams" is null, not an object)");
    row("origin a string", R"({"module":"robot","msgParams":{"fromWeb":"true","jobname":"a"},"msgType":1})",
        R"("fromWeb" is a string, not a boolean)");
    row("origin 0", R"({"module":"robot","msgParams":{"fromWeb":0,"jobname":"a"},"msgType":1})",
        R"("fromWeb" is a number, not a boolean)");
    row("name a number", R"({"module":"robot","msgParams":{"fromWeb":true,"jobname":7},"msgType":1})",
        R"("jobname" is a number, not a string)");
    row("name null", R"({"module":"robot","msgParams":{"fromWeb":true,"jobname":null},"msgType":1})",
        R"("jobname" is null, not a string)");
    row("name an object", R"({"module":"robot","msgParams":{"fromWeb":true,"jobname":{}},"msgType":1})",
        R"("jobname" is an object, not a string)");
    const QByteArray longName(1000, 'x');
    QTest::newRow("very long unknown member")
        << "{\"module\":\"robot\",\"msgParams\":{\"fromWeb\":true,\"jobname\":\"a\"},\"msgType\":1,\"" +
               longName + "\":0}"
        << QStringLiteral("\"%1\" is unknown").arg(QString(64, QLatin1Char('x')));
}

void RobotRequestTest::otherDocumentsAreInvalid()
{
    QFETCH(QByteArray, document);
    QFETCH(QString, whyNot);
    const QJsonDocument json = QJsonDocument::fromJson(document);
    QVERIFY(json.isObject());
    const Robot::CheckedRequest check = Robot::checkRobotRequest(json.object());
    QVERIFY(!check.valid());
    QCOMPARE(check.whyNot, whyNot);
}

ZAV_REGISTER_TEST(robot_request, RobotRequestTest, KOZAV::Test::NoApplication)

#include "robot_request.moc"
