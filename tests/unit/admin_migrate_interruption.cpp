#include "tests/support/SiteContent.h"
#include "tests/support/SitePair.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QSet>
#include <QTest>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Test;
using Admin::ExitCode;

/// A migration that is killed, or whose disk fails, at one step after another: what is there is whole, and
/// the next run ends what was begun.
class AdminMigrateInterruptionTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void killedRunIsContinued_data();
    void killedRunIsContinued();
    void failedCallIsToldAndContinued_data();
    void failedCallIsToldAndContinued();
    void oftenKilledRunComesToItsEnd();

private:
    void makeTarget();
    /// Runs the program with the n-th of some system calls failing or deadly.
    [[nodiscard]] ProgramEnd runWith(const QString& calls, const QString& what, int number) const;
    void checkWhatIsThere();

    std::unique_ptr<AdminSession> m_source;
    std::unique_ptr<AdminSession> m_target;
    SiteContent m_content; ///< of the source
};

namespace {

constexpr int jobs = 11;

/// Steps grow, so that the first and the last calls of a run are hit and the number of runs stays small.
int stepBehind(int number)
{
    return number < 12 ? number + 1 : number + number / 4;
}

constexpr int mostCalls = 4000;

} // namespace

void AdminMigrateInterruptionTest::initTestCase()
{
    if (!canInject())
        QSKIP("strace cannot inject faults here");
    m_source = std::make_unique<AdminSession>();
    makeEmbeddedSite(*m_source);
    fillSite(m_source->file().path(), jobs);
    m_content = readSite(m_source->file().path());
}

void AdminMigrateInterruptionTest::makeTarget()
{
    m_target = std::make_unique<AdminSession>();
    makeEmbeddedSite(*m_target);
}

ProgramEnd AdminMigrateInterruptionTest::runWith(const QString& calls, const QString& what, int number) const
{
    return runProgram(text("strace"),
                      {text("-f"), text("-o"), text("/dev/null"), text("-e"), text("trace=") + calls,
                       text("-e"), text("inject=%1:%2:when=%3").arg(calls, what).arg(number),
                       text(ZAV_ADMIN_PROGRAM), text("--config"), m_source->file().path(), text("migrate"),
                       text("--to"), m_target->file().path(), text("--json")});
}

/// Every file and every row that is there is the source's, and no row is there without its file.
void AdminMigrateInterruptionTest::checkWhatIsThere()
{
    const SiteContent there = readSite(m_target->file().path());
    QSet<QString> names;
    for (auto file = there.files.cbegin(); file != there.files.cend(); ++file) {
        QCOMPARE(file.value(), m_content.files.value(file.key()));
        names.insert(file.key().section(QLatin1Char('/'), 1));
    }
    for (const QString& table : {text("orig_file"), text("job_compress")}) {
        const auto rows = there.tables[table];
        for (const auto& row : rows)
            QVERIFY2(names.contains(row[text("stored_name")]), qPrintable(row[text("stored_name")]));
    }
    for (const QString& table : there.tables.keys())
        for (int i = 0; i < there.tables[table].size(); ++i) {
            SiteContent::Row row = there.tables[table][i];
            SiteContent::Row original = m_content.tables[table].value(i);
            if (row.value(text("flow_guid")) == text("(null)"))
                original[text("flow_guid")] = text("(null)"); // not linked yet
            if (!row.contains(text("flow_guid")))
                original.remove(text("flow_guid"));
            QCOMPARE(row, original);
        }
    QCOMPARE(difference(m_content, readSite(m_source->file().path())), QString());
}

void AdminMigrateInterruptionTest::killedRunIsContinued_data()
{
    QTest::addColumn<QString>("calls");
    QTest::addColumn<int>("leastCalls");
    // The first four bring files, the others rows. Calls are counted for each thread, and which of four
    // threads brings which of the eleven files is chance: the busiest one brings three at least, with two
    // flushes each.
    QTest::newRow("rename") << text("rename") << 4;
    QTest::newRow("renameat2") << text("renameat2") << 3;
    QTest::newRow("fsync") << text("fsync") << 7;
    QTest::newRow("unlink") << text("unlink") << 1;
    QTest::newRow("pwrite64") << text("pwrite64") << 10;
    QTest::newRow("fdatasync") << text("fdatasync") << 5;
}

