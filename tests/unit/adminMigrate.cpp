#include "backend/config/Settings.h"
#include "backend/io/FileLock.h"
#include "backend/migrate/SiteMigration.h"
#include "tests/support/AdminSession.h"
#include "tests/support/SiteContent.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QTest>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Backend;
using namespace KOZAV::Test;
using Admin::ExitCode;

/// Copying a whole site to another one.
class AdminMigrateTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void copiesTheWholeSite();
    void secondRunCopiesNothing();
    void laterRunBringsWhatIsNew();
    void manyRowsGoInSeveralTransactions();
    void numbersContinueBehindTheHighest();
    void theWayBackIsTheSame();
    void dryRunChangesNothing();
    void refusedPairs_data();
    void refusedPairs();
    void otherContentIsNamedAndKept_data();
    void otherContentIsNamedAndKept();
    void outdatedRowsNeedUpdate_data();
    void outdatedRowsNeedUpdate();
    void updateDoesNotTakeAnotherRow();
    void updateBringsLinksThatWereCut();
    void rowsAloneMayMove();
    void damagedSourceFileIsNamed();
    void jobThatComesMeanwhileIsCopied();
    void rowThatComesMeanwhileIsTold();
    void fileThatComesMeanwhileIsTold();
    void oneMigrationAtATime();
    void leftoversAreRemoved();
    void progressGoesToStandardError();
    void misuseIsNamed_data();
    void misuseIsNamed();

private:
    [[nodiscard]] QStringList command(const QStringList& more = {}) const
    {
        return QStringList({text("migrate"), text("--to"), to()}) + more;
    }
    [[nodiscard]] AdminOutcome migrate(const QStringList& more = {}) const
    {
        return m_source->run(command(more));
    }
    [[nodiscard]] QString from() const { return m_source->file().path(); }
    [[nodiscard]] QString to() const { return m_target->file().path(); }
    [[nodiscard]] QString targetData(const char* name) const
    {
        return m_target->file().inFolder(QStringLiteral("data/") + QLatin1String(name));
    }
    [[nodiscard]] Result<MigrationReport> migrateWatched(const MigrationObserver& observer) const;

    std::unique_ptr<AdminSession> m_source;
    std::unique_ptr<AdminSession> m_target;
};

namespace {

constexpr int jobs = 11;

void makeSite(const AdminSession& session)
{
    const AdminOutcome made =
        session.run({text("init"), text("--data-root"), session.file().inFolder(text("data"))});
    QCOMPARE(made.err, QString());
}

void write(const QString& path, const QByteArray& content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), qint64(content.size()));
}

/// Puts a file into the store of a site.
void store(const QString& configuration, const char* name, const QByteArray& content)
{
    const Settings settings = loadSettings(configuration).value();
    const QTemporaryDir folder;
    write(folder.filePath(text("x")), content);
    const auto opened = openDocumentStore(settings.documentStore);
    QVERIFY(opened.value()
                ->put({settings.documentStore.database.toStdString(),
                       settings.documentStore.fileStore.toStdString()},
                      name, QFile::encodeName(folder.filePath(text("x"))).toStdString())
                .ok());
}

int count(const AdminOutcome& outcome, const char* key)
{
    return outcome.json()[text("files")].toObject()[text(key)].toInt(-1);
}

/// Adds up a number of all tables.
int sum(const AdminOutcome& outcome, const char* key)
{
    int all = 0;
    const QJsonArray tables = outcome.json()[text("tables")].toArray();
    for (const QJsonValue& table : tables)
        all += table[text(key)].toInt(-1000);
    return all;
}

} // namespace

Result<MigrationReport> AdminMigrateTest::migrateWatched(const MigrationObserver& observer) const
{
    return migrateSite(loadSettings(from()).value(), loadSettings(to()).value(), {}, observer);
}

void AdminMigrateTest::init()
{
    m_source = std::make_unique<AdminSession>();
    m_target = std::make_unique<AdminSession>();
    makeSite(*m_source);
    makeSite(*m_target);
}

void AdminMigrateTest::copiesTheWholeSite()
{
    fillSite(from(), jobs);
    const SiteContent before = readSite(from());
    QCOMPARE(before.files.size(), filesOf(jobs));
    const AdminOutcome outcome = migrate({text("--json")});
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.code, ExitCode::Success);
    QCOMPARE(difference(before, readSite(to())), QString());
    QCOMPARE(difference(before, readSite(from())), QString());
    QVERIFY(outcome.json()[text("verified")].toBool());
    QVERIFY(!outcome.json()[text("dry_run")].toBool());
    QCOMPARE(count(outcome, "copied"), filesOf(jobs));
    QCOMPARE(count(outcome, "files"), filesOf(jobs));
    QCOMPARE(count(outcome, "bytes"), count(outcome, "copied_bytes"));
    QCOMPARE(count(outcome, "only_in_target"), 0);
    QCOMPARE(sum(outcome, "rows"), before.rowCount());
    QCOMPARE(sum(outcome, "copied"), before.rowCount());
}

