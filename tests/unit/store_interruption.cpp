#include "tests/support/StoreBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

const QByteArray content = randomBytes(2'500'000, 1);

/// A fault of the n-th of some system calls, for strace.
QStringList fault(const QString& calls, const QString& what, int number)
{
    const QString inject = QStringLiteral("inject=%1:%2:when=%3").arg(calls, what).arg(number);
    return {QStringLiteral("strace"), QStringLiteral("-f"),
            QStringLiteral("-o"),     QStringLiteral("/dev/null"),
            QStringLiteral("-e"),     QStringLiteral("trace=") + calls,
            QStringLiteral("-e"),     inject};
}

QStringList role(const StoreBox& box, const QString& verb, const std::string& path)
{
    return {QStringLiteral("--store"), verb, QString::fromStdString(box.root()), QStringLiteral("job.zip"),
            QString::fromStdString(path)};
}

constexpr int mostSteps = 60;

} // namespace

class StoreInterruptionTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void byAFailedCallIsToldAndUndone_data();
    void byAFailedCallIsToldAndUndone();
    void byAKillLosesNothing_data();
    void byAKillLosesNothing();
    void ofReadingTheSourceStoresNothing();
    void ofAGetKeepsItsTarget();
};

void StoreInterruptionTest::initTestCase()
{
    if (!canInject())
        QSKIP("strace cannot inject faults here");
}

void StoreInterruptionTest::byAFailedCallIsToldAndUndone_data()
{
    QTest::addColumn<QString>("verb");
    QTest::addColumn<QString>("calls");
    QTest::addColumn<QString>("error");
    QTest::addColumn<ErrorCode>("code");
    QTest::addColumn<int>("leastCalls");
    for (const QString& verb : {QStringLiteral("put"), QStringLiteral("adopt")}) {
        const auto row = [&verb](const char* what) -> QTestData& {
            return QTest::newRow(qPrintable(verb + QLatin1Char(' ') + QLatin1String(what))) << verb;
        };
        // Folders made, data, sum, and the two folders that hold them.
        row("fsync") << QStringLiteral("fsync") << QStringLiteral("EIO") << ErrorCode::Io << 9;
        row("naming the sum") << QStringLiteral("rename") << QStringLiteral("EIO") << ErrorCode::Io << 1;
        row("naming the data") << QStringLiteral("renameat2") << QStringLiteral("EIO") << ErrorCode::Io << 1;
        row("mkdir") << QStringLiteral("mkdir") << QStringLiteral("EACCES") << ErrorCode::NotPermitted << 5;
        row("flock") << QStringLiteral("flock") << QStringLiteral("ENOLCK") << ErrorCode::Io << 1;
    }
    QTest::newRow("put chmod") << QStringLiteral("put") << QStringLiteral("fchmod") << QStringLiteral("EPERM")
                               << ErrorCode::NotPermitted << 4;
}

void StoreInterruptionTest::byAFailedCallIsToldAndUndone()
{
    QFETCH(const QString, verb);
    QFETCH(const QString, calls);
    QFETCH(const QString, error);
    QFETCH(const ErrorCode, code);
    QFETCH(const int, leastCalls);
    int number = 1;
    for (; number < mostSteps; ++number) {
        StoreBox box;
        writeFile(box.beside("source"), content);
        const ProgramEnd end = runRole(fault(calls, QStringLiteral("error=") + error, number),
                                       role(box, verb, box.beside("source")));
        if (end.exitCode == 0)
            break;
        QCOMPARE(reportedCode(end.output), code);
        QVERIFY2(end.output.contains(local(QDir(QString::fromStdString(box.root())).dirName()).c_str()) ||
                     end.output.contains("source"),
                 end.output.constData());
        QCOMPARE(readFile(box.beside("source")), content);
        QCOMPARE(box.store().find(testLocation(), "job.zip").code(), ErrorCode::NotFound);
        QVERIFY(box.store().put(testLocation(), "job.zip", box.beside("source")).ok());
        QCOMPARE(box.get("job.zip"), content);
    }
    QVERIFY2(number > leastCalls, qPrintable(QString::number(number)));
    QVERIFY(number < mostSteps);
}

