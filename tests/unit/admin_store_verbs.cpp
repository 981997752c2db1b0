// The verbs about the quarantine and about staged copies, on each kind of site.

#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/records/SiteEvents.h"
#include "backend/store/DocumentStore.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobCompressBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"
#include "services/common/Common.h"
#include "tests/support/AdminSession.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QTest>

#include <sys/stat.h>

#include <algorithm>

using namespace KOZAV;
using namespace KOZAV::Test;
using namespace KOZAV::DataLib;
using Admin::ExitCode;
using Backend::DocumentStore;
using Backend::ErrorCode;
using Backend::Site;

namespace {

DocumentStore& store()
{
    return *Site::current().documentStore().value();
}

Backend::StoreLocation location()
{
    return storeLocation(Site::current().settings()->documentStore);
}

/// What happened in the quarantine, newest first.
std::vector<Backend::SiteEvent> events()
{
    auto found = Backend::listEvents(*Site::current().database().value()).value();
    found.erase(std::remove_if(found.begin(), found.end(),
                               [](const auto& event) { return event.kind == Backend::eventKind::jobVoided; }),
                found.end());
    return found;
}

QByteArray contentOfJob(int number)
{
    return randomBytes(5000, static_cast<quint32>(number));
}

// The server of the stored files stays for all tests, and looks for names on all its sites.
int testNumber = 0;

std::string storedName(int number)
{
    return "stored-" + std::to_string(testNumber) + '-' + std::to_string(number) + ".tgz";
}

QString storedText(int number)
{
    return QString::fromStdString(storedName(number));
}

/// The file of that name among those that a verb tells of.
QJsonObject named(const QString& name, const QJsonArray& files)
{
    for (const QJsonValue& file : files)
        if (file[QStringLiteral("name")].toString() == name)
            return file.toObject();
    return {};
}

} // namespace

class AdminStoreVerbsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup() { m_site.reset(); }

    void quarantineIsListed();
    void filesComeBack();
    void nothingComesBackWhereANameIsUnknown();
    void aFailureTellsWhatWasDone();
    void purgeNeedsYes();
    void purgeTakesWhatIsOldEnough();
    void storedFilesAreNeverPurged();
    void everyFileStoreIsLookedAt();
    void mistakesAreNamed_data();
    void mistakesAreNamed();

    void stagedCopiesAreForThisUserAlone();
    void onlyStagedCopiesAreMadePrivate();
    void sweepRemovesCopiesOfVerifiedFiles();
    void sweepTakesOldCopiesOnly();
    void sweepOnlyTells();
    void sweepKeeps_data();
    void sweepKeeps();
    void sweepTellsOfDamage();
    void sweepLeavesOtherThingsAlone();

private:
    [[nodiscard]] AdminOutcome run(const QString& line) const;
    [[nodiscard]] QJsonArray listed(const char* what) const;
    [[nodiscard]] QString cache() const;
    [[nodiscard]] QString staged(int number) const;
    void stage(int number) const;
    void age(const QString& path, int days) const;
    void importJob(int number, bool complete = true, const std::string& fileStore = {}) const;
    void quarantine(int number) const;

    std::unique_ptr<FreshSite> m_site;
};

void AdminStoreVerbsTest::init()
{
    ++testNumber;
    m_site = std::make_unique<FreshSite>();
    m_site->addCompany(text("AB"), text("Acme"));
}

AdminOutcome AdminStoreVerbsTest::run(const QString& line) const
{
    return runAdmin(m_site->configuration(), line.split(QLatin1Char(' ')));
}

/// The files that a verb tells of.
QJsonArray AdminStoreVerbsTest::listed(const char* what) const
{
    return run(text("--json ") + text(what)).json().value(text("files")).toArray();
}

QString AdminStoreVerbsTest::cache() const
{
    return Site::current().settings()->uploadCache;
}

QString AdminStoreVerbsTest::staged(int number) const
{
    return cache() + storedText(number);
}