void AdminMigrateTest::secondRunCopiesNothing()
{
    fillSite(from(), jobs);
    QCOMPARE(migrate().code, ExitCode::Success);
    const AdminOutcome again = migrate({text("--json")});
    QCOMPARE(again.code, ExitCode::Success);
    QVERIFY(again.json()[text("verified")].toBool());
    QCOMPARE(count(again, "copied"), 0);
    QCOMPARE(sum(again, "copied"), 0);
    QCOMPARE(sum(again, "rows"), readSite(from()).rowCount());
}

void AdminMigrateTest::laterRunBringsWhatIsNew()
{
    fillSite(from(), jobs);
    QCOMPARE(migrate().code, ExitCode::Success);
    fillSite(from(), 10, jobs + 1);
    const AdminOutcome later = migrate({text("--json")});
    QCOMPARE(later.err, QString());
    QCOMPARE(count(later, "copied"), filesOf(jobs + 10) - filesOf(jobs));
    QCOMPARE(difference(readSite(from()), readSite(to())), QString());
}

void AdminMigrateTest::manyRowsGoInSeveralTransactions()
{
    constexpr int companies = 2000;
    QCOMPARE(changeRows(from(),
                        "INSERT INTO company (code, name, created_time, updated_time)"
                        " WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2000)"
                        " SELECT 'C' || i, 'N' || i, '', '' FROM n"),
             companies);
    // Numbers with holes, as they are where imports were refused.
    const int holes = changeRows(from(), "DELETE FROM company WHERE id % 7 = 3");
    QVERIFY(migrate().code == ExitCode::Success);
    // An interruption can leave any beginning of a table; holes that no interruption leaves are filled too.
    QVERIFY(changeRows(to(), "DELETE FROM company WHERE id > 700 OR id % 2 = 0") > 1000);
    const AdminOutcome outcome = migrate({text("--json")});
    QCOMPARE(outcome.code, ExitCode::Success);
    QCOMPARE(sum(outcome, "rows"), companies - holes);
    QCOMPARE(difference(readSite(from()), readSite(to())), QString());
}

void AdminMigrateTest::numbersContinueBehindTheHighest()
{
    fillSite(from(), jobs);
    QCOMPARE(migrate().code, ExitCode::Success);
    const QStringList add = {text("--json"), text("company"), text("add"), text("--code=NEW"),
                             text("--name=New")};
    const AdminOutcome atSource = m_source->run(add);
    const AdminOutcome atTarget = m_target->run(add);
    const QString company = text("company");
    const int number = atTarget.json()[company].toObject()[text("id")].toInt();
    QCOMPARE(number, readSite(from()).tables[company].size());
    QCOMPARE(number, atSource.json()[company].toObject()[text("id")].toInt());
}

void AdminMigrateTest::theWayBackIsTheSame()
{
    fillSite(from(), jobs);
    QCOMPARE(migrate().code, ExitCode::Success);
    fillSite(to(), 4, jobs + 1);
    const AdminOutcome back = m_target->run({text("--json"), text("migrate"), text("--to"), from()});
    QCOMPARE(back.err, QString());
    QCOMPARE(count(back, "copied"), filesOf(jobs + 4) - filesOf(jobs));
    QCOMPARE(difference(readSite(to()), readSite(from())), QString());
    QCOMPARE(readSite(from()).files.size(), filesOf(jobs + 4));
}

void AdminMigrateTest::dryRunChangesNothing()
{
    fillSite(from(), jobs);
    const SiteContent before = readSite(to());
    const AdminOutcome outcome = migrate({text("--dry-run"), text("--json")});
    QCOMPARE(outcome.code, ExitCode::Success);
    QVERIFY(outcome.json()[text("dry_run")].toBool());
    QVERIFY(!outcome.json()[text("verified")].toBool());
    QCOMPARE(count(outcome, "copied"), filesOf(jobs));
    QVERIFY(count(outcome, "copied_bytes") > 700'000);
    QCOMPARE(sum(outcome, "copied"), readSite(from()).rowCount());
    QCOMPARE(difference(before, readSite(to())), QString());
    QVERIFY(!QFileInfo::exists(targetData("upload/migrate")));
    QVERIFY(migrate({text("--dry-run")}).out.contains(text("nothing was changed")));
}

void AdminMigrateTest::refusedPairs_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("message");
    QTest::newRow("the same site") << text("") << text("") << text("the same site");
    QTest::newRow("another file store") << text("document_store/file_store") << text("other")
                                        << text("document_store/file_store is \"odbpp\" in the source and "
                                                "\"other\" in the target");
    QTest::newRow("no database") << text("database/file") << text("absent.db") << text("absent.db");
    QTest::newRow("no store") << text("document_store/root") << text("absent") << text("absent");
}

