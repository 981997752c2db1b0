#include "backend/Site.h"
#include "backend/SiteCreation.h"
#include "backend/database/Database.h"
#include "backend/records/SiteIdentity.h"
#include "backend/store/DocumentStore.h"
#include "tests/support/AdminSession.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/GridFsPeer.h"
#include "tests/support/SiteContent.h"
#include "tests/support/SiteEngines.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTest>

#include <future>
#include <memory>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

using namespace KOZAV;
using namespace KOZAV::Backend;
using namespace KOZAV::Test;

/// A site of the release before, which has no identity, gets one where its parts fit: whatever interrupts
/// that, and whoever does it at the same time.
class SiteAdoptionTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void partsThatFitAreJoined_data();
    void partsThatFitAreJoined();
    void interruptedAdoptionGoesOn_data();
    void interruptedAdoptionGoesOn();
    void manyProgramsAtOnce();
    void partsThatDoNotFitAreRefused_data();
    void partsThatDoNotFitAreRefused();
    void configurationKeepsItsPermissions();
    void configurationOfAnotherUserStays();
    void initJoinsAnOlderCopyOfTheRows();

private:
    /// What the three parts of the site say.
    struct Identities
    {
        QString configuration;
        QString database;
        QString store;

        [[nodiscard]] bool agree() const
        {
            return !configuration.isEmpty() && configuration == database && database == store;
        }
        [[nodiscard]] QString text() const
        {
            return QStringList({configuration, database, store}).join(QLatin1Char(' '));
        }
    };
    [[nodiscard]] Identities identities() const;
    [[nodiscard]] QString path() const { return m_file->path(); }
    [[nodiscard]] Settings settings() const { return loadSettings(path()).value(); }
    [[nodiscard]] std::unique_ptr<Database> database() const;
    [[nodiscard]] std::unique_ptr<DocumentStore> store() const;
    void mark(const QString& identity) const;
    void note(const QString& identity) const;

    std::unique_ptr<ConfigurationFile> m_file;
};

namespace {

constexpr int jobs = 20;
const QString begun = QStringLiteral("8d3c9f5e-0f0b-4c8e-9c39-0f4d4a4f7b11");
const QString others = QStringLiteral("1b0e6f2a-6f0c-4f6e-8a5b-7d1f2c3e4a55");

template <typename T>
T taken(Result<T> result)
{
    if (!result.ok())
        qFatal("%s", qPrintable(result.message()));
    return std::move(result.value());
}

/// The folders that a local store of the release before has made at its first puts.
void makeOldLocations(const DocumentStoreSettings& settings)
{
    for (const QString& fileStore : {settings.fileStore, QStringLiteral("older")})
        for (const char* folder : {"files", "sums", "tmp"})
            if (!QDir().mkpath(QStringLiteral("%1/%2/%3/%4")
                                   .arg(settings.root, settings.database, fileStore, QLatin1String(folder))))
                qFatal("%s", qPrintable(settings.root));
}

/// Opens both parts as a program does.
Status openBoth(Site& site)
{
    const auto database = site.database();
    return database.ok() ? site.documentStore().status() : database.status();
}

} // namespace

void SiteAdoptionTest::initTestCase()
{
    if (const QString problem = SiteEngines::problem(); !problem.isEmpty())
        QSKIP(qPrintable(problem));
}

void SiteAdoptionTest::init()
{
    Site::current().close();
    m_file = std::make_unique<ConfigurationFile>();
    const auto made = createDefaultSettings(path(), m_file->inFolder(QStringLiteral("data")));
    QVERIFY2(made.ok(), qPrintable(made.message()));
    SiteEngines::applyTo(path());
    (void)taken(Database::create(settings().database));
    if (SiteEngines::fileServer() == nullptr)
        makeOldLocations(settings().documentStore);
    fillSite(path(), jobs);
    QCOMPARE(identities().text(), QStringLiteral("  "));
}

std::unique_ptr<Database> SiteAdoptionTest::database() const
{
    return taken(Database::open(settings().database));
}