void AdminMigrateInterruptionTest::killedRunIsContinued()
{
    QFETCH(const QString, calls);
    QFETCH(const int, leastCalls);
    int number = 1;
    for (; number < mostCalls; number = stepBehind(number)) {
        makeTarget();
        const ProgramEnd end = runWith(calls, text("signal=KILL"), number);
        checkWhatIsThere();
        if (QTest::currentTestFailed())
            return;
        if (end.exitCode == 0)
            break;
        const AdminOutcome again =
            m_source->run({text("migrate"), text("--to"), m_target->file().path(), text("--json")});
        QCOMPARE(again.err, QString());
        QCOMPARE(difference(m_content, readSite(m_target->file().path())), QString());
    }
    QVERIFY2(number >= leastCalls, qPrintable(QString::number(number)));
    QVERIFY(number < mostCalls);
}

void AdminMigrateInterruptionTest::failedCallIsToldAndContinued_data()
{
    QTest::addColumn<QString>("calls");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QList<int>>("codes");
    const int failure = static_cast<int>(ExitCode::Failure);
    const int noSpace = static_cast<int>(ExitCode::NoSpace);
    QTest::newRow("fsync") << text("fsync") << text("EIO") << QList<int>{failure};
    QTest::newRow("renameat2") << text("renameat2") << text("EIO") << QList<int>{failure};
    // Of files and of the database.
    QTest::newRow("write") << text("write") << text("ENOSPC") << QList<int>{failure, noSpace};
    QTest::newRow("pwrite64") << text("pwrite64") << text("ENOSPC") << QList<int>{failure, noSpace};
    QTest::newRow("flock") << text("flock") << text("ENOLCK") << QList<int>{failure};
}

void AdminMigrateInterruptionTest::failedCallIsToldAndContinued()
{
    QFETCH(const QString, calls);
    QFETCH(const QString, error);
    QFETCH(const QList<int>, codes);
    int failures = 0;
    int number = 1;
    for (; number < mostCalls; number = stepBehind(number)) {
        makeTarget();
        const ProgramEnd end = runWith(calls, text("error=") + error, number);
        checkWhatIsThere();
        if (QTest::currentTestFailed())
            return;
        if (end.exitCode != 0) {
            ++failures;
            QVERIFY2(codes.contains(end.exitCode), end.output.constData());
        }
        const AdminOutcome again =
            m_source->run({text("migrate"), text("--to"), m_target->file().path(), text("--json")});
        QCOMPARE(again.err, QString());
        QCOMPARE(difference(m_content, readSite(m_target->file().path())), QString());
        if (end.exitCode == 0 && again.json()[text("files")].toObject()[text("copied")].toInt() == 0 &&
            number > 30)
            break;
    }
    QVERIFY2(failures > 2, qPrintable(QString::number(failures)));
    QVERIFY(number < mostCalls);
}

void AdminMigrateInterruptionTest::oftenKilledRunComesToItsEnd()
{
    makeTarget();
    int runs = 0;
    // Each run gets a few files further, in whatever order its threads come to them.
    while (runWith(text("renameat2"), text("signal=KILL"), 2).exitCode != 0) {
        checkWhatIsThere();
        if (QTest::currentTestFailed())
            return;
        QVERIFY2(++runs < 20, "no run gets further than the one before");
    }
    QVERIFY(runs >= 3);
    QCOMPARE(difference(m_content, readSite(m_target->file().path())), QString());
}

ZAV_REGISTER_TEST(admin_migrate_interruption, AdminMigrateInterruptionTest, QCoreApplication)

#include "admin_migrate_interruption.moc"