void StoreInterruptionTest::byAKillLosesNothing_data()
{
    QTest::addColumn<QString>("verb");
    QTest::addColumn<QString>("call");
    QTest::addColumn<int>("leastCalls");
    for (const char* verb : {"put", "adopt"}) {
        const auto row = [verb](const char* call, int leastCalls) {
            QTest::addRow("%s at %s", verb, call)
                << QString::fromLatin1(verb) << QString::fromLatin1(call) << leastCalls;
        };
        row("mkdir", 5);
        row("fsync", 9);
        row("flock", 1);
        row("fchmod", 2);
        row("rename", 1);
        row("renameat2", 1);
    }
}

void StoreInterruptionTest::byAKillLosesNothing()
{
    QFETCH(const QString, verb);
    QFETCH(const QString, call);
    QFETCH(const int, leastCalls);
    int number = 1;
    for (; number < mostSteps; ++number) {
        StoreBox box;
        writeFile(box.beside("source"), content);
        const ProgramEnd end = runRole(fault(call, QStringLiteral("signal=KILL"), number),
                                       role(box, verb, box.beside("source")));
        box.reopen();
        const auto found = box.store().find(testLocation(), "job.zip");
        QVERIFY2(found.ok() || found.code() == ErrorCode::NotFound, qPrintable(found.message()));
        if (found.ok())
            QCOMPARE(box.get("job.zip"), content);
        // Only what is stored may have left its place.
        const QByteArray source = readFile(box.beside("source"));
        QVERIFY(source == content || (source.isNull() && verb == QLatin1String("adopt") && found.ok()));
        if (end.exitCode == 0) {
            QVERIFY(found.ok());
            break;
        }
        const auto again = box.put("job.zip", content);
        QVERIFY2(again.ok(), qPrintable(again.message()));
        QCOMPARE(box.get("job.zip"), content);
    }
    QVERIFY2(number > leastCalls, qPrintable(QString::number(number)));
    QVERIFY(number < mostSteps);
}

void StoreInterruptionTest::ofReadingTheSourceStoresNothing()
{
    for (int number = 1; number <= 3; ++number) {
        StoreBox box;
        writeFile(box.beside("source"), content);
        QStringList tool = fault(QStringLiteral("read"), QStringLiteral("error=EIO"), number);
        tool << QStringLiteral("-P") << QString::fromStdString(box.beside("source"));
        const ProgramEnd end = runRole(tool, role(box, QStringLiteral("put"), box.beside("source")));
        QCOMPARE(end.exitCode, 1);
        QCOMPARE(reportedCode(end.output), ErrorCode::Io);
        QVERIFY2(end.output.contains("source"), end.output.constData());
        QCOMPARE(box.store().find(testLocation(), "job.zip").code(), ErrorCode::NotFound);
        QCOMPARE(namesOf(QString::fromStdString(box.temps())), QStringList());
    }
}

void StoreInterruptionTest::ofAGetKeepsItsTarget()
{
    StoreBox box;
    QVERIFY(box.put("job.zip", content).ok());
    for (const QString& calls : {QStringLiteral("rename"), QStringLiteral("fchmod")}) {
        writeFile(box.beside("target"), "before");
        const ProgramEnd end = runRole(fault(calls, QStringLiteral("error=EIO"), 1),
                                       role(box, QStringLiteral("get"), box.beside("target")));
        QCOMPARE(end.exitCode, 1);
        QCOMPARE(reportedCode(end.output), ErrorCode::Io);
        QCOMPARE(readFile(box.beside("target")), QByteArray("before"));
        QCOMPARE(namesOf(QString::fromStdString(box.beside(""))),
                 QStringList({QStringLiteral("source"), QStringLiteral("target")}));
    }
}

ZAV_REGISTER_ROLE("--store", runStoreRole, QCoreApplication)
ZAV_REGISTER_TEST(store_interruption, StoreInterruptionTest, QCoreApplication)

#include "store_interruption.moc"
