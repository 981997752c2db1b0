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
    const bool marks = verb == QLatin1String("mark");
    return {QStringLiteral("--store"), verb, QString::fromStdString(box.root()),
            marks ? QStringLiteral("job-zip") : QStringLiteral("job.zip"), QString::fromStdString(path)};
}

/// The same on a file system that keeps no attributes.
QStringList withoutAttributes(QStringList tool)
{
    tool[5] += QStringLiteral(",fsetxattr"); // what is traced
    return tool << QStringLiteral("-e") << QStringLiteral("inject=fsetxattr:error=EOPNOTSUPP");
}

constexpr int mostSteps = 60;

// Where a move has to have left its file.
enum Places { Stored = 1, InQuarantine = 2, Nowhere = 4 };

/// A store whose file is where the verb takes it from.
void prepareMove(StoreBox& box, const QString& verb)
{
    if (!box.put("job.zip", content).ok())
        qFatal("the file cannot be stored");
    if (verb != QLatin1String("quarantine") && !box.store().quarantine(testLocation(), "job.zip").ok())
        qFatal("the file cannot be moved");
}

/// Where the file is: as a whole, and in one place only.
Places placeOf(StoreBox& box)
{
    const auto found = box.store().find(testLocation(), "job.zip");
    const auto listed = box.store().listQuarantine(testLocation());
    if (!listed.ok() || (!found.ok() && found.code() != ErrorCode::NotFound))
        qFatal("%s %s", qPrintable(listed.message()), qPrintable(found.message()));
    if (found.ok() && (!listed->empty() || box.get("job.zip") != content))
        qFatal("the file is damaged, or there twice");
    if (!listed->empty() && listed->front().file.sha256.isEmpty())
        qFatal("what is known of the file is lost");
    if (found.ok())
        return Stored;
    return listed->empty() ? Nowhere : InQuarantine;
}

/// What a verb leads to where it succeeds, and from where.
Places endOf(const QString& verb)
{
    if (verb == QLatin1String("purge"))
        return Nowhere;
    return verb == QLatin1String("restore") ? Stored : InQuarantine;
}

Places startOf(const QString& verb)
{
    return verb == QLatin1String("quarantine") ? Stored : InQuarantine;
}

/// After an interruption the verb can be run again, and what it has left can be mended.
void checkGoesOn(StoreBox& box, const QString& verb)
{
    const auto flaws = box.store().survey(testLocation());
    QVERIFY2(flaws.ok(), qPrintable(flaws.message()));
    for (const StoreFlaw& flaw : flaws.value())
        QCOMPARE(flaw.kind, StoreFlaw::Kind::SumWithoutData);
    if (placeOf(box) != endOf(verb)) {
        const ProgramEnd again = runRole({}, role(box, verb, {}));
        QVERIFY2(again.exitCode == 0, again.output.constData());
    }
    QCOMPARE(placeOf(box), endOf(verb));
    const auto left = box.store().survey(testLocation());
    for (const StoreFlaw& flaw : left.value())
        QVERIFY(box.store().removeFlaw(testLocation(), flaw).ok());
    QVERIFY(box.store().survey(testLocation())->empty());
    QCOMPARE(placeOf(box), endOf(verb));
}

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
    void flushesOnlyWhatIsNeeded_data();
    void flushesOnlyWhatIsNeeded();
    void ofAMoveByAFailedCall_data();
    void ofAMoveByAFailedCall();
    void ofAMoveByAKill_data();
    void ofAMoveByAKill();
    void ofMarkingLeavesAMarkOrNone_data();
    void ofMarkingLeavesAMarkOrNone();
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
    QTest::addColumn<bool>("attributes");
    for (const QString& verb : {QStringLiteral("put"), QStringLiteral("adopt")}) {
        const auto row = [&verb](const char* what, const char* calls, const char* error, ErrorCode code,
                                 int leastCalls, bool attributes = true) {
            QTest::newRow(qPrintable(verb + QLatin1Char(' ') + QLatin1String(what)))
                << verb << QString::fromLatin1(calls) << QString::fromLatin1(error) << code << leastCalls
                << attributes;
        };
        // Folders made, data, and the folder that holds it; or sum and its folder as well.
        row("fsync", "fsync", "EIO", ErrorCode::Io, 7);
        row("fsync without attributes", "fsync", "EIO", ErrorCode::Io, 9, false);
        row("naming the sum", "rename", "EIO", ErrorCode::Io, 1, false);
        row("naming the data", "renameat2", "EIO", ErrorCode::Io, 1);
        row("naming the data without attributes", "renameat2", "EIO", ErrorCode::Io, 1, false);
        row("mkdir", "mkdir", "EACCES", ErrorCode::NotPermitted, 5);
        row("flock", "flock", "ENOLCK", ErrorCode::Io, 1);
    }
}