std::unique_ptr<DocumentStore> SiteAdoptionTest::store() const
{
    return taken(openDocumentStore(settings().documentStore));
}

void SiteAdoptionTest::mark(const QString& identity) const
{
    const auto marked = store()->setSiteMark(storeLocation(settings().documentStore), identity);
    QVERIFY2(marked.ok(), qPrintable(marked.message()));
}

void SiteAdoptionTest::note(const QString& identity) const
{
    const auto noted = setSiteIdentity(*database(), identity);
    QVERIFY2(noted.ok(), qPrintable(noted.message()));
}

SiteAdoptionTest::Identities SiteAdoptionTest::identities() const
{
    const Settings now = settings();
    return {now.siteId, taken(siteIdentity(*database())),
            taken(store()->siteMark(storeLocation(now.documentStore)))};
}

void SiteAdoptionTest::partsThatFitAreJoined_data()
{
    QTest::addColumn<bool>("byServices");
    QTest::addColumn<bool>("storeFirst");
    QTest::newRow("services, rows first") << true << false;
    QTest::newRow("services, files first") << true << true;
    QTest::newRow("one run, rows first") << false << false;
    QTest::newRow("one run, files first") << false << true;
}

void SiteAdoptionTest::partsThatFitAreJoined()
{
    QFETCH(const bool, byServices);
    QFETCH(const bool, storeFirst);
    const CapturedLog log;
    Site run(path());
    Site& site = byServices ? Site::current() : run;
    if (byServices)
        site.setConfigurationPath(path());
    if (storeFirst)
        QVERIFY(site.documentStore().ok());
    const auto opened = openBoth(site);
    QVERIFY2(opened.ok(), qPrintable(opened.message()));
    QVERIFY2(identities().agree(), qPrintable(identities().text()));
    QCOMPARE(CapturedLog::of(QtInfoMsg).filter(settings().siteId).size(), byServices ? 1 : 0);
    // It stays, and init finds nothing to do.
    const QString identity = settings().siteId;
    QVERIFY(openBoth(site).ok());
    QCOMPARE(runAdmin(path(), {text("init")}).err, QString());
    QCOMPARE(identities().text(), QStringList({identity, identity, identity}).join(QLatin1Char(' ')));
}

void SiteAdoptionTest::interruptedAdoptionGoesOn_data()
{
    QTest::addColumn<bool>("marked");
    QTest::addColumn<bool>("noted");
    QTest::newRow("before anything") << false << false;
    QTest::newRow("before the database") << true << false;
    QTest::newRow("before the configuration") << true << true;
}

void SiteAdoptionTest::interruptedAdoptionGoesOn()
{
    QFETCH(const bool, marked);
    QFETCH(const bool, noted);
    if (marked)
        mark(begun);
    if (noted)
        note(begun);
    Site site(path());
    const auto opened = openBoth(site);
    QVERIFY2(opened.ok(), qPrintable(opened.message()));
    QVERIFY2(identities().agree(), qPrintable(identities().text()));
    QCOMPARE(settings().siteId == begun, marked);
}

void SiteAdoptionTest::manyProgramsAtOnce()
{
    std::vector<std::future<QString>> programs;
    for (int i = 0; i < 8; ++i)
        programs.push_back(std::async(std::launch::async, [this, i] {
            Site site(path());
            if (i % 2 == 0)
                (void)site.documentStore();
            return openBoth(site).message();
        }));
    for (auto& program : programs)
        QCOMPARE(program.get(), QString());
    QVERIFY2(identities().agree(), qPrintable(identities().text()));
}

void SiteAdoptionTest::partsThatDoNotFitAreRefused_data()
{
    QTest::addColumn<QString>("state");
    QTest::addColumn<QString>("told");
    QTest::newRow("files missing") << QStringLiteral("files") << QStringLiteral("lacks 2 of the 19 files");
    QTest::newRow("store empty") << QStringLiteral("empty") << QStringLiteral("lacks 19 of the 19 files");
    QTest::newRow("rows missing") << QStringLiteral("rows")
                                  << QStringLiteral("has no rows, but the document store");
    QTest::newRow("store without a mark")
        << QStringLiteral("unmarked") << QStringLiteral("has no mark of the site");
    QTest::newRow("different marks") << QStringLiteral("different")
                                     << QStringLiteral("belongs to the site ") + others;
}