void AdminMigrateTest::refusedPairs()
{
    QFETCH(const QString, key);
    QFETCH(const QString, value);
    QFETCH(const QString, message);
    fillSite(from(), 2);
    QString other = to();
    if (key.isEmpty()) {
        // Another file that leads to the same places, over a link.
        other = m_target->file().inFolder(text("same.ini"));
        QVERIFY(QFile::copy(from(), other));
        const QString link = m_target->file().inFolder(text("link"));
        QVERIFY(QFile::link(m_source->file().inFolder(text("data")), link));
        QVERIFY(writeSetting(other, text("database/file"), link + text("/site.db")).ok());
    } else {
        QVERIFY(writeSetting(other, key, value).ok());
    }
    const AdminOutcome outcome = m_source->run({text("migrate"), text("--to"), other});
    QCOMPARE(outcome.code, ExitCode::Configuration);
    QCOMPARE(outcome.out, QString());
    QVERIFY2(outcome.err.contains(message), qPrintable(outcome.err));
    QVERIFY(!QFileInfo::exists(m_target->file().inFolder(text("absent.db"))));
}

void AdminMigrateTest::otherContentIsNamedAndKept_data()
{
    QTest::addColumn<QByteArray>("change");
    QTest::addColumn<QString>("message");
    QTest::newRow("row of the target alone")
        << QByteArray(
               "INSERT INTO company (code, name, created_time, updated_time) VALUES ('ZZ', 'Z', '', '')")
        << text("the target holds rows that the source does not have: row 3 of company (code \"ZZ\")");
    QTest::newRow("row between")
        << QByteArray("INSERT INTO orig_file (id, guid, job_name, stored_name, suffix, user_id, created_time)"
                      " VALUES (-5, 'mine', '', 'x', '', 1, '')")
        << text("row -5 of orig_file (guid \"mine\")");
    QTest::newRow("another row under the number")
        << QByteArray("UPDATE pre_file SET guid = 'theirs' WHERE id = 2")
        << text("the target has row 2 of pre_file (guid \"theirs\") in the place of row 2 of pre_file (guid "
                "\"p-00000002\")");
    QTest::newRow("other content")
        << QByteArray("UPDATE job_compress SET remark = 'changed' WHERE flow_guid = 'f-00000009'")
        << text("row 8 of job_compress (flow_guid \"f-00000009\") with other content");
    QTest::newRow("other reference")
        << QByteArray("UPDATE orig_file SET flow_guid = 'f-00000001' WHERE guid = 'a-00000005'")
        << text("(guid \"a-00000005\") with other content");
    QTest::newRow("a blank more") << QByteArray(
                                         "UPDATE job_flow SET pre_import_or_check_time = ' ' WHERE id = 1")
                                  << text("row 1 of job_flow (guid \"f-00000001\") with other content");
    QTest::newRow("file with other content") << QByteArray() << text("stored file \"extra\"");
}

void AdminMigrateTest::otherContentIsNamedAndKept()
{
    QFETCH(const QByteArray, change);
    QFETCH(const QString, message);
    fillSite(from(), jobs);
    QCOMPARE(migrate().code, ExitCode::Success);
    if (change.isEmpty())
        store(to(), "extra", "mine");
    else
        QCOMPARE(changeRows(to(), change.constData()), 1);
    const SiteContent before = readSite(to());
    store(from(), "extra", "yours");
    fillSite(from(), 3, jobs + 1);

    const AdminOutcome outcome = migrate();
    QCOMPARE(outcome.code, ExitCode::AlreadyExists);
    QVERIFY2(outcome.err.contains(message), qPrintable(outcome.err));
    QCOMPARE(difference(before, readSite(to())), QString());
}