void StoreInterruptionTest::byAFailedCallIsToldAndUndone()
{
    QFETCH(const QString, verb);
    QFETCH(const QString, calls);
    QFETCH(const QString, error);
    QFETCH(const ErrorCode, code);
    QFETCH(const int, leastCalls);
    QFETCH(const bool, attributes);
    int number = 1;
    for (; number < mostSteps; ++number) {
        StoreBox box;
        writeFile(box.beside("source"), content);
        const QStringList tool = fault(calls, QStringLiteral("error=") + error, number);
        const ProgramEnd end =
            runRole(attributes ? tool : withoutAttributes(tool), role(box, verb, box.beside("source")));
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
    QTest::addColumn<bool>("attributes");
    for (const char* verb : {"put", "adopt"}) {
        const auto row = [verb](const char* call, int leastCalls, bool attributes = true) {
            QTest::addRow("%s at %s%s", verb, call, attributes ? "" : " without attributes")
                << QString::fromLatin1(verb) << QString::fromLatin1(call) << leastCalls << attributes;
        };
        row("mkdir", 5);
        row("fsync", 7);
        row("fsync", 9, false);
        row("flock", 1);
        row("fsetxattr", 1);
        row("openat", 1);
        row("rename", 1, false);
        row("renameat2", 1);
        row("renameat2", 1, false);
    }
}

void StoreInterruptionTest::byAKillLosesNothing()
{
    QFETCH(const QString, verb);
    QFETCH(const QString, call);
    QFETCH(const int, leastCalls);
    QFETCH(const bool, attributes);
    int number = 1;
    for (; number < mostSteps; ++number) {
        StoreBox box;
        writeFile(box.beside("source"), content);
        QStringList tool = fault(call, QStringLiteral("signal=KILL"), number);
        if (call == QLatin1String("openat")) // the program's start opens as well
            tool << QStringLiteral("-P") << QString::fromStdString(box.sum("job.zip"));
        const ProgramEnd end =
            runRole(attributes ? tool : withoutAttributes(tool), role(box, verb, box.beside("source")));
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

void StoreInterruptionTest::flushesOnlyWhatIsNeeded_data()
{
    QTest::addColumn<bool>("attributes");
    QTest::addColumn<int>("flushes");
    for (const char* verb : {"put", "adopt"}) {
        QTest::newRow(verb) << true << 2; // the data with its sum, and the folder that names it
        QTest::addRow("%s without attributes", verb) << false << 4;
    }
    QTest::newRow("get") << true << 2;
}

void StoreInterruptionTest::flushesOnlyWhatIsNeeded()
{
    QFETCH(const bool, attributes);
    QFETCH(const int, flushes);
    StoreBox box;
    const QString verb = QString::fromLatin1(QTest::currentDataTag()).section(QLatin1Char(' '), 0, 0);
    const std::string stored = verb == QLatin1String("get") ? "job.zip" : "other.zip";
    QVERIFY(box.put(stored, content).ok());
    if (attributes && !box.setAttached(stored, readFile(box.sum(stored))))
        QSKIP("this file system keeps no attributes");
    writeFile(box.beside("source"), content);
    QStringList tool = fault(QStringLiteral("fsync"), QStringLiteral("error=EIO"), mostSteps);
    tool[3] = QString::fromStdString(box.beside("calls"));
    const ProgramEnd end =
        runRole(attributes ? tool : withoutAttributes(tool), role(box, verb, box.beside("source")));
    QCOMPARE(end.exitCode, 0);
    QCOMPARE(readFile(box.beside("calls")).count("fsync("), flushes);
}

void StoreInterruptionTest::ofAMoveByAFailedCall_data()
{
    QTest::addColumn<QString>("verb");
    QTest::addColumn<QString>("calls");
    QTest::addColumn<int>("leastCalls");
    const auto row = [](const char* verb, const char* calls, int leastCalls) {
        QTest::addRow("%s at %s", verb, calls)
            << QString::fromLatin1(verb) << QString::fromLatin1(calls) << leastCalls;
    };
    row("quarantine", "fsync", 7); // three folders, the note and its folder, both names
    row("quarantine", "mkdir", 3);
    row("quarantine", "rename", 1);
    row("quarantine", "renameat2", 1);
    row("quarantine", "unlink", 1);
    row("quarantine", "flock", 1);
    row("restore", "fsync", 4);
    row("restore", "rename", 1);
    row("restore", "renameat2", 1);
    row("restore", "unlink", 1);
    row("purge", "fsync", 1);
    row("purge", "unlink", 2);
}

/// A failure leaves the file where it was, but for what can only fail when the move is done.
void StoreInterruptionTest::ofAMoveByAFailedCall()
{
    QFETCH(const QString, verb);
    QFETCH(const QString, calls);
    QFETCH(const int, leastCalls);
    int failures = 0;
    int number = 1;
    for (bool hit = true; hit && number < mostSteps; ++number) {
        StoreBox box;
        prepareMove(box, verb);
        const std::string log = box.beside("calls");
        QStringList tool = fault(calls, QStringLiteral("error=EIO"), number);
        tool[3] = QString::fromStdString(log);
        const ProgramEnd end = runRole(tool, role(box, verb, {}));
        hit = readFile(log).contains("INJECTED");
        failures += end.exitCode == 0 ? 0 : 1;
        if (end.exitCode == 0 || verb == QLatin1String("purge")) {
            QVERIFY(end.exitCode != 0 || placeOf(box) == endOf(verb));
        } else {
            QCOMPARE(reportedCode(end.output), ErrorCode::Io);
            QCOMPARE(placeOf(box), startOf(verb));
        }
        checkGoesOn(box, verb);
    }
    QVERIFY2(number > leastCalls + 1, qPrintable(QString::number(number)));
    QVERIFY(failures > 0 || calls == QLatin1String("unlink"));
    QVERIFY(number < mostSteps);
}

void StoreInterruptionTest::ofAMoveByAKill_data()
{
    ofAMoveByAFailedCall_data();
}

void StoreInterruptionTest::ofAMoveByAKill()
{
    QFETCH(const QString, verb);
    QFETCH(const QString, calls);
    QFETCH(const int, leastCalls);
    int number = 1;
    for (; number < mostSteps; ++number) {
        StoreBox box;
        prepareMove(box, verb);
        const ProgramEnd end =
            runRole(fault(calls, QStringLiteral("signal=KILL"), number), role(box, verb, {}));
        box.reopen();
        const Places place = placeOf(box);
        QVERIFY(place == startOf(verb) || place == endOf(verb));
        checkGoesOn(box, verb);
        if (end.exitCode == 0)
            break;
    }
    QVERIFY2(number > leastCalls, qPrintable(QString::number(number)));
    QVERIFY(number < mostSteps);
}

void StoreInterruptionTest::ofMarkingLeavesAMarkOrNone_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("what");
    for (const char* call : {"mkdir", "fsync", "rename", "flock"}) {
        for (const char* what : {"signal=KILL", "error=EIO"})
            QTest::addRow("%s %s", call, what) << QString::fromLatin1(call) << QString::fromLatin1(what);
    }
}

void StoreInterruptionTest::ofMarkingLeavesAMarkOrNone()
{
    QFETCH(const QString, call);
    QFETCH(const QString, what);
    int number = 1;
    for (; number < mostSteps; ++number) {
        StoreBox box;
        const ProgramEnd end = runRole(fault(call, what, number), role(box, QStringLiteral("mark"), {}));
        const auto mark = box.store().siteMark(testLocation());
        QVERIFY2(mark.ok(), qPrintable(mark.message()));
        QVERIFY(mark->isEmpty() || mark.value() == QLatin1String("job-zip"));
        if (end.exitCode == 0) {
            QVERIFY(!mark->isEmpty());
            break;
        }
        QVERIFY(box.store().setSiteMark(testLocation(), QStringLiteral("job-zip")).ok());
    }
    QVERIFY(number > 1);
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
