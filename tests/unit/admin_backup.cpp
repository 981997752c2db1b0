#include "backend/Site.h"
#include "backend/config/Settings.h"
#include "backend/database/Database.h"
#include "backend/io/FileLock.h"
#include "backend/records/SiteEvents.h"
#include "tests/support/AdminSession.h"
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

/// The verbs "backup" and "restore": what they refuse, what they say, and what the folder of a backup is.
class AdminBackupTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void foldersOfOthersAreLeftAlone_data();
    void foldersOfOthersAreLeftAlone();
    void backupOfAnotherSiteIsRefused();
    void oneAtATime();
    void keepsTheBackupBefore();
    void folderMayMove();
    void isForItsOwnerAlone();
    void isNotImportedInto();
    void isNotedInTheSite();
    void interruptedFirstBackupIsNone();
    void tellsPeople();
    void countersMustBeGiven_data();
    void countersMustBeGiven();
    void needsAConfigurationOrAFolder();
    void placesThatAreNotEmptyAreRefused_data();
    void placesThatAreNotEmptyAreRefused();
    void storeOfTheSiteIsKept();
    void restoreIsNoted();

private:
    [[nodiscard]] AdminOutcome backup() const { return m_site->run({text("backup"), m_folder}); }
    [[nodiscard]] AdminOutcome restore(const AdminSession& to, const QStringList& more = {}) const
    {
        return to.run(QStringList({text("restore"), m_folder, text("--raise-counters=0")}) + more);
    }
    [[nodiscard]] static QStringList dataRoot(const AdminSession& session)
    {
        return {text("--data-root"), session.file().inFolder(text("data"))};
    }

    std::unique_ptr<AdminSession> m_site;
    QString m_folder;
};

namespace {

constexpr int jobs = 11;

void write(const QString& path, const QByteArray& content)
{
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), qint64(content.size()));
}

std::vector<SiteEvent> eventsOf(const QString& configuration, const QString& kind)
{
    const auto database = Database::open(loadSettings(configuration).value().database);
    EventFilter filter;
    filter.kind = kind;
    return listEvents(*database.value(), filter).value();
}

} // namespace

void AdminBackupTest::init()
{
    m_site = std::make_unique<AdminSession>();
    makeEmbeddedSite(*m_site);
    fillSite(m_site->file().path(), jobs);
    m_folder = m_site->file().inFolder(text("backup"));
}

void AdminBackupTest::foldersOfOthersAreLeftAlone_data()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("some file") << text("letter.txt");
    QTest::newRow("a configuration") << text("zav.ini");
    QTest::newRow("a hidden file") << text(".profile");
    QTest::newRow("a folder") << text("store/zav_import/odbpp/files/a.tgz");
}