void AdminMigrateTest::outdatedRowsNeedUpdate_data()
{
    QTest::addColumn<QByteArray>("change");
    QTest::newRow("counter") << QByteArray(
        "UPDATE company SET job_count = 99, updated_time = 'x' WHERE id = 1");
    QTest::newRow("state") << QByteArray(
        "UPDATE job_flow SET state = 1, sub_state = 2, state_user_id = 7, state_time = 'x' WHERE id = 3");
    QTest::newRow("reference ahead") << QByteArray(
        "UPDATE orig_file SET flow_guid = 'f-00000001' WHERE guid = 'a-00000005'");
    QTest::newRow("reference taken away")
        << QByteArray("UPDATE orig_file SET flow_guid = NULL WHERE guid = 'a-00000005'");
    QTest::newRow("reference back") << QByteArray(
        "UPDATE job_flow SET last_import_orig_file_guid = NULL WHERE guid = 'f-00000005'");
}

void AdminMigrateTest::outdatedRowsNeedUpdate()
{
    QFETCH(const QByteArray, change);
    fillSite(from(), jobs);
    QCOMPARE(migrate().code, ExitCode::Success);
    QCOMPARE(changeRows(from(), change.constData()), 1);
    const SiteContent before = readSite(to());
    const AdminOutcome refused = migrate();
    QCOMPARE(refused.code, ExitCode::AlreadyExists);
    QVERIFY2(refused.err.contains(text("--update")), qPrintable(refused.err));
    QCOMPARE(difference(before, readSite(to())), QString());

    const AdminOutcome looked = migrate({text("--update"), text("--dry-run"), text("--json")});
    QCOMPARE(sum(looked, "updated"), 1);
    QCOMPARE(difference(before, readSite(to())), QString());
    const AdminOutcome updated = migrate({text("--update"), text("--json")});
    QCOMPARE(updated.err, QString());
    QCOMPARE(sum(updated, "updated"), 1);
    QCOMPARE(sum(updated, "copied"), 0);
    QCOMPARE(difference(readSite(from()), readSite(to())), QString());
}

void AdminMigrateTest::updateDoesNotTakeAnotherRow()
{
    fillSite(from(), jobs);
    QCOMPARE(migrate().code, ExitCode::Success);
    QCOMPARE(changeRows(to(), "UPDATE pre_file SET created_time = 'earlier' WHERE id = 2"), 1);
    QCOMPARE(changeRows(from(), "UPDATE company SET job_count = 99 WHERE id = 1"), 1);
    const SiteContent before = readSite(to());
    const AdminOutcome outcome = migrate({text("--update")});
    QCOMPARE(outcome.code, ExitCode::AlreadyExists);
    QVERIFY2(outcome.err.contains(text("it is another site's")), qPrintable(outcome.err));
    QCOMPARE(difference(before, readSite(to())), QString());
}

void AdminMigrateTest::updateBringsLinksThatWereCut()
{
    fillSite(from(), jobs);
    QCOMPARE(migrate().code, ExitCode::Success);
    // As an interruption between the rows and their links leaves them; that needs no --update.
    QCOMPARE(changeRows(to(), "UPDATE orig_file SET flow_guid = NULL WHERE flow_guid IS NOT NULL"), 2);
    QCOMPARE(migrate().code, ExitCode::Success);
    QCOMPARE(difference(readSite(from()), readSite(to())), QString());
}

void AdminMigrateTest::rowsAloneMayMove()
{
    fillSite(from(), jobs);
    const Settings source = loadSettings(from()).value();
    QVERIFY(writeSetting(to(), text("document_store/root"), source.documentStore.root).ok());
    const AdminOutcome outcome = migrate({text("--json")});
    QCOMPARE(outcome.err, QString());
    QCOMPARE(count(outcome, "copied"), 0);
    QCOMPARE(sum(outcome, "copied"), readSite(from()).rowCount());
    QCOMPARE(difference(readSite(from()), readSite(to())), QString());
}

void AdminMigrateTest::damagedSourceFileIsNamed()
{
    fillSite(from(), jobs);
    const QString path =
        m_source->file().inFolder(QString::fromUtf8("data/store/zav_import/odbpp/files/料号 5.tgz"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite) && file.seek(50) && file.write("damage") == 6);
    file.close();
    const AdminOutcome outcome = migrate();
    QCOMPARE(outcome.code, ExitCode::Corrupt);
    QVERIFY2(outcome.err.contains(QString::fromUtf8("料号 5.tgz")), qPrintable(outcome.err));
    // No row went before its file.
    QCOMPARE(readSite(to()).rowCount(), 0);
}

