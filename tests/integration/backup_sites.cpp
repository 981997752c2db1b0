// Sites on every kind of engine are backed up while they are used, lose parts, and come back from the backup.

#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/records/SiteRecords.h"
#include "backend/store/DocumentStore.h"
#include "tests/support/AdminSession.h"
#include "tests/support/BoundProcess.h"
#include "tests/support/MariaDbServer.h"
#include "tests/support/SiteContent.h"
#include "tests/support/SiteEngines.h"
#include "tests/support/SitePair.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QSet>
#include <QTest>

#include <cstdio>
#include <memory>

using namespace KOZAV;
using namespace KOZAV::Backend;
using namespace KOZAV::Test;
using Admin::ExitCode;

class BackupSites final : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void backupIsASiteWithTheSameContent();
    void secondRunCopiesWhatIsNew();
    void restoredElsewhereIsTheSame();
    void restoresOntoTheSameEngines();
    void isWholeWhileAnotherProcessImports();
    void killedBackupsLeaveTheLastOne();
    void killedRestoresAreContinued();
    void missingFileIsToldAndTheRestKept();
    void otherContentIsToldAndNotTaken();
    void quarantinedFilesComeAlong();
    void lostDatabaseComesBackAndNumbersGoOn();
    void lostFilesComeBack();
    void lostStoreComesBack();
    void checkFindsNothingBeyondTheSite();

private:
    [[nodiscard]] AdminOutcome backup(const QStringList& more = {}) const;
    [[nodiscard]] AdminOutcome restore(const AdminSession& to, const QStringList& more = {}) const;
    [[nodiscard]] QString folder() const { return m_session->file().inFolder(text("backup")); }
    [[nodiscard]] QString backedUp() const { return folder() + text("/zav.ini"); }
    [[nodiscard]] QString previous() const { return folder() + text("/previous.ini"); }
    [[nodiscard]] QString site() const { return m_session->file().path(); }
    void removeStored(const char* name) const;

    std::unique_ptr<AdminSession> m_session; ///< a site on the engines of this run
};