void AdminStoreVerbsTest::age(const QString& path, int days) const
{
    QFile file(path);
    const QDateTime time = QDateTime::currentDateTimeUtc().addDays(-days);
    if (!file.open(QIODevice::ReadWrite) || !file.setFileTime(time, QFile::FileModificationTime))
        qFatal("cannot set the time of %s", qPrintable(path));
}

/// A copy of the job's archive in the upload cache, ten days old, as a panel makes it: readable by everybody.
void AdminStoreVerbsTest::stage(int number) const
{
    writeFile(local(staged(number)), contentOfJob(number));
    QFile::setPermissions(staged(number), QFile::Permissions(0x6644));
    age(staged(number), 10);
}

/// Imports an archive as the panel does: staged, stored, and its rows written.
void AdminStoreVerbsTest::importJob(int number, bool complete, const std::string& fileStore) const
{
    stage(number);
    const auto config = Common::commonInterface()->getConfig();
    const std::string place = fileStore.empty() ? config.mongoFsName : fileStore;
    for (const std::string& each : {config.mongoFsName, place})
        QCOMPARE(Common::MongodbPut(config.mongoDbName, each, local(staged(number)), storedName(number)), 0);
    const std::string guid = Common::commonInterface()->getGUID();
    const std::string job = text("AB%1").arg(number, 6, 10, QLatin1Char('0')).toStdString();
    std::string label = "Acme";
    QVERIFY(BLL::Odbpp_CompanyBll().inputCompanies(label, 1, number));
    QVERIFY(BLL::Odbpp_OrigFilesBll().inputOrigFile(guid, "board", storedName(number), "tgz", "AB", 0, 1));
    BLL::Odbpp_JobFlowBll flows;
    const std::string key = flows.insertflowbeforeorigfile("board", 1, "F1", job);
    QVERIFY(flows.UpdateOrigFileGuid(guid, key));
    if (complete)
        QVERIFY(BLL::Odbpp_JobCompressBll().inputJobCompress(
            "Acme", "AB", m_site->company(text("AB")).companyId, "board", key, storedName(number), "tgz", "",
            place, 1, number));
    // A file store of its own is one of an earlier configuration.
    if (!fileStore.empty())
        QVERIFY(store().remove(location(), storedName(number)).ok());
}

/// Takes the job back: its file goes into the quarantine.
void AdminStoreVerbsTest::quarantine(int number) const
{
    const AdminOutcome done =
        run(text("job void AB%1 --reason mistake --yes").arg(number, 6, 10, QLatin1Char('0')));
    QCOMPARE(done.err, QString());
}

void AdminStoreVerbsTest::quarantineIsListed()
{
    QVERIFY(listed("quarantine list").isEmpty());
    importJob(1);
    importJob(2);
    writeFile(local(m_site->path(text("orphan"))), "orphan");
    QVERIFY(store().put(location(), "orphan.zip", local(m_site->path(text("orphan")))).ok());
    quarantine(2);
    QVERIFY(store().quarantine(location(), "orphan.zip").ok());
    const QJsonArray files = listed("quarantine list");
    QCOMPARE(files.size(), 2);
    const QJsonObject first = named(storedText(2), files);
    QCOMPARE(first.value(text("bytes")).toInt(), 5000);
    QCOMPARE(first.value(text("job")).toString(), text("AB000002"));
    QVERIFY(!first.value(text("flow_guid")).toString().isEmpty());
    QCOMPARE(first.value(text("sha256")).toString().size(), 64);
    const QJsonObject orphan = named(text("orphan.zip"), files);
    QCOMPARE(orphan.value(text("bytes")).toInt(), 6);
    QCOMPARE(orphan.value(text("job")).toString(), QString());
    const AdminOutcome shown = run(text("quarantine list"));
    QCOMPARE(shown.code, ExitCode::Success);
    QVERIFY2(shown.out.contains(text("AB000002")) && shown.out.contains(text("orphan.zip")),
             qPrintable(shown.out));
}

