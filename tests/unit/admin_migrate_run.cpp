#include "backend/Site.h"
#include "backend/io/FileLock.h"
#include "backend/migrate/SiteMigration.h"
#include "tests/support/SiteContent.h"
#include "tests/support/SitePair.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Backend;
using namespace KOZAV::Test;
using Admin::ExitCode;

/// A migration while it runs: a source that changes meanwhile, what lies in its way, and what it shows.
class AdminMigrateRunTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void jobThatComesMeanwhileIsCopied();
    void rowThatComesMeanwhileIsTold();
    void fileThatComesMeanwhileIsTold();
    void oneMigrationAtATime();
    void leftoversAreRemoved();
    void progressGoesToStandardError();
    void terminalShowsABar();
    void misuseIsNamed_data();
    void misuseIsNamed();

private:
    [[nodiscard]] Result<MigrationReport> migrateWatched(const MigrationObserver& observer) const;

    std::unique_ptr<SitePair> m_sites;
};

namespace {

constexpr int jobs = 11;

void write(const QString& path, const QByteArray& content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), qint64(content.size()));
}

} // namespace

Result<MigrationReport> AdminMigrateRunTest::migrateWatched(const MigrationObserver& observer) const
{
    Site from(m_sites->from());
    Site to(m_sites->to());
    return migrateSite(from, to, {}, observer);
}

void AdminMigrateRunTest::init()
{
    m_sites = std::make_unique<SitePair>();
}

void AdminMigrateRunTest::jobThatComesMeanwhileIsCopied()
{
    fillSite(m_sites->from(), jobs);
    bool added = false;
    const auto outcome = migrateWatched([&](const MigrationProgress& progress) {
        if (!added && progress.phase == MigrationProgress::Phase::Files && progress.files > 3) {
            added = true;
            fillSite(m_sites->from(), 4, jobs + 1);
        }
    });
    QVERIFY2(outcome.ok(), qPrintable(outcome.message()));
    QVERIFY(added);
    QCOMPARE(outcome->copiedFiles.files, qint64(filesOf(jobs + 4)));
    QCOMPARE(difference(readSite(m_sites->from()), readSite(m_sites->to())), QString());
}

void AdminMigrateRunTest::rowThatComesMeanwhileIsTold()
{
    fillSite(m_sites->from(), jobs);
    int added = 0;
    const MigrationObserver addJob = [&](const MigrationProgress& progress) {
        if (added == 0 && progress.phase == MigrationProgress::Phase::Rows)
            fillSite(m_sites->from(), added = 4, jobs + 1);
    };
    const auto outcome = migrateWatched(addJob);
    QCOMPARE(outcome.code(), ErrorCode::ChangedWhileRead);
    QVERIFY2(outcome.message().contains(text("run again")), qPrintable(outcome.message()));
    // What was copied is whole: every row's file is there.
    const SiteContent target = readSite(m_sites->to());
    QCOMPARE(target.files.size(), filesOf(jobs));
    QCOMPARE(target.tables[text("pre_file")].size(), jobs);
    QCOMPARE(m_sites->migrate().code, ExitCode::Success);
    QCOMPARE(difference(readSite(m_sites->from()), readSite(m_sites->to())), QString());
}

void AdminMigrateRunTest::fileThatComesMeanwhileIsTold()
{
    fillSite(m_sites->from(), jobs);
    bool added = false;
    const auto outcome = migrateWatched([&](const MigrationProgress& progress) {
        if (!added && progress.phase == MigrationProgress::Phase::Verifying) {
            added = true;
            storeFile(m_sites->from(), "extra", "new");
        }
    });
    QCOMPARE(outcome.code(), ErrorCode::ChangedWhileRead);
    QVERIFY2(outcome.message().contains(text("\"extra\" is new")), qPrintable(outcome.message()));
    QCOMPARE(m_sites->migrate().code, ExitCode::Success);
}