namespace {

constexpr int jobs = 23;

const QString dataFolder = QStringLiteral("data");

/// A configuration whose site is not made yet.
std::unique_ptr<AdminSession> placeForASite()
{
    auto session = std::make_unique<AdminSession>();
    const Status made = createDefaultSettings(session->file().path(), session->file().inFolder(dataFolder));
    if (!made.ok())
        qFatal("%s", qPrintable(made.message()));
    SiteEngines::applyTo(session->file().path());
    return session;
}

template <typename T>
T taken(Result<T> result)
{
    if (!result.ok())
        qFatal("%s", qUtf8Printable(result.message()));
    return std::move(result.value());
}

int number(const AdminOutcome& outcome, const char* key)
{
    return outcome.json()[text("files")].toObject()[text(key)].toInt(-1);
}

/// "kind name" of each file that a report tells of as lost.
QStringList lost(const AdminOutcome& outcome)
{
    QStringList list;
    for (const QJsonValue& loss : outcome.json()[text("lost")].toArray())
        list << loss[text("kind")].toString() + QLatin1Char(' ') + loss[text("stored_name")].toString() +
                    (loss[text("kept")].toBool() ? text(" kept") : QString());
    list.sort();
    return list;
}

/// The job counts of all companies, without which two sites may be the same.
QList<int> takeJobCounts(SiteContent& content)
{
    QList<int> counts;
    for (SiteContent::Row& row : content.tables[text("company")]) {
        counts << row.take(text("job_count")).toInt();
        row.remove(text("updated_time"));
    }
    return counts;
}

/// What differs beside job counts that are higher by so many.
QString differenceAfterRestore(SiteContent before, SiteContent after, int raised)
{
    QList<int> expected = takeJobCounts(before);
    for (int& count : expected)
        count += raised;
    if (expected != takeJobCounts(after))
        return text("job counts");
    return difference(before, after);
}

/// Role of another process: imports jobs for the company K0 until a file is there, and tells each.
int importOn(const QStringList& arguments)
{
    Site::current().setConfigurationPath(arguments.at(2));
    const AdminSession session; // for its folder
    for (int job = 0; !QFileInfo::exists(arguments.at(3)); ++job) {
        const QByteArray content = QByteArray("job ") + QByteArray::number(job) + QByteArray(5'000, 'x');
        std::printf("%s\n", session.importJob("K0", "job", content, 0).c_str());
        std::fflush(stdout);
    }
    return 0;
}

} // namespace

void BackupSites::initTestCase()
{
    if (const QString problem = SiteEngines::problem(); !problem.isEmpty())
        QSKIP(qPrintable(problem));
}

void BackupSites::init()
{
    m_session = placeForASite();
    QCOMPARE(m_session->run({text("init")}).err, QString());
    fillSite(site(), jobs);
}

AdminOutcome BackupSites::backup(const QStringList& more) const
{
    return m_session->run(QStringList({text("backup"), folder(), text("--json")}) + more);
}

AdminOutcome BackupSites::restore(const AdminSession& to, const QStringList& more) const
{
    return to.run(QStringList({text("restore"), folder(), text("--raise-counters=7"), text("--json")}) +
                  more);
}

void BackupSites::removeStored(const char* name) const
{
    const Settings settings = taken(loadSettings(site()));
    const auto store = taken(openDocumentStore(settings.documentStore));
    QVERIFY(store->remove(storeLocation(settings.documentStore), name).ok());
}

void BackupSites::backupIsASiteWithTheSameContent()
{
    const SiteContent content = readSite(site());
    const AdminOutcome made = backup();
    QCOMPARE(made.err, QString());
    QCOMPARE(made.code, ExitCode::Success);
    QCOMPARE(number(made, "files"), filesOf(jobs));
    QCOMPARE(number(made, "copied"), filesOf(jobs));
    QCOMPARE(lost(made), QStringList());
    QCOMPARE(difference(content, readSite(backedUp())), QString());
    QCOMPARE(difference(content, readSite(site())), QString());

    // The programs work on it as on any site.
    const AdminOutcome listed = m_session->run({text("jobs"), text("--json")});
    const AdminOutcome inBackup = runAdmin(backedUp(), {text("jobs"), text("--json")});
    QCOMPARE(inBackup.err, QString());
    QCOMPARE(inBackup.json(), listed.json());
}

void BackupSites::secondRunCopiesWhatIsNew()
{
    QCOMPARE(backup().code, ExitCode::Success);
    const SiteContent first = readSite(site());
    const AdminOutcome unchanged = backup();
    QCOMPARE(unchanged.err, QString());
    QCOMPARE(number(unchanged, "files"), filesOf(jobs));
    QCOMPARE(number(unchanged, "copied"), 0);
    QCOMPARE(number(unchanged, "copied_bytes"), 0);

    fillSite(site(), 4, jobs + 1);
    const AdminOutcome later = backup();
    QCOMPARE(later.err, QString());
    QCOMPARE(number(later, "copied"), filesOf(jobs + 4) - filesOf(jobs));
    QCOMPARE(difference(readSite(site()), readSite(backedUp())), QString());
    // The one before is still there, over the same files.
    QCOMPARE(readSite(previous()).tables, first.tables);
}

void BackupSites::restoredElsewhereIsTheSame()
{
    QCOMPARE(backup().code, ExitCode::Success);
    const AdminSession elsewhere;
    const AdminOutcome restored =
        restore(elsewhere, {text("--data-root"), elsewhere.file().inFolder(dataFolder)});
    QCOMPARE(restored.err, QString());
    QCOMPARE(restored.code, ExitCode::Success);
    QCOMPARE(number(restored, "copied"), filesOf(jobs));
    QCOMPARE(differenceAfterRestore(readSite(site()), readSite(elsewhere.file().path()), 7), QString());
    // It is the same site: its clients' configurations fit.
    QCOMPARE(taken(loadSettings(elsewhere.file().path())).siteId, taken(loadSettings(site())).siteId);
    QCOMPARE(elsewhere.run({text("jobs"), text("--json")}).json(),
             m_session->run({text("jobs"), text("--json")}).json());
}

void BackupSites::restoresOntoTheSameEngines()
{
    QCOMPARE(backup().code, ExitCode::Success);
    const auto place = placeForASite();
    const AdminOutcome restored = restore(*place);
    QCOMPARE(restored.err, QString());
    QCOMPARE(differenceAfterRestore(readSite(site()), readSite(place->file().path()), 7), QString());
    QCOMPARE(place->run({text("jobs")}).err, QString());
    // A site that is there is never restored over.
    const SiteContent there = readSite(place->file().path());
    const AdminOutcome again = restore(*place);
    QCOMPARE(again.code, ExitCode::AlreadyExists);
    QVERIFY2(again.failure()[text("error")].toString().contains(text("into an empty place only")),
             qPrintable(again.err));
    QCOMPARE(difference(there, readSite(place->file().path())), QString());
}

void BackupSites::isWholeWhileAnotherProcessImports()
{
    const QString end = m_session->file().inFolder(text("end"));
    BoundProcess importer;
    importer.setProcessChannelMode(QProcess::SeparateChannels);
    importer.start(QCoreApplication::applicationFilePath(), {text("--import-on"), site(), end});
    int imported = 0;
    for (int round = 0; round < 4; ++round) {
        // Some are imported before each backup, others during it.
        const QDeadlineTimer deadline(60'000);
        const int enough = imported + 3;
        while (imported < enough && !deadline.hasExpired())
            if (importer.canReadLine() || importer.waitForReadyRead(60'000))
                for (; importer.canReadLine(); ++imported)
                    importer.readLine();
        QVERIFY(imported >= enough);
        const AdminOutcome made = backup();
        QCOMPARE(made.err, QString());
        const SiteContent content = readSite(backedUp());
        QVERIFY(content.tables[text("job_compress")].size() >= jobs - 1 + imported);
        for (const auto& row : content.tables[text("orig_file")])
            QVERIFY2(content.files.contains(text("odbpp/") + row[text("stored_name")]) ||
                         content.files.contains(text("older/") + row[text("stored_name")]),
                     qPrintable(row[text("stored_name")]));
    }
    QCOMPARE(importer.state(), QProcess::Running);
    QVERIFY(QFile(end).open(QIODevice::WriteOnly));
    QVERIFY(importer.waitForFinished(60'000));
    QCOMPARE(importer.exitCode(), 0);
}

void BackupSites::killedBackupsLeaveTheLastOne()
{
    QCOMPARE(backup().code, ExitCode::Success);
    const SiteContent first = readSite(site());
    fillSite(site(), 17, jobs + 1);
    int killed = 0;
    for (const char* moment : {"rows: 0", "rows: 100", "files: 0", "files: 5"}) {
        BoundProcess program;
        program.setProcessChannelMode(QProcess::SeparateChannels);
        program.start(text(ZAV_ADMIN_PROGRAM), {text("--config"), site(), text("backup"), folder()});
        QByteArray told;
        const QDeadlineTimer deadline(60'000);
        while (!told.contains(moment) && !deadline.hasExpired() && program.waitForReadyRead(60'000))
            told += program.readAllStandardError();
        killed += program.state() == QProcess::Running ? 1 : 0;
        program.end();
        const SiteContent there = readSite(backedUp());
        const bool isWhole = there.tables == first.tables || there.tables == readSite(site()).tables;
        QVERIFY2(isWhole, moment);
        for (const auto& row : there.tables[text("job_compress")])
            QVERIFY2(
                there.files.contains(row[text("file_store")] + QLatin1Char('/') + row[text("stored_name")]),
                moment);
    }
    QVERIFY(killed > 0);
    QCOMPARE(backup().err, QString());
    QCOMPARE(difference(readSite(site()), readSite(backedUp())), QString());
}

void BackupSites::killedRestoresAreContinued()
{
    QCOMPARE(backup().code, ExitCode::Success);
    const auto place = placeForASite();
    int killed = 0;
    for (const char* moment : {"files: 0", "files: 5", "rows: 0", "verifying: "}) {
        BoundProcess program;
        program.setProcessChannelMode(QProcess::SeparateChannels);
        program.start(text(ZAV_ADMIN_PROGRAM), {text("--config"), place->file().path(), text("restore"),
                                                folder(), text("--raise-counters=7")});
        QByteArray told;
        const QDeadlineTimer deadline(60'000);
        while (!told.contains(moment) && !deadline.hasExpired() && program.waitForReadyRead(60'000))
            told += program.readAllStandardError();
        if (program.state() != QProcess::Running)
            break;
        ++killed;
        program.end();
        // Half a site is nobody's.
        const AdminOutcome used = place->run({text("jobs")});
        if (used.code == ExitCode::Success)
            break; // the end was faster
        QCOMPARE(used.code, ExitCode::Configuration);
        QVERIFY2(used.err.contains(text("restore")), qPrintable(used.err));
    }
    QVERIFY(killed > 0);
    if (place->run({text("jobs")}).code != ExitCode::Success)
        QCOMPARE(restore(*place).err, QString());
    QCOMPARE(differenceAfterRestore(readSite(site()), readSite(place->file().path()), 7), QString());
}

void BackupSites::missingFileIsToldAndTheRestKept()
{
    removeStored("料号 5.tgz");
    const AdminOutcome made = backup();
    QCOMPARE(made.code, ExitCode::Findings);
    QCOMPARE(lost(made), QStringList({text("file-missing 料号 5.tgz")}));
    QCOMPARE(number(made, "copied"), filesOf(jobs) - 1);
    QCOMPARE(difference(readSite(site()), readSite(backedUp())), QString());

    // What an earlier backup has taken stays.
    removeStored("料号 8.tgz");
    const AdminOutcome later = backup();
    QCOMPARE(later.code, ExitCode::Findings);
    QCOMPARE(lost(later),
             QStringList({text("file-missing 料号 5.tgz"), text("file-missing 料号 8.tgz kept")}));
    const AdminSession elsewhere;
    const AdminOutcome restored =
        restore(elsewhere, {text("--data-root"), elsewhere.file().inFolder(dataFolder)});
    QCOMPARE(restored.code, ExitCode::Findings);
    QCOMPARE(lost(restored), QStringList({text("file-missing 料号 5.tgz")}));
    const SiteContent content = readSite(elsewhere.file().path());
    QVERIFY(content.files.contains(text("odbpp/料号 8.tgz")));
    QCOMPARE(content.files.size(), filesOf(jobs) - 1);
}

void BackupSites::otherContentIsToldAndNotTaken()
{
    // The row knows what was stored; the file is another one, with a sum of its own.
    const QByteArray change = "UPDATE orig_file SET stored_length = 3, stored_sha256 = '" +
                              QByteArray(64, 'a') + "' WHERE stored_name = 'robot-10.tgz'";
    QCOMPARE(changeRows(site(), change.constData()), 1);
    const AdminOutcome made = backup();
    QCOMPARE(made.code, ExitCode::Findings);
    QCOMPARE(lost(made), QStringList({text("file-damaged robot-10.tgz")}));
    QVERIFY(!readSite(backedUp()).files.contains(text("odbpp/robot-10.tgz")));
}

void BackupSites::quarantinedFilesComeAlong()
{
    const Settings settings = taken(loadSettings(site()));
    const auto store = taken(openDocumentStore(settings.documentStore));
    const StoreLocation location = storeLocation(settings.documentStore);
    const std::string name = "料号 3.tgz";
    QCOMPARE(
        changeRows(site(), "UPDATE job_flow SET state = -2, sub_state = -2 WHERE ko_serial_name = 'K03'"), 1);
    QVERIFY(store->quarantine(location, name).ok());
    const AdminOutcome made = backup();
    QCOMPARE(made.err, QString());
    QCOMPARE(number(made, "copied"), filesOf(jobs));

    const auto namesOf = [&name](const Settings& place) {
        const auto opened = taken(openDocumentStore(place.documentStore));
        QList<bool> places;
        for (const QuarantinedFile& file : taken(opened->listQuarantine(storeLocation(place.documentStore))))
            places << (file.file.name == name);
        return places;
    };
    QCOMPARE(namesOf(taken(loadSettings(backedUp()))), QList<bool>({true}));
    const auto place = placeForASite();
    QCOMPARE(restore(*place).err, QString());
    QCOMPARE(namesOf(taken(loadSettings(place->file().path()))), QList<bool>({true}));

    // Taken back in the site, it is a stored file of the next backup again.
    QVERIFY(store->restoreQuarantined(location, name).ok());
    QCOMPARE(changeRows(site(), "UPDATE job_flow SET state = 0, sub_state = 0 WHERE ko_serial_name = 'K03'"),
             1);
    const AdminOutcome later = backup();
    QCOMPARE(later.err, QString());
    QCOMPARE(number(later, "copied"), 0);
    QCOMPARE(difference(readSite(site()), readSite(backedUp())), QString());
}

void BackupSites::lostDatabaseComesBackAndNumbersGoOn()
{
    Site::current().setConfigurationPath(site());
    QCOMPARE(backup().code, ExitCode::Success);
    // Imported after the backup: their numbers may stand on papers, their files are in the store.
    QSet<QString> given;
    for (int job = 0; job < 3; ++job)
        given << QString::fromStdString(m_session->importJob("K0", "late", "late", 0));
    Site::current().close();
    const Settings settings = taken(loadSettings(site()));
    if (MariaDbServer* server = SiteEngines::rowServer()) {
        QVERIFY(server->run(settings.database, text("DROP DATABASE ") + settings.database.name));
        QVERIFY(server->run({}, text("CREATE DATABASE ") + settings.database.name));
    } else {
        for (const char* end : {"", "-wal", "-shm"})
            QFile::remove(settings.database.file + text(end));
    }
    QCOMPARE(m_session->run({text("jobs")}).code, ExitCode::Configuration);

    const AdminOutcome restored = restore(*m_session);
    QCOMPARE(restored.err, QString());
    QCOMPARE(number(restored, "copied"), 0); // the store was not lost
    QCOMPARE(m_session->run({text("jobs")}).err, QString());
    for (int job = 0; job < 5; ++job) {
        const QString name = QString::fromStdString(m_session->importJob("K0", "later", "later", 0));
        QVERIFY2(!given.contains(name), qPrintable(name));
        given << name;
    }
    Site::current().close();
}

void BackupSites::lostFilesComeBack()
{
    QCOMPARE(backup().code, ExitCode::Success);
    const SiteContent content = readSite(site());
    const Settings settings = taken(loadSettings(site()));
    const auto store = taken(openDocumentStore(settings.documentStore));
    const StoreLocation location = storeLocation(settings.documentStore);
    removeStored("料号 5.tgz");
    removeStored("robot-10.tgz");
    // Another content under the name, with a sum of its own.
    removeStored("料号 8.tgz");
    const QString other = m_session->file().inFolder(text("other"));
    QFile file(other);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("of another job") == 14);
    file.close();
    QVERIFY(store->put(location, "料号 8.tgz", QFile::encodeName(other).toStdString()).ok());
    const QByteArray known = QByteArray("UPDATE orig_file SET stored_length = ") +
                             QByteArray::number(content.files.value(text("odbpp/料号 8.tgz")).size()) +
                             ", stored_sha256 = '" + content.checksums.value(text("odbpp/料号 8.tgz")) +
                             "' WHERE guid = 'o-00000008'";
    QCOMPARE(changeRows(site(), known.constData()), 1);
    // Imported after the backup, and lost: nobody has it.
    fillSite(site(), 1, jobs + 1);
    removeStored("料号 24.tgz");

    const AdminOutcome restored = m_session->run({text("restore-files"), folder(), text("--json")});
    QCOMPARE(restored.err, QString());
    QCOMPARE(restored.code, ExitCode::Findings);
    QCOMPARE(number(restored, "copied"), 3);
    QCOMPARE(restored.json()[text("quarantined")].toArray(), QJsonArray({text("料号 8.tgz")}));
    QCOMPARE(lost(restored), QStringList({text("file-missing 料号 24.tgz")}));
    QCOMPARE(readSite(site()).files, content.files);
    const auto taken8 = taken(store->listQuarantine(location));
    QCOMPARE(taken8.size(), std::size_t(1));
    QCOMPARE(taken8.front().file.length, qint64(14));
    const AdminOutcome again =
        m_session->run({text("restore-files"), folder(), text("--json"), text("--read-data")});
    QCOMPARE(number(again, "copied"), 0);
}

void BackupSites::lostStoreComesBack()
{
    QCOMPARE(backup().code, ExitCode::Success);
    const SiteContent content = readSite(site());
    const auto fresh = placeForASite();
    // A new store in the place of the lost one: what the configuration of a place says that was never used.
    for (const char* key : {"document_store/root", "document_store/database"})
        QVERIFY(writeSetting(site(), QLatin1String(key),
                             taken(readSetting(fresh->file().path(), QLatin1String(key))))
                    .ok());
    const QString root = taken(loadSettings(site())).documentStore.root;
    QVERIFY(QDir().mkpath(root));
    const QString fetched = m_session->file().inFolder(text("fetched"));
    QCOMPARE(m_session->run({text("get"), text("K02"), fetched}).code, ExitCode::Configuration);
    const AdminOutcome restored = m_session->run({text("restore-files"), folder(), text("--json")});
    QCOMPARE(restored.err, QString());
    QCOMPARE(number(restored, "copied"), filesOf(jobs));
    QCOMPARE(difference(content, readSite(site())), QString());
    QCOMPARE(m_session->run({text("get"), text("K02"), fetched}).err, QString());
}

/// A backup and a restored site are checked as the site is: what is odd in it is odd in them, and nothing
/// else. Rows that lack what a check fills in are filled in the site, and not in the backup.
void BackupSites::checkFindsNothingBeyondTheSite()
{
    const auto findings = [](const AdminOutcome& outcome) {
        QStringList kinds;
        for (const QJsonValue& finding : outcome.json()[text("findings")].toArray())
            if (finding[text("weight")] != text("not-looked-at") &&
                finding[text("kind")] != text("content-not-recorded"))
                kinds << finding[text("kind")].toString() + QLatin1Char(' ') +
                             finding[text("job")].toString();
        kinds.sort();
        return kinds;
    };
    const QStringList check = {text("check"), text("--read-data"), text("--json")};
    QCOMPARE(backup().code, ExitCode::Success);
    const auto place = placeForASite();
    // The counters of this site are behind, which raising them would mend.
    QCOMPARE(place->run({text("restore"), folder(), text("--raise-counters=0")}).code, ExitCode::Success);
    const QStringList ofTheSite = findings(m_session->run(check));
    QVERIFY2(ofTheSite.contains(text("half-import K01")), qPrintable(ofTheSite.join(QLatin1Char('\n'))));
    QCOMPARE(findings(runAdmin(backedUp(), check)), ofTheSite);
    QCOMPARE(findings(place->run(check)), ofTheSite);
}

ZAV_REGISTER_TEST(backup_sites, BackupSites, QCoreApplication)
ZAV_REGISTER_ROLE("--import-on", importOn, QCoreApplication)

#include "backup_sites.moc"