void AdminStoreVerbsTest::filesComeBack()
{
    importJob(1);
    importJob(2);
    quarantine(1);
    quarantine(2);
    const AdminOutcome done = run(text("--json quarantine restore %1 %1").arg(storedText(1)));
    QCOMPARE(done.err, QString());
    QCOMPARE(done.code, ExitCode::Success);
    QCOMPARE(done.json().value(text("files")).toArray().size(), 1);
    QCOMPARE(m_site->storedNames(), QStringList(storedText(1)));
    QCOMPARE(listed("quarantine list").size(), 1);
    const auto noted = events();
    QCOMPARE(noted.size(), size_t{1});
    QCOMPARE(noted.front().kind, text("restore"));
    QCOMPARE(noted.front().subject, storedText(1));
    QVERIFY(!noted.front().flowGuid.isEmpty());
    QVERIFY(!noted.front().userName.isEmpty());
    QVERIFY(run(text("job show AB000001")).out.contains(text("restore")));
}

void AdminStoreVerbsTest::nothingComesBackWhereANameIsUnknown()
{
    importJob(1);
    quarantine(1);
    const AdminOutcome refused = run(text("quarantine restore %1 other.zip").arg(storedText(1)));
    QCOMPARE(refused.code, ExitCode::NotFound);
    QVERIFY2(refused.err.contains(text("other.zip")), qPrintable(refused.err));
    QVERIFY(m_site->storedNames().isEmpty());
    QVERIFY(events().empty());
}

void AdminStoreVerbsTest::aFailureTellsWhatWasDone()
{
    importJob(1);
    importJob(2);
    quarantine(1);
    quarantine(2);
    QVERIFY(store().put(location(), storedName(2), local(staged(1))).ok());
    const AdminOutcome done = run(text("--json quarantine restore %1 %2").arg(storedText(1), storedText(2)));
    QCOMPARE(done.code, ExitCode::AlreadyExists);
    QCOMPARE(done.json().value(text("files")).toArray().size(), 1);
    QVERIFY2(done.err.contains(storedText(2)), qPrintable(done.err));
    QCOMPARE(events().size(), size_t{1});
}

void AdminStoreVerbsTest::purgeNeedsYes()
{
    importJob(1);
    quarantine(1);
    const AdminOutcome asked = run(text("quarantine purge --older-than 0"));
    QCOMPARE(asked.code, ExitCode::Usage);
    QVERIFY2(asked.out.contains(storedText(1)), qPrintable(asked.out));
    QVERIFY2(asked.err.contains(text("--yes")), qPrintable(asked.err));
    QCOMPARE(listed("quarantine list").size(), 1);
    QVERIFY(events().empty());

    const AdminOutcome done = run(text("quarantine purge --older-than 0 --yes"));
    QCOMPARE(done.err, QString());
    QCOMPARE(done.code, ExitCode::Success);
    QVERIFY(listed("quarantine list").isEmpty());
    const auto noted = events();
    QCOMPARE(noted.size(), size_t{1});
    QCOMPARE(noted.front().kind, text("purge"));
    QCOMPARE(noted.front().detail.value(text("bytes")).toInt(), 5000);
    QCOMPARE(run(text("quarantine restore ") + storedText(1)).code, ExitCode::NotFound);
}

void AdminStoreVerbsTest::purgeTakesWhatIsOldEnough()
{
    importJob(1);
    quarantine(1);
    const AdminOutcome done = run(text("--json quarantine purge --older-than 1 --yes"));
    QCOMPARE(done.code, ExitCode::Success);
    QVERIFY(done.json().value(text("files")).toArray().isEmpty());
    QCOMPARE(done.json().value(text("dry_run")).toBool(true), false);
    QCOMPARE(listed("quarantine list").size(), 1);
    QVERIFY(events().empty());
}

void AdminStoreVerbsTest::storedFilesAreNeverPurged()
{
    importJob(1);
    importJob(2);
    quarantine(2);
    QVERIFY(store().put(location(), storedName(2), local(staged(1))).ok());
    QCOMPARE(run(text("quarantine purge --older-than 0 --yes")).code, ExitCode::Success);
    QCOMPARE(m_site->storedNames(), QStringList({storedText(1), storedText(2)}));
    const std::string fetched = local(m_site->path(text("fetched")));
    QVERIFY(store().get(location(), storedName(2), fetched).ok());
    QVERIFY(readFile(fetched) == contentOfJob(1));
}