void AdminMigrateRunTest::oneMigrationAtATime()
{
    fillSite(m_sites->from(), 2);
    QCOMPARE(m_sites->migrate().code, ExitCode::Success);
    const auto lock =
        FileLock::acquire(QFile::encodeName(m_sites->targetData("upload/migrate/lock")).toStdString());
    QVERIFY(lock.ok());
    const AdminOutcome outcome = m_sites->migrate();
    QCOMPARE(outcome.code, ExitCode::Unavailable);
    QVERIFY2(outcome.err.contains(text("another migration is running")), qPrintable(outcome.err));
}

void AdminMigrateRunTest::leftoversAreRemoved()
{
    fillSite(m_sites->from(), 2);
    QVERIFY(QDir().mkpath(m_sites->targetData("upload/migrate")));
    write(m_sites->targetData("upload/migrate/file-3"), "half a file");
    write(m_sites->targetData("upload/migrate/.kozav-tmp-0123"), "half a file");
    write(m_sites->targetData("upload/import.zip"), "not ours");
    QCOMPARE(m_sites->migrate().code, ExitCode::Success);
    QCOMPARE(QDir(m_sites->targetData("upload/migrate")).entryList(QDir::Files | QDir::Hidden),
             QStringList({text("lock")}));
    QVERIFY(QFileInfo::exists(m_sites->targetData("upload/import.zip")));
}

void AdminMigrateRunTest::progressGoesToStandardError()
{
    fillSite(m_sites->from(), jobs);
    const AdminOutcome outcome = m_sites->migrate();
    QCOMPARE(outcome.code, ExitCode::Success);
    for (const char* piece : {"files: 100%, 13/13, ", "rows: 100%", "verifying: 100%"})
        QVERIFY2(outcome.err.contains(text(piece)), qPrintable(outcome.err));
    QVERIFY(!outcome.err.contains(text("\r")));
    QVERIFY(outcome.out.contains(text("verified: the target holds every row and every stored file")));
    QVERIFY(!outcome.out.contains(text("rows: ")));
    QCOMPARE(m_sites->migrate({text("--json")}).err, QString());
}

void AdminMigrateRunTest::terminalShowsABar()
{
    // A program that gives another one a terminal.
    const QString script = QStandardPaths::findExecutable(text("script"));
    if (script.isEmpty())
        QSKIP("there is no program \"script\"");
    fillSite(m_sites->from(), jobs);
    QProcess terminal;
    terminal.setProcessChannelMode(QProcess::MergedChannels);
    terminal.start(script, {text("-qec"),
                            text("'%1' --config '%2' migrate --to '%3'")
                                .arg(text(ZAV_ADMIN_PROGRAM), m_sites->from(), m_sites->to()),
                            text("/dev/null")});
    QVERIFY(terminal.waitForFinished(60000));
    const QByteArray shown = terminal.readAllStandardOutput();
    QCOMPARE(terminal.exitCode(), 0);
    QVERIFY2(shown.contains("\rfiles [#"), shown.constData());
    QVERIFY2(shown.contains("\rrows [####"), shown.constData());
    QVERIFY(shown.contains("\x1b[K"));
    QVERIFY(shown.contains("verified: the target holds every row"));
    QVERIFY(!shown.contains("rows: 100%"));
}

void AdminMigrateRunTest::misuseIsNamed_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    QTest::addColumn<int>("code");
    QTest::newRow("no target") << QStringList({text("migrate")}) << text("\"migrate\" needs --to FILE") << 2;
    QTest::newRow("empty target") << QStringList({text("migrate"), text("--to=")}) << text("--to is empty")
                                  << 2;
    QTest::newRow("absent target") << QStringList({text("migrate"), text("--to=/nowhere/zav.ini")})
                                   << text("there is no configuration file \"/nowhere/zav.ini\"") << 5;
}

void AdminMigrateRunTest::misuseIsNamed()
{
    QFETCH(const QStringList, arguments);
    QFETCH(const QString, message);
    QFETCH(const int, code);
    const AdminOutcome outcome = m_sites->source.run(arguments);
    QCOMPARE(static_cast<int>(outcome.code), code);
    QVERIFY2(outcome.err.contains(message), qPrintable(outcome.err));
}

ZAV_REGISTER_TEST(admin_migrate_run, AdminMigrateRunTest, QCoreApplication)

#include "admin_migrate_run.moc"
