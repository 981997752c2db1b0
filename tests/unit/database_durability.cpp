#include "tests/support/FlawText.h"
#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QTest>

#include <cstdlib>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

/// Role of another process: one write for each letter of the plan, 'd' Deferred and 'i' Immediate, then an
/// end without closing, as a crash would be.
[[noreturn]] int writeAndCrash(const QStringList& arguments)
{
    const QString& file = arguments.at(2);
    const QString& plan = arguments.at(3);
    DatabaseSettings settings;
    settings.file = file;
    const Result<std::unique_ptr<Database>> database = Database::create(settings);
    int failures = database.ok() ? 0 : 1;
    for (int i = 0; i < plan.size() && failures == 0; ++i) {
        const Durability durability =
            plan.at(i) == QLatin1Char('i') ? Durability::Immediate : Durability::Deferred;
        const QString code = QString::number(i);
        failures += database.value()
                            ->insert("INSERT INTO company (code, name, created_time, updated_time)"
                                     " VALUES (?, ?, 't', 't')",
                                     {code, code}, durability)
                            .ok()
                        ? 0
                        : 1;
    }
    std::_Exit(failures);
}

/// Calls that wait for the disk, in a process that plays that role on a fresh database; -1 where it cannot be
/// traced.
int tracedSyncs(const QString& plan)
{
    const TemporaryDatabase place;
    const QString trace = place.folder() + QStringLiteral("/trace");
    OtherProcess process(QStringLiteral("strace"),
                         {QStringLiteral("-f"), QStringLiteral("-e"), QStringLiteral("trace=fsync,fdatasync"),
                          QStringLiteral("-o"), trace},
                         {QStringLiteral("--write"), place.file(), plan});
    if (process.wait() != 0)
        return -1;
    static const QRegularExpression sync(QStringLiteral("\\bf(data)?sync\\("));
    return QString::fromUtf8(bytesOf(trace)).count(sync);
}

} // namespace

class DatabaseDurabilityTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void syncsOfWrites_data();
    void syncsOfWrites();
    void committedRowsSurviveACrashOfTheProgram();
    void aFailedSyncIsNoSuccess_data();
    void aFailedSyncIsNoSuccess();

private:
    int m_syncsOfOpening = -1;
};

void DatabaseDurabilityTest::initTestCase()
{
    m_syncsOfOpening = tracedSyncs(QString());
}

void DatabaseDurabilityTest::syncsOfWrites_data()
{
    QTest::addColumn<QString>("plan");
    QTest::addColumn<int>("syncs");
    QTest::newRow("deferred writes wait for nothing") << QStringLiteral("dddddddddd") << 0;
    QTest::newRow("an immediate one takes the deferred ones along") << QStringLiteral("dddddddddi") << 1;
    QTest::newRow("each immediate one waits once") << QStringLiteral("iiiiiiiiii") << 10;
    QTest::newRow("a later deferred one does not wait") << QStringLiteral("idddi") << 2;
}

void DatabaseDurabilityTest::syncsOfWrites()
{
    if (m_syncsOfOpening < 0)
        QSKIP("system calls cannot be traced here");
    QFETCH(const QString, plan);
    QFETCH(const int, syncs);
    QCOMPARE(tracedSyncs(plan) - m_syncsOfOpening, syncs);
}

void DatabaseDurabilityTest::committedRowsSurviveACrashOfTheProgram()
{
    const TemporaryDatabase place;
    OtherProcess process({QStringLiteral("--write"), place.file(), QStringLiteral("dddid")});
    QCOMPARE(process.wait(), 0);
    const auto database = place.open();
    QVERIFY(database);
    QCOMPARE(valueOf(*database, "SELECT count(*) FROM company").toInt(), 5);
    QCOMPARE(flawsOf(*database), QString());
}

void DatabaseDurabilityTest::aFailedSyncIsNoSuccess_data()
{
    QTest::addColumn<QString>("which");
    QTest::newRow("once") << QStringLiteral("%1");
    QTest::newRow("from then on") << QStringLiteral("%1+");
}

/// Of the write-ahead log, with which a row is durable.
void DatabaseDurabilityTest::aFailedSyncIsNoSuccess()
{
    QFETCH(const QString, which);
    if (m_syncsOfOpening < 0)
        QSKIP("system calls cannot be traced here");
    bool hit = true;
    int failures = 0;
    for (int number = 1; hit && number < 50; ++number) {
        const TemporaryDatabase place;
        const QString trace = place.folder() + QStringLiteral("/trace");
        OtherProcess process(QStringLiteral("strace"),
                             {QStringLiteral("-f"), QStringLiteral("-o"), trace,
                              QStringLiteral("-etrace=fdatasync"),
                              QStringLiteral("-einject=fdatasync:error=EIO:when=") + which.arg(number),
                              QStringLiteral("-P"), place.file() + QStringLiteral("-wal")},
                             {QStringLiteral("--write"), place.file(), QStringLiteral("ddi")});
        const int exitCode = process.wait();
        hit = bytesOf(trace).contains("INJECTED");
        QCOMPARE(exitCode, hit ? 1 : 0);
        failures += hit ? 1 : 0;
        const auto database = place.open();
        QVERIFY(database);
        QCOMPARE(flawsOf(*database), QString());
    }
    QVERIFY(!hit);
    QVERIFY(failures > 0);
}

ZAV_REGISTER_ROLE("--write", writeAndCrash, QCoreApplication)
ZAV_REGISTER_TEST(database_durability, DatabaseDurabilityTest, QCoreApplication)

#include "database_durability.moc"