void AdminBackupTest::foldersOfOthersAreLeftAlone()
{
    QFETCH(const QString, file);
    write(m_folder + QLatin1Char('/') + file, "of somebody else");
    const AdminOutcome outcome = backup();
    QCOMPARE(outcome.code, ExitCode::Configuration);
    QVERIFY2(outcome.err.contains(text("is not empty and holds no backup")), qPrintable(outcome.err));
    QCOMPARE(QDir(m_folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList(file.section(QLatin1Char('/'), 0, 0)));
    const AdminSession place;
    QVERIFY2(restore(place, dataRoot(place)).err.contains(text("holds no backup")), qPrintable(outcome.err));
}

void AdminBackupTest::backupOfAnotherSiteIsRefused()
{
    QCOMPARE(backup().code, ExitCode::Success);
    const SiteContent before = readSite(m_folder + text("/zav.ini"));
    const AdminSession other;
    makeEmbeddedSite(other);
    const AdminOutcome outcome = other.run({text("backup"), m_folder});
    QCOMPARE(outcome.code, ExitCode::Configuration);
    QVERIFY2(outcome.err.contains(text("holds a backup of another site")), qPrintable(outcome.err));
    QCOMPARE(difference(before, readSite(m_folder + text("/zav.ini"))), QString());
}

void AdminBackupTest::oneAtATime()
{
    QCOMPARE(backup().code, ExitCode::Success);
    const auto lock = FileLock::acquire(QFile::encodeName(m_folder + text("/lock")).toStdString());
    QVERIFY(lock.ok());
    const AdminSession place;
    for (const AdminOutcome& outcome : {backup(), restore(place, dataRoot(place))}) {
        QCOMPARE(outcome.code, ExitCode::Unavailable);
        QVERIFY2(outcome.err.contains(text("another backup or restore is running")), qPrintable(outcome.err));
    }
    QVERIFY(!QFileInfo::exists(place.file().path()));
}

void AdminBackupTest::keepsTheBackupBefore()
{
    for (int run = 0; run < 3; ++run) {
        QCOMPARE(backup().code, ExitCode::Success);
        fillSite(m_site->file().path(), 1, jobs + 1 + run);
    }
    QCOMPARE(QDir(m_folder + text("/rows")).entryList(QDir::Files).size(), 2);
    const auto jobsIn = [this](const char* configuration) {
        return readSite(m_folder + text(configuration)).tables[text("job_flow")].size();
    };
    QCOMPARE(jobsIn("/zav.ini"), jobs + 2);
    QCOMPARE(jobsIn("/previous.ini"), jobs + 1);
    const AdminOutcome listed = runAdmin(m_folder + text("/previous.ini"), {text("jobs")});
    QCOMPARE(listed.err, QString());
}

void AdminBackupTest::folderMayMove()
{
    QCOMPARE(backup().code, ExitCode::Success);
    const SiteContent content = readSite(m_site->file().path());
    const QString moved = m_site->file().inFolder(text("elsewhere"));
    QVERIFY(QDir().rename(m_folder, moved));
    m_folder = moved;
    QCOMPARE(difference(content, readSite(moved + text("/zav.ini"))), QString());
    QVERIFY(backup().out.contains(text("of which 0 of")));
    const AdminSession place;
    QCOMPARE(restore(place, dataRoot(place)).code, ExitCode::Success);
}

void AdminBackupTest::isForItsOwnerAlone()
{
    QCOMPARE(backup().code, ExitCode::Success);
    QCOMPARE(permissionsOf(m_folder), 0700U);
    for (const QString& name : QDir(m_folder).entryList(QDir::Files))
        QCOMPARE(permissionsOf(m_folder + QLatin1Char('/') + name), 0600U);
    for (const QString& name : QDir(m_folder + text("/rows")).entryList(QDir::Files))
        QCOMPARE(permissionsOf(m_folder + text("/rows/") + name), 0600U);
}

void AdminBackupTest::isNotImportedInto()
{
    QCOMPARE(backup().code, ExitCode::Success);
    const QString configuration = m_folder + text("/zav.ini");
    Site client(configuration, Site::Use::Services);
    QCOMPARE(client.settings().code(), ErrorCode::Configuration);
    QVERIFY2(client.settings().message().contains(text("is that of a backup")),
             qPrintable(client.settings().message()));
    for (const QStringList& line :
         {QStringList({text("company"), text("add"), text("--code=N"), text("--name=New")}),
          QStringList({text("init")}), QStringList({text("backup"), m_folder + text("2")})}) {
        const AdminOutcome outcome = runAdmin(configuration, line);
        QCOMPARE(outcome.code, ExitCode::Configuration);
        QVERIFY2(outcome.err.contains(text("backup")), qPrintable(outcome.err));
    }
    const AdminOutcome migrated = m_site->run({text("migrate"), text("--to"), configuration});
    QCOMPARE(migrated.code, ExitCode::Configuration);
    QCOMPARE(difference(readSite(m_site->file().path()), readSite(configuration)), QString());
}

void AdminBackupTest::isNotedInTheSite()
{
    QCOMPARE(backup().code, ExitCode::Success);
    const auto events = eventsOf(m_site->file().path(), eventKind::backedUp);
    QCOMPARE(events.size(), std::size_t(1));
    QCOMPARE(events.front().subject, m_folder);
    QCOMPARE(events.front().outcome, text("complete"));
    QCOMPARE(events.front().detail[text("copied")].toInt(), filesOf(jobs));
    QCOMPARE(events.front().detail[text("moment")].toString(),
             loadSettings(m_folder + text("/zav.ini")).value().backupMoment);
}

void AdminBackupTest::interruptedFirstBackupIsNone()
{
    QCOMPARE(backup().code, ExitCode::Success);
    QVERIFY(QFile::rename(m_folder + text("/zav.ini"), m_folder + text("/next.ini")));
    const AdminSession place;
    const AdminOutcome restored = restore(place, dataRoot(place));
    QCOMPARE(restored.code, ExitCode::Configuration);
    QVERIFY2(restored.err.contains(text("never completed")), qPrintable(restored.err));
    QVERIFY2(backup().out.contains(text("of which 0 of")), "what is there is not copied again");
    QCOMPARE(difference(readSite(m_site->file().path()), readSite(m_folder + text("/zav.ini"))), QString());
    QCOMPARE(QDir(m_folder + text("/rows")).entryList(QDir::Files).size(), 1);
}

void AdminBackupTest::tellsPeople()
{
    const AdminOutcome outcome = backup();
    const Settings settings = loadSettings(m_folder + text("/zav.ini")).value();
    QVERIFY2(outcome.out.startsWith(text("backup of the site %1 in %2, as it was at %3\n")
                                        .arg(settings.siteId, m_folder, settings.backupMoment)),
             qPrintable(outcome.out));
    QVERIFY2(outcome.out.contains(text("%1 stored files").arg(filesOf(jobs))), qPrintable(outcome.out));

    const QString data = m_site->file().inFolder(text("data/store/zav_import/odbpp/"));
    QVERIFY(QFile::remove(data + text("files/料号 7.tgz")) && QFile::remove(data + text("sums/料号 7.tgz")));
    const AdminOutcome later = backup();
    QCOMPARE(later.code, ExitCode::Findings);
    QVERIFY2(later.out.contains(text("料号 7.tgz")) && later.out.contains(text("K07")) &&
                 later.out.contains(text("it is not stored; the backup has it from an earlier run")),
             qPrintable(later.out));
}

void AdminBackupTest::countersMustBeGiven_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("message");
    QTest::newRow("none") << QStringList() << text("numbers may stand on papers");
    QTest::newRow("no number") << QStringList({text("--raise-counters=many")}) << text("from 0 to 1000000");
    QTest::newRow("below 0") << QStringList({text("--raise-counters=-1")}) << text("from 0 to 1000000");
    QTest::newRow("too many") << QStringList({text("--raise-counters=1000001")}) << text("from 0 to 1000000");
}