void AdminMigrateTest::jobThatComesMeanwhileIsCopied()
{
    fillSite(from(), jobs);
    bool added = false;
    const auto outcome = migrateWatched([&](const MigrationProgress& progress) {
        if (!added && progress.phase == MigrationProgress::Phase::Files && progress.files > 3) {
            added = true;
            fillSite(from(), 4, jobs + 1);
        }
    });
    QVERIFY2(outcome.ok(), qPrintable(outcome.message()));
    QVERIFY(added);
    QCOMPARE(outcome->copiedFiles.files, qint64(filesOf(jobs + 4)));
    QCOMPARE(difference(readSite(from()), readSite(to())), QString());
}

void AdminMigrateTest::rowThatComesMeanwhileIsTold()
{
    fillSite(from(), jobs);
    int added = 0;
    const MigrationObserver addJob = [&](const MigrationProgress& progress) {
        if (added == 0 && progress.phase == MigrationProgress::Phase::Rows)
            fillSite(from(), added = 4, jobs + 1);
    };
    const auto outcome = migrateWatched(addJob);
    QCOMPARE(outcome.code(), ErrorCode::ChangedWhileRead);
    QVERIFY2(outcome.message().contains(text("run again")), qPrintable(outcome.message()));
    // What was copied is whole: every row's file is there.
    const SiteContent target = readSite(to());
    QCOMPARE(target.files.size(), filesOf(jobs));
    QCOMPARE(target.tables[text("pre_file")].size(), jobs);
    QCOMPARE(migrate().code, ExitCode::Success);
    QCOMPARE(difference(readSite(from()), readSite(to())), QString());
}

void AdminMigrateTest::fileThatComesMeanwhileIsTold()
{
    fillSite(from(), jobs);
    bool added = false;
    const auto outcome = migrateWatched([&](const MigrationProgress& progress) {
        if (!added && progress.phase == MigrationProgress::Phase::Verifying) {
            added = true;
            store(from(), "extra", "new");
        }
    });
    QCOMPARE(outcome.code(), ErrorCode::ChangedWhileRead);
    QVERIFY2(outcome.message().contains(text("\"extra\" is new")), qPrintable(outcome.message()));
    QCOMPARE(migrate().code, ExitCode::Success);
}

void AdminMigrateTest::oneMigrationAtATime()
{
    fillSite(from(), 2);
    QCOMPARE(migrate().code, ExitCode::Success);
    const auto lock = FileLock::acquire(QFile::encodeName(targetData("upload/migrate/lock")).toStdString());
    QVERIFY(lock.ok());
    const AdminOutcome outcome = migrate();
    QCOMPARE(outcome.code, ExitCode::Unavailable);
    QVERIFY2(outcome.err.contains(text("another migration is running")), qPrintable(outcome.err));
}

void AdminMigrateTest::leftoversAreRemoved()
{
    fillSite(from(), 2);
    QVERIFY(QDir().mkpath(targetData("upload/migrate")));
    write(targetData("upload/migrate/file-3"), "half a file");
    write(targetData("upload/migrate/.kozav-tmp-0123"), "half a file");
    write(targetData("upload/import.zip"), "not ours");
    QCOMPARE(migrate().code, ExitCode::Success);
    QCOMPARE(QDir(targetData("upload/migrate")).entryList(QDir::Files | QDir::Hidden),
             QStringList({text("lock")}));
    QVERIFY(QFileInfo::exists(targetData("upload/import.zip")));
}

void AdminMigrateTest::progressGoesToStandardError()
{
    fillSite(from(), jobs);
    const AdminOutcome outcome = migrate();
    QCOMPARE(outcome.code, ExitCode::Success);
    for (const char* piece : {"stored files: 100%, 13 of 13 files", "rows: 100%", "verifying: 100%"})
        QVERIFY2(outcome.err.contains(text(piece)), qPrintable(outcome.err));
    QVERIFY(!outcome.err.contains(text("\r")));
    QVERIFY(outcome.out.contains(text("verified: the target holds every row and every stored file")));
    QVERIFY(!outcome.out.contains(text("rows: ")));
    QCOMPARE(migrate({text("--json")}).err, QString());
}

void AdminMigrateTest::misuseIsNamed_data()
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

void AdminMigrateTest::misuseIsNamed()
{
    QFETCH(const QStringList, arguments);
    QFETCH(const QString, message);
    QFETCH(const int, code);
    const AdminOutcome outcome = m_source->run(arguments);
    QCOMPARE(static_cast<int>(outcome.code), code);
    QVERIFY2(outcome.err.contains(message), qPrintable(outcome.err));
}

QTEST_GUILESS_MAIN(AdminMigrateTest)
#include "adminMigrate.moc"