void SiteAdoptionTest::partsThatDoNotFitAreRefused()
{
    QFETCH(const QString, state);
    QFETCH(const QString, told);
    const Settings now = settings();
    const auto files = store();
    if (state == QLatin1String("files") || state == QLatin1String("empty"))
        for (const QString& fileStore : {now.documentStore.fileStore, QStringLiteral("older")}) {
            const StoreLocation location = storeLocation(now.documentStore, fileStore.toStdString());
            for (const StoredFile& file : taken(files->list(location)))
                if (state == QLatin1String("empty") || file.name == "料号 20.tgz" ||
                    file.name == "料号 19.tgz")
                    QVERIFY(files->remove(location, file.name).ok());
        }
    if (state == QLatin1String("rows"))
        for (const char* sql :
             {"DELETE FROM pre_file", "DELETE FROM job_compress",
              "UPDATE job_flow SET orig_file_guid = NULL, last_import_orig_file_guid = NULL",
              "UPDATE orig_file SET flow_guid = NULL", "DELETE FROM job_flow", "DELETE FROM orig_file"})
            changeRows(path(), sql);
    if (state == QLatin1String("unmarked") || state == QLatin1String("different"))
        note(begun);
    if (state == QLatin1String("different"))
        mark(others);
    const QString before = identities().text();
    Site site(path());
    for (const auto& outcome : {site.database().status(), site.documentStore().status()}) {
        QCOMPARE(outcome.code(), ErrorCode::Configuration);
        QVERIFY2(outcome.message().contains(told), qPrintable(outcome.message()));
    }
    QCOMPARE(identities().text(), before);
}

void SiteAdoptionTest::configurationKeepsItsPermissions()
{
    QCOMPARE(::chmod(QFile::encodeName(path()).constData(), 0644), 0);
    Site site(path());
    QVERIFY(openBoth(site).ok());
    QVERIFY2(identities().agree(), qPrintable(identities().text()));
    QCOMPARE(permissionsOf(path()), 0644U);
}

/// It would be the other user's no more. The parts are compared with each other then, at each start.
void SiteAdoptionTest::configurationOfAnotherUserStays()
{
    if (::geteuid() != 0)
        QSKIP("only the superuser can give files away");
    QCOMPARE(::chown(QFile::encodeName(path()).constData(), 65534, 65534), 0);
    const QByteArray before = m_file->content();
    const CapturedLog log;
    Site::current().setConfigurationPath(path());
    QVERIFY(openBoth(Site::current()).ok());
    QCOMPARE(m_file->content(), before);
    const QStringList warnings = CapturedLog::of(QtWarningMsg);
    QCOMPARE(warnings.size(), 1);
    QVERIFY2(warnings.first().contains(QStringLiteral("zav_admin config set site/id")),
             qPrintable(warnings.first()));
    const QString identity = identities().database;
    QCOMPARE(identities().store, identity);
    Site::current().close();
    QVERIFY(openBoth(Site::current()).ok());
    QCOMPARE(identities().database, identity);
}

/// A backup of the rows from before the site had an identity.
void SiteAdoptionTest::initJoinsAnOlderCopyOfTheRows()
{
    mark(begun);
    QVERIFY(writeSetting(path(), QStringLiteral("site/id"), begun).ok());
    Site site(path());
    const auto refused = site.database();
    QCOMPARE(refused.code(), ErrorCode::Configuration);
    QVERIFY2(refused.message().contains(QStringLiteral("zav_admin init")), qPrintable(refused.message()));
    QCOMPARE(runAdmin(path(), {text("init")}).err, QString());
    QVERIFY(openBoth(site).ok());
    QVERIFY2(identities().agree(), qPrintable(identities().text()));
    QCOMPARE(settings().siteId, begun);
}

ZAV_REGISTER_TEST(site_adoption, SiteAdoptionTest, QCoreApplication)

#include "site_adoption.moc"