void AdminBackupTest::countersMustBeGiven()
{
    QFETCH(const QStringList, options);
    QFETCH(const QString, message);
    QCOMPARE(backup().code, ExitCode::Success);
    const AdminSession place;
    const AdminOutcome outcome =
        place.run(QStringList({text("restore"), m_folder}) + dataRoot(place) + options);
    QCOMPARE(outcome.code, ExitCode::Usage);
    QVERIFY2(outcome.err.contains(message), qPrintable(outcome.err));
    QVERIFY(!QFileInfo::exists(place.file().path()));
}

void AdminBackupTest::needsAConfigurationOrAFolder()
{
    QCOMPARE(backup().code, ExitCode::Success);
    const AdminSession place;
    const AdminOutcome outcome = restore(place);
    QCOMPARE(outcome.code, ExitCode::Configuration);
    QVERIFY2(outcome.err.contains(text("--data-root DIR makes one")), qPrintable(outcome.err));
    QVERIFY(!QFileInfo::exists(place.file().path()));
}

void AdminBackupTest::placesThatAreNotEmptyAreRefused_data()
{
    QTest::addColumn<QString>("state");
    QTest::addColumn<QString>("message");
    QTest::newRow("the site itself") << text("itself") << text("is that of the site");
    QTest::newRow("another site") << text("other") << text("is that of another site");
    QTest::newRow("another site, its id not in the file")
        << text("other, no id") << text("is that of another site");
    QTest::newRow("files that nobody marked") << text("files") << text("and no mark of the site");
}

