#include "backend/Site.h"
#include "backend/config/Settings.h"
#include "tests/support/FreshSite.h"
#include "tests/support/SiteContent.h"
#include "tests/support/SitePair.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
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
    void filesAloneMayMove();
    void damagedSourceFileIsNamed();
    void fileInAnothersPlaceIsNamed_data();
    void fileInAnothersPlaceIsNamed();

private:
    std::unique_ptr<SitePair> m_sites;
};

namespace {

constexpr int jobs = 11;

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

void AdminMigrateTest::init()
{
    m_sites = std::make_unique<SitePair>();
}

void AdminMigrateTest::copiesTheWholeSite()
{
    fillSite(m_sites->from(), jobs);
    const SiteContent before = readSite(m_sites->from());
    QCOMPARE(before.files.size(), filesOf(jobs));
    const AdminOutcome outcome = m_sites->migrate({text("--json")});
    QCOMPARE(outcome.err, QString());
    QCOMPARE(outcome.code, ExitCode::Success);
    QCOMPARE(difference(before, readSite(m_sites->to())), QString());
    QCOMPARE(difference(before, readSite(m_sites->from())), QString());
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
    fillSite(m_sites->from(), jobs);
    QCOMPARE(m_sites->migrate().code, ExitCode::Success);
    const AdminOutcome again = m_sites->migrate({text("--json")});
    QCOMPARE(again.code, ExitCode::Success);
    QVERIFY(again.json()[text("verified")].toBool());
    QCOMPARE(count(again, "copied"), 0);
    QCOMPARE(sum(again, "copied"), 0);
    QCOMPARE(sum(again, "rows"), readSite(m_sites->from()).rowCount());
}

void AdminMigrateTest::laterRunBringsWhatIsNew()
{
    fillSite(m_sites->from(), jobs);
    QCOMPARE(m_sites->migrate().code, ExitCode::Success);
    fillSite(m_sites->from(), 10, jobs + 1);
    const AdminOutcome later = m_sites->migrate({text("--json")});
    QCOMPARE(later.err, QString());
    QCOMPARE(count(later, "copied"), filesOf(jobs + 10) - filesOf(jobs));
    QCOMPARE(difference(readSite(m_sites->from()), readSite(m_sites->to())), QString());
}

void AdminMigrateTest::manyRowsGoInSeveralTransactions()
{
    constexpr int companies = 2000;
    QCOMPARE(changeRows(m_sites->from(),
                        "INSERT INTO company (code, name, created_time, updated_time)"
                        " WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 2000)"
                        " SELECT 'C' || i, 'N' || i, '', '' FROM n"),
             companies);
    // Numbers with holes, as they are where imports were refused.
    const int holes = changeRows(m_sites->from(), "DELETE FROM company WHERE id % 7 = 3");
    QVERIFY(m_sites->migrate().code == ExitCode::Success);
    // An interruption can leave any beginning of a table; holes that no interruption leaves are filled too.
    QVERIFY(changeRows(m_sites->to(), "DELETE FROM company WHERE id > 700 OR id % 2 = 0") > 1000);
    const AdminOutcome outcome = m_sites->migrate({text("--json")});
    QCOMPARE(outcome.code, ExitCode::Success);
    QCOMPARE(sum(outcome, "rows"), companies - holes);
    QCOMPARE(difference(readSite(m_sites->from()), readSite(m_sites->to())), QString());
}

void AdminMigrateTest::numbersContinueBehindTheHighest()
{
    fillSite(m_sites->from(), jobs);
    QCOMPARE(m_sites->migrate().code, ExitCode::Success);
    const QStringList add = {text("--json"), text("company"), text("add"), text("--code=NEW"),
                             text("--name=New")};
    const AdminOutcome atSource = m_sites->source.run(add);
    const AdminOutcome atTarget = m_sites->target.run(add);
    const QString company = text("company");
    const int number = atTarget.json()[company].toObject()[text("id")].toInt();
    QCOMPARE(number, readSite(m_sites->from()).tables[company].size());
    QCOMPARE(number, atSource.json()[company].toObject()[text("id")].toInt());
}

void AdminMigrateTest::theWayBackIsTheSame()
{
    fillSite(m_sites->from(), jobs);
    QCOMPARE(m_sites->migrate().code, ExitCode::Success);
    fillSite(m_sites->to(), 4, jobs + 1);
    const AdminOutcome back =
        m_sites->target.run({text("--json"), text("migrate"), text("--to"), m_sites->from()});
    QCOMPARE(back.err, QString());
    QCOMPARE(count(back, "copied"), filesOf(jobs + 4) - filesOf(jobs));
    QCOMPARE(difference(readSite(m_sites->to()), readSite(m_sites->from())), QString());
    QCOMPARE(readSite(m_sites->from()).files.size(), filesOf(jobs + 4));
}

void AdminMigrateTest::dryRunChangesNothing()
{
    fillSite(m_sites->from(), jobs);
    const SiteContent before = readSite(m_sites->to());
    const AdminOutcome outcome = m_sites->migrate({text("--dry-run"), text("--json")});
    QCOMPARE(outcome.code, ExitCode::Success);
    QVERIFY(outcome.json()[text("dry_run")].toBool());
    QVERIFY(!outcome.json()[text("verified")].toBool());
    QCOMPARE(count(outcome, "copied"), filesOf(jobs));
    QVERIFY(count(outcome, "copied_bytes") > 700'000);
    QCOMPARE(sum(outcome, "copied"), readSite(m_sites->from()).rowCount());
    QCOMPARE(difference(before, readSite(m_sites->to())), QString());
    QVERIFY(!QFileInfo::exists(m_sites->targetData("upload/migrate")));
    QVERIFY(m_sites->migrate({text("--dry-run")}).out.contains(text("nothing was changed")));
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
    fillSite(m_sites->from(), 2);
    QString other = m_sites->to();
    if (key.isEmpty()) {
        // Another file that leads to the same places, over a link.
        other = m_sites->target.file().inFolder(text("same.ini"));
        QVERIFY(QFile::copy(m_sites->from(), other));
        const QString link = m_sites->target.file().inFolder(text("link"));
        QVERIFY(QFile::link(m_sites->source.file().inFolder(text("data")), link));
        QVERIFY(writeSetting(other, text("database/file"), link + text("/site.db")).ok());
    } else {
        QVERIFY(writeSetting(other, key, value).ok());
    }
    const AdminOutcome outcome = m_sites->source.run({text("migrate"), text("--to"), other});
    QCOMPARE(outcome.code, ExitCode::Configuration);
    QCOMPARE(outcome.out, QString());
    QVERIFY2(outcome.err.contains(message), qPrintable(outcome.err));
    QVERIFY(!QFileInfo::exists(m_sites->target.file().inFolder(text("absent.db"))));
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
    fillSite(m_sites->from(), jobs);
    QCOMPARE(m_sites->migrate().code, ExitCode::Success);
    if (change.isEmpty())
        storeFile(m_sites->to(), "extra", "mine");
    else
        QCOMPARE(changeRows(m_sites->to(), change.constData()), 1);
    const SiteContent before = readSite(m_sites->to());
    storeFile(m_sites->from(), "extra", "yours");
    fillSite(m_sites->from(), 3, jobs + 1);

    const AdminOutcome outcome = m_sites->migrate();
    QCOMPARE(outcome.code, ExitCode::AlreadyExists);
    QVERIFY2(outcome.err.contains(message), qPrintable(outcome.err));
    QCOMPARE(difference(before, readSite(m_sites->to())), QString());
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
    fillSite(m_sites->from(), jobs);
    QCOMPARE(m_sites->migrate().code, ExitCode::Success);
    QCOMPARE(changeRows(m_sites->from(), change.constData()), 1);
    const SiteContent before = readSite(m_sites->to());
    const AdminOutcome refused = m_sites->migrate();
    QCOMPARE(refused.code, ExitCode::AlreadyExists);
    QVERIFY2(refused.err.contains(text("--update")), qPrintable(refused.err));
    QCOMPARE(difference(before, readSite(m_sites->to())), QString());

    const AdminOutcome looked = m_sites->migrate({text("--update"), text("--dry-run"), text("--json")});
    QCOMPARE(sum(looked, "updated"), 1);
    QCOMPARE(difference(before, readSite(m_sites->to())), QString());
    const AdminOutcome updated = m_sites->migrate({text("--update"), text("--json")});
    QCOMPARE(updated.err, QString());
    QCOMPARE(sum(updated, "updated"), 1);
    QCOMPARE(sum(updated, "copied"), 0);
    QCOMPARE(difference(readSite(m_sites->from()), readSite(m_sites->to())), QString());
}

void AdminMigrateTest::updateDoesNotTakeAnotherRow()
{
    fillSite(m_sites->from(), jobs);
    QCOMPARE(m_sites->migrate().code, ExitCode::Success);
    QCOMPARE(changeRows(m_sites->to(), "UPDATE pre_file SET created_time = 'earlier' WHERE id = 2"), 1);
    QCOMPARE(changeRows(m_sites->from(), "UPDATE company SET job_count = 99 WHERE id = 1"), 1);
    const SiteContent before = readSite(m_sites->to());
    const AdminOutcome outcome = m_sites->migrate({text("--update")});
    QCOMPARE(outcome.code, ExitCode::AlreadyExists);
    QVERIFY2(outcome.err.contains(text("it is another site's")), qPrintable(outcome.err));
    QCOMPARE(difference(before, readSite(m_sites->to())), QString());
}

void AdminMigrateTest::updateBringsLinksThatWereCut()
{
    fillSite(m_sites->from(), jobs);
    QCOMPARE(m_sites->migrate().code, ExitCode::Success);
    // As an interruption between the rows and their links leaves them; that needs no --update.
    QCOMPARE(changeRows(m_sites->to(), "UPDATE orig_file SET flow_guid = NULL WHERE flow_guid IS NOT NULL"),
             2);
    QCOMPARE(m_sites->migrate().code, ExitCode::Success);
    QCOMPARE(difference(readSite(m_sites->from()), readSite(m_sites->to())), QString());
}

void AdminMigrateTest::rowsAloneMayMove()
{
    fillSite(m_sites->from(), jobs);
    const Settings source = loadSettings(m_sites->from()).value();
    const Settings target = loadSettings(m_sites->to()).value();
    QVERIFY(QFile::remove(m_sites->to()) && QFile::remove(target.database.file));
    QVERIFY(createDefaultSettings(m_sites->to(), m_sites->target.file().inFolder(text("data"))).ok());
    QVERIFY(writeSetting(m_sites->to(), text("document_store/root"), source.documentStore.root).ok());
    const AdminOutcome unasked = m_sites->target.run({text("init")});
    QCOMPARE(unasked.code, ExitCode::Configuration);
    QVERIFY2(unasked.err.contains(text("has no rows, but the document store")), qPrintable(unasked.err));
    QCOMPARE(m_sites->target.run({text("init"), text("--for-migrate")}).err, QString());
    QCOMPARE(loadSettings(m_sites->to())->siteId, source.siteId);
    const AdminOutcome outcome = m_sites->migrate({text("--json")});
    QCOMPARE(outcome.err, QString());
    QCOMPARE(count(outcome, "copied"), 0);
    QCOMPARE(sum(outcome, "copied"), readSite(m_sites->from()).rowCount());
    QCOMPARE(difference(readSite(m_sites->from()), readSite(m_sites->to())), QString());
}

void AdminMigrateTest::filesAloneMayMove()
{
    fillSite(m_sites->from(), jobs);
    const Settings source = loadSettings(m_sites->from()).value();
    const Settings target = loadSettings(m_sites->to()).value();
    QVERIFY(QFile::remove(m_sites->to()) && QDir(target.documentStore.root).removeRecursively());
    QVERIFY(createDefaultSettings(m_sites->to(), m_sites->target.file().inFolder(text("data"))).ok());
    QVERIFY(writeSetting(m_sites->to(), text("database/file"), source.database.file).ok());
    const AdminOutcome unasked = m_sites->target.run({text("init")});
    QCOMPARE(unasked.code, ExitCode::Configuration);
    QVERIFY2(unasked.err.contains(text("has no files, but the database")), qPrintable(unasked.err));
    QVERIFY(!QFileInfo::exists(target.documentStore.root));
    QCOMPARE(m_sites->target.run({text("init"), text("--for-migrate")}).err, QString());
    QCOMPARE(m_sites->migrate({text("--json")}).err, QString());
    QCOMPARE(difference(readSite(m_sites->from()), readSite(m_sites->to())), QString());
    QCOMPARE(m_sites->target.run({text("jobs")}).err, QString());
}

void AdminMigrateTest::damagedSourceFileIsNamed()
{
    fillSite(m_sites->from(), jobs);
    const QString path =
        m_sites->source.file().inFolder(QString::fromUtf8("data/store/zav_import/odbpp/files/料号 5.tgz"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite) && file.seek(50) && file.write("damage") == 6);
    file.close();
    const AdminOutcome outcome = m_sites->migrate();
    QCOMPARE(outcome.code, ExitCode::Corrupt);
    QVERIFY2(outcome.err.contains(QString::fromUtf8("料号 5.tgz")), qPrintable(outcome.err));
    // No row went before its file.
    QCOMPARE(readSite(m_sites->to()).rowCount(), 0);
}

void AdminMigrateTest::fileInAnothersPlaceIsNamed_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::newRow("looked at") << QStringList(text("--dry-run"));
    QTest::newRow("copied") << QStringList();
}

void AdminMigrateTest::fileInAnothersPlaceIsNamed()
{
    QFETCH(const QStringList, options);
    QCOMPARE(m_sites->source.run({text("company"), text("add"), text("--code=AB"), text("--name=Acme")}).err,
             QString());
    Site::current().setConfigurationPath(m_sites->from());
    for (const char* name : {"one", "two", "three"})
        m_sites->source.importJob("AB", name, QByteArray("content of ") + name, 1);
    Site::current().close();
    swapStoredFiles(m_sites->from(), text("AB000001.tgz"), text("AB000002.tgz"));
    const AdminOutcome outcome = m_sites->migrate(options);
    QCOMPARE(outcome.code, ExitCode::Corrupt);
    for (const char* told : {"\"AB000001.tgz\"", "\"AB000001\""})
        QVERIFY2(outcome.err.contains(text(told)), qPrintable(outcome.err));
    QVERIFY(readSite(m_sites->to()).files.isEmpty());
    swapStoredFiles(m_sites->from(), text("AB000001.tgz"), text("AB000002.tgz"));
    QCOMPARE(m_sites->migrate(options).code, ExitCode::Success);
}

ZAV_REGISTER_TEST(admin_migrate, AdminMigrateTest, QCoreApplication)

#include "admin_migrate.moc"