void AdminStoreVerbsTest::everyFileStoreIsLookedAt()
{
    importJob(1);
    importJob(2, true, "earlier");
    const auto elsewhere = storeLocation(Site::current().settings()->documentStore, "earlier");
    quarantine(1);
    quarantine(2);
    QVERIFY(!store().find(elsewhere, storedName(2)).ok());
    const QJsonArray files = listed("quarantine list");
    QCOMPARE(files.size(), 2);
    QCOMPARE(named(storedText(2), files).value(text("file_store")).toString(), text("earlier"));
    QCOMPARE(run(text("quarantine restore ") + storedText(2)).err, QString());
    QVERIFY(store().find(elsewhere, storedName(2)).ok());
}

void AdminStoreVerbsTest::mistakesAreNamed_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("named");
    const auto row = [](const char* line, const char* named) {
        QTest::newRow(line) << QString::fromLatin1(line) << QString::fromLatin1(named);
    };
    row("quarantine restore", "NAME");
    row("quarantine purge --yes", "--older-than");
    row("quarantine purge --older-than soon --yes", "soon");
    row("quarantine purge --older-than -1 --yes", "-1");
    row("quarantine purge stored.zip --older-than 1", "stored.zip");
    row("quarantine list all", "all");
    row("sweep --older-than week", "week");
    row("sweep now", "now");
}

void AdminStoreVerbsTest::mistakesAreNamed()
{
    QFETCH(const QString, line);
    QFETCH(const QString, named);
    const AdminOutcome refused = run(line);
    QCOMPARE(refused.code, ExitCode::Usage);
    QVERIFY2(refused.err.contains(named), qPrintable(refused.err));
}

void AdminStoreVerbsTest::stagedCopiesAreForThisUserAlone()
{
    importJob(1);
    struct stat data = {};
    QCOMPARE(::stat(local(staged(1)).c_str(), &data), 0);
    QCOMPARE(data.st_mode & 07777U, 0600U);
    QCOMPARE(::stat(local(cache()).c_str(), &data), 0);
    QCOMPARE(data.st_mode & 07777U, 0700U);
}

void AdminStoreVerbsTest::onlyStagedCopiesAreMadePrivate()
{
    const auto config = Common::commonInterface()->getConfig();
    const QString source = m_site->path(text("source"));
    writeFile(local(source), "content");
    QVERIFY(QFile::setPermissions(source, QFile::Permissions(0x6644)));
    // Also not by way of a link in the cache.
    const QString link = cache() + text("link");
    QVERIFY(QFile::link(source, link));
    QCOMPARE(Common::MongodbPut(config.mongoDbName, config.mongoFsName, local(source), "a"), 0);
    (void)Common::MongodbPut(config.mongoDbName, config.mongoFsName, local(link), "b");
    struct stat data = {};
    QCOMPARE(::stat(local(source).c_str(), &data), 0);
    QCOMPARE(data.st_mode & 07777U, 0644U);
}

void AdminStoreVerbsTest::sweepRemovesCopiesOfVerifiedFiles()
{
    importJob(1);
    importJob(2, true, "earlier");
    const AdminOutcome done = run(text("--json sweep"));
    QCOMPARE(done.err, QString());
    QCOMPARE(done.code, ExitCode::Success);
    QCOMPARE(done.json().value(text("removed")).toInt(), 2);
    QCOMPARE(done.json().value(text("removed_bytes")).toInt(), 10000);
    QVERIFY(!QFile::exists(staged(1)));
    QVERIFY(!QFile::exists(staged(2)));
    QVERIFY(store().find(location(), storedName(1)).ok());
    QVERIFY(run(text("sweep")).out.contains(text("0 removed")));
}