void AdminBackupTest::placesThatAreNotEmptyAreRefused()
{
    QFETCH(const QString, state);
    QFETCH(const QString, message);
    QCOMPARE(backup().code, ExitCode::Success);
    const AdminSession place;
    const QString target = state == text("itself") ? m_site->file().path() : place.file().path();
    if (state.startsWith(text("other"))) {
        makeEmbeddedSite(place);
        fillSite(target, 2);
    }
    if (state == text("other, no id")) {
        QFile file(target);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QByteArray content = file.readAll();
        file.close();
        content.replace("\nid = " + loadSettings(target).value().siteId.toUtf8(), "\n");
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        file.close();
        QCOMPARE(loadSettings(target).value().siteId, QString());
    }
    if (state == text("files")) {
        QVERIFY(createDefaultSettings(target, place.file().inFolder(text("data"))).ok());
        const QString store = place.file().inFolder(text("data/store/zav_import/odbpp/"));
        const QByteArray sum = "0000000000000000000000000000000000000000000000000000000000000000"
                               " 3 2026-03-02T08:15:30.125Z\n";
        write(store + text("files/a.tgz"), "abc");
        write(store + text("sums/a.tgz"), sum);
    }
    const bool isSite = state != text("files");
    const SiteContent before = isSite ? readSite(target) : SiteContent();
    const AdminOutcome outcome = runAdmin(target, {text("restore"), m_folder, text("--raise-counters=5")});
    QCOMPARE(outcome.code, ExitCode::AlreadyExists);
    QVERIFY2(outcome.err.contains(message) && outcome.err.contains(text("nothing is overwritten")),
             qPrintable(outcome.err));
    QCOMPARE(difference(before, isSite ? readSite(target) : SiteContent()), QString());
    QVERIFY(isSite || !QFileInfo::exists(place.file().inFolder(text("data/rows.db"))));
}

void AdminBackupTest::storeOfTheSiteIsKept()
{
    QCOMPARE(backup().code, ExitCode::Success);
    storeFile(m_site->file().path(), "later.tgz", "imported after the backup");
    const Settings settings = loadSettings(m_site->file().path()).value();
    QVERIFY(QFile::remove(settings.database.file));
    const AdminOutcome outcome = restore(*m_site);
    QCOMPARE(outcome.code, ExitCode::Success);
    QVERIFY2(outcome.out.contains(text("of which 0 of")), qPrintable(outcome.out));
    QVERIFY(readSite(m_site->file().path()).files.contains(text("odbpp/later.tgz")));
}

void AdminBackupTest::restoreIsNoted()
{
    QCOMPARE(backup().code, ExitCode::Success);
    const AdminSession place;
    const QStringList line = {text("restore"), m_folder, text("--raise-counters=12")};
    QCOMPARE(place.run(line + dataRoot(place)).code, ExitCode::Success);
    const auto events = eventsOf(place.file().path(), eventKind::broughtBack);
    QCOMPARE(events.size(), std::size_t(1));
    QCOMPARE(events.front().detail[text("raised_counters")].toInt(), 12);
    // The backups that were made before are known there too, but for the one that it was made of.
    QCOMPARE(eventsOf(place.file().path(), eventKind::backedUp).size(), std::size_t(0));
    QCOMPARE(place.run({text("jobs")}).err, QString());
}

ZAV_REGISTER_TEST(admin_backup, AdminBackupTest, QCoreApplication)

#include "admin_backup.moc"