void AdminStoreVerbsTest::sweepTakesOldCopiesOnly()
{
    importJob(1);
    importJob(2);
    importJob(3);
    age(staged(1), 8);
    age(staged(2), 6);
    age(staged(3), 0);
    QCOMPARE(run(text("--json sweep")).json().value(text("younger")).toInt(), 2);
    QVERIFY(!QFile::exists(staged(1)));
    QVERIFY(QFile::exists(staged(2)));
    QCOMPARE(run(text("sweep --older-than 5")).code, ExitCode::Success);
    QVERIFY(!QFile::exists(staged(2)));
    QVERIFY(QFile::exists(staged(3)));
}

void AdminStoreVerbsTest::sweepOnlyTells()
{
    importJob(1);
    const AdminOutcome told = run(text("sweep --dry-run"));
    QCOMPARE(told.code, ExitCode::Success);
    QVERIFY2(told.out.contains(text("would be removed")), qPrintable(told.out));
    QVERIFY(QFile::exists(staged(1)));
}

void AdminStoreVerbsTest::sweepKeeps_data()
{
    QTest::addColumn<QString>("outcome");
    QTest::newRow("half import") << text("import-not-complete");
    QTest::newRow("no row") << text("no-job");
    QTest::newRow("file gone") << text("not-stored");
    QTest::newRow("file in quarantine") << text("not-stored");
    QTest::newRow("other content") << text("differs");
    QTest::newRow("other length") << text("differs");
}

void AdminStoreVerbsTest::sweepKeeps()
{
    QFETCH(const QString, outcome);
    const QByteArray how = QTest::currentDataTag();
    if (how == "no row")
        stage(1);
    else
        importJob(1, how != "half import");
    // A site that lacks many files is not opened.
    for (int other = 2; how.startsWith("file") && other <= 12; ++other)
        importJob(other);
    QByteArray content = contentOfJob(1);
    if (how == "file gone")
        QVERIFY(store().remove(location(), storedName(1)).ok());
    else if (how == "file in quarantine")
        QVERIFY(store().quarantine(location(), storedName(1)).ok());
    else if (how == "other length")
        content.chop(1);
    else if (how == "other content")
        content[17] = static_cast<char>(content.at(17) ^ 1);
    writeFile(local(staged(1)), content);
    age(staged(1), 10);
    const AdminOutcome done = run(text("--json sweep"));
    QCOMPARE(done.code, ExitCode::Success);
    const QJsonArray files = done.json().value(text("files")).toArray();
    QCOMPARE(named(storedText(1), files).value(text("outcome")).toString(), outcome);
    QVERIFY(readFile(local(staged(1))) == content);
}

void AdminStoreVerbsTest::sweepTellsOfDamage()
{
    importJob(1);
    importJob(2);
    if (const QString why = FreshSite::damage(storedText(1)); !why.isEmpty())
        QSKIP(qPrintable(why));
    const AdminOutcome done = run(text("--json sweep"));
    QCOMPARE(done.code, ExitCode::Corrupt);
    QVERIFY2(done.err.contains(storedText(1)), qPrintable(done.err));
    QVERIFY(QFile::exists(staged(1)));
    QVERIFY(!QFile::exists(staged(2)));
}

void AdminStoreVerbsTest::sweepLeavesOtherThingsAlone()
{
    importJob(1);
    QVERIFY(QDir(cache()).mkdir(text("migrate")));
    const QString outside = m_site->path(text("outside"));
    writeFile(local(outside), contentOfJob(1));
    age(outside, 10);
    QVERIFY(QFile::remove(staged(1)));
    QVERIFY(QFile::link(outside, staged(1)));
    for (const char* name : {"lock", ".kozav-tmp-0123456789abcdef", "of somebody else"}) {
        writeFile(local(cache()) + name, "x");
        age(cache() + text(name), 10);
    }
    const QStringList before = namesOf(cache());
    QCOMPARE(run(text("sweep")).code, ExitCode::Success);
    QCOMPARE(namesOf(cache()), before);
    QVERIFY(QFile::exists(outside));
}

ZAV_REGISTER_TEST(admin_store_verbs, AdminStoreVerbsTest, QCoreApplication)

#include "admin_store_verbs.moc"
