#include "admin/Application.h"
#include "backend/HostInterface.h"
#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/store/DocumentStore.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "services/common/Common.h"
#include "tests/support/AdminSession.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FreshSite.h"
#include "tests/support/GridFsPeer.h"
#include "tests/support/MariaDbServer.h"
#include "tests/support/SiteContent.h"
#include "tests/support/SiteEngines.h"
#include "tests/support/TestProgram.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>
#include <QUuid>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Test;
using Admin::ExitCode;
using Backend::ErrorCode;
using Backend::Site;

/// A part of a site that is gone, empty, not whole or another site's: what every program says of it, and that
/// nothing is made in its place.
class SiteRefusalsTest final : public QObject
{
    Q_OBJECT
public:
    /// What a row of the test does to the site. @return why that cannot be done on these engines
    struct Damage
    {
        QString (SiteRefusalsTest::*run)() = nullptr;
    };

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void lostPartIsRefused_data();
    void lostPartIsRefused();
    void fewMissingFilesAreAWarning();
    void voidedJobsNeedNoFile();
    void mendingTakesAStoreThatIsNotWhole();
    void storeThatGoesWhileItIsOpenIsNotFilled();
    void comparingCostsNothingWhileASiteIsOpen();

private:
    QString deleteDatabase();
    QString emptyDatabase();
    QString exchangeDatabase();
    QString deleteStore();
    QString unmountStore();
    QString exchangeStore();
    QString loseNewestFiles();

    [[nodiscard]] Backend::DatabaseSettings rows() const;
    [[nodiscard]] Backend::DocumentStoreSettings files() const;
    [[nodiscard]] AdminOutcome run(const QStringList& arguments) const;
    [[nodiscard]] QStringList below(const QString& folder) const;
    void removeNewest(int count) const;
    [[nodiscard]] static QString makeOther(std::unique_ptr<ConfigurationFile>& file);

    std::unique_ptr<FreshSite> m_site;
    std::unique_ptr<ConfigurationFile> m_other;
    QString m_told; ///< by the services: the last failure
};

Q_DECLARE_METATYPE(SiteRefusalsTest::Damage)

namespace {

constexpr int jobs = 20;
constexpr const char* newestJob = "K220";

bool isOnServer()
{
    return SiteEngines::rowServer() != nullptr;
}

} // namespace

void SiteRefusalsTest::initTestCase()
{
    if (const QString problem = SiteEngines::problem(); !problem.isEmpty())
        QSKIP(qPrintable(problem));
}

void SiteRefusalsTest::init()
{
    m_site = std::make_unique<FreshSite>();
    fillSite(m_site->configuration(), jobs);
    Backend::setOperationObserver([this](const Backend::OperationEvent& event) {
        if (event.outcome != Backend::OperationOutcome::Succeeded)
            m_told = event.message;
    });
    m_told.clear();
}

void SiteRefusalsTest::cleanup()
{
    Backend::setOperationObserver({});
    m_site.reset();
    m_other.reset();
}

Backend::DatabaseSettings SiteRefusalsTest::rows() const
{
    return Backend::loadSettings(m_site->configuration()).value().database;
}

Backend::DocumentStoreSettings SiteRefusalsTest::files() const
{
    return Backend::loadSettings(m_site->configuration()).value().documentStore;
}

AdminOutcome SiteRefusalsTest::run(const QStringList& arguments) const
{
    return runAdmin(m_site->configuration(), arguments);
}

QStringList SiteRefusalsTest::below(const QString& folder) const
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

QString SiteRefusalsTest::deleteDatabase()
{
    if (isOnServer())
        return SiteEngines::rowServer()->run(rows(), QStringLiteral("DROP DATABASE ") + rows().name)
                   ? QString()
                   : QStringLiteral("the database cannot be dropped");
    for (const char* end : {"", "-wal", "-shm"})
        QFile::remove(rows().file + QLatin1String(end));
    return {};
}

QString SiteRefusalsTest::emptyDatabase()
{
    const Backend::DatabaseSettings settings = rows();
    if (const QString problem = deleteDatabase(); !problem.isEmpty())
        return problem;
    if (isOnServer())
        return SiteEngines::rowServer()->run({}, QStringLiteral("CREATE DATABASE ") + settings.name)
                   ? QString()
                   : QStringLiteral("the database cannot be made");
    QFile empty(settings.file);
    return empty.open(QIODevice::WriteOnly) ? QString() : empty.errorString();
}

/// Another site on the same engines. @return its configuration
QString SiteRefusalsTest::makeOther(std::unique_ptr<ConfigurationFile>& file)
{
    file = std::make_unique<ConfigurationFile>();
    const auto made = Backend::createDefaultSettings(file->path(), file->inFolder(QStringLiteral("data")));
    if (!made.ok())
        qFatal("%s", qPrintable(made.message()));
    SiteEngines::applyTo(file->path());
    file->makeSite();
    return file->path();
}

QString SiteRefusalsTest::exchangeDatabase()
{
    const auto other = Backend::loadSettings(makeOther(m_other)).value().database;
    if (isOnServer())
        MariaDbServer::writeTo(m_site->configuration(), other);
    else
        m_site->configure(QStringLiteral("database/file"), other.file);
    return {};
}

QString SiteRefusalsTest::deleteStore()
{
    if (SiteEngines::fileServer() != nullptr)
        return QStringLiteral("a bucket that is gone is an empty one");
    QDir(files().root).removeRecursively();
    return {};
}

QString SiteRefusalsTest::unmountStore()
{
    if (SiteEngines::fileServer() != nullptr) {
        m_site->configure(QStringLiteral("document_store/database"),
                          QStringLiteral("zav_") + QUuid::createUuid().toString(QUuid::Id128));
        return {};
    }
    const QString root = files().root;
    return QDir().rename(root, root + QStringLiteral(".away")) && QDir().mkdir(root)
               ? QString()
               : QStringLiteral("the root cannot be renamed");
}

QString SiteRefusalsTest::exchangeStore()
{
    const auto other = Backend::loadSettings(makeOther(m_other)).value().documentStore;
    if (SiteEngines::fileServer() != nullptr)
        m_site->configure(QStringLiteral("document_store/database"), other.database);
    else
        m_site->configure(QStringLiteral("document_store/root"), other.root);
    return {};
}

void SiteRefusalsTest::removeNewest(int count) const
{
    const auto store = Backend::openDocumentStore(files());
    for (int number = jobs; number > jobs - count; --number) {
        const QString name = QStringLiteral("料号 %1.tgz").arg(number);
        const auto removed = store.value()->remove(storeLocation(files()), name.toStdString());
        QVERIFY2(removed.ok(), qPrintable(removed.message()));
    }
}

/// As a copy that was taken before the last jobs were imported.
QString SiteRefusalsTest::loseNewestFiles()
{
    removeNewest(2);
    return {};
}

void SiteRefusalsTest::lostPartIsRefused_data()
{
    QTest::addColumn<Damage>("damage");
    QTest::addColumn<bool>("ofRows");
    QTest::addColumn<bool>("refusedByInit");
    QTest::addColumn<QStringList>("told");
    const QString restore = QStringLiteral("zav_admin restore");
    const QString key = QStringLiteral("database");
    const QString other = QStringLiteral("belongs to the site ");
    QTest::newRow("database deleted")
        << Damage{&SiteRefusalsTest::deleteDatabase} << true << true << QStringList({restore, key});
    QTest::newRow("database emptied")
        << Damage{&SiteRefusalsTest::emptyDatabase} << true << true << QStringList({restore, key});
    QTest::newRow("database exchanged")
        << Damage{&SiteRefusalsTest::exchangeDatabase} << true << true << QStringList({restore, key, other});
    const QString mount = QStringLiteral("mount its disk");
    QTest::newRow("store deleted") << Damage{&SiteRefusalsTest::deleteStore} << false << true
                                   << QStringList({restore, mount});
    QTest::newRow("store unmounted") << Damage{&SiteRefusalsTest::unmountStore} << false << true
                                     << QStringList(
                                            {restore, mount, QStringLiteral("has no mark of the site")});
    QTest::newRow("store exchanged") << Damage{&SiteRefusalsTest::exchangeStore} << false << true
                                     << QStringList({restore, mount, other});
    QTest::newRow("store half restored") << Damage{&SiteRefusalsTest::loseNewestFiles} << false << false
                                         << QStringList({restore, QStringLiteral("lacks 2 of the 19 files"),
                                                         QStringLiteral("zav_admin check")});
}

void SiteRefusalsTest::lostPartIsRefused()
{
    QFETCH(const Damage, damage);
    QFETCH(const bool, ofRows);
    QFETCH(const bool, refusedByInit);
    QFETCH(const QStringList, told);
    Site::current().close();
    if (const QString problem = (this->*damage.run)(); !problem.isEmpty())
        QSKIP(qPrintable(problem));
    const QStringList roots = {QFileInfo(files().root).path(), files().root, QFileInfo(rows().file).path()};
    QVector<QStringList> before;
    for (const QString& folder : roots)
        before << below(folder);

    // The services of a host, over and over again.
    for (int i = 0; i < 2; ++i) {
        std::vector<DataLib::Model::Odbpp_Company> companies;
        const bool selected = DataLib::BLL::Odbpp_CompanyBll().select({}, {}, companies);
        QCOMPARE(selected, !ofRows);
        const auto settings = files();
        m_told = ofRows ? m_told : QString();
        const int got = Common::MongodbGet(settings.database.toStdString(), settings.fileStore.toStdString(),
                                           m_site->path(QStringLiteral("fetched")).toStdString(),
                                           QStringLiteral("料号 10.tgz").toStdString());
        QCOMPARE(got != 0, !ofRows);
        for (const QString& text : told)
            QVERIFY2(m_told.contains(text), qPrintable(m_told));
    }

    // The command line.
    std::unique_ptr<ConfigurationFile> target;
    QList<QStringList> commands = {{text("get"), text(newestJob), m_site->path(QStringLiteral("copy"))},
                                   {text("migrate"), text("--to"), makeOther(target)}};
    if (ofRows)
        commands << QStringList({text("jobs")})
                 << QStringList({text("company"), text("add"), text("--code=N"), text("--name=N")});
    if (refusedByInit)
        commands << QStringList({text("init")});
    for (const QStringList& command : qAsConst(commands)) {
        const AdminOutcome outcome = run(command);
        QVERIFY2(outcome.code == ExitCode::Configuration,
                 qPrintable(command.join(QLatin1Char(' ')) + outcome.err));
        QVERIFY2(outcome.err.contains(text("zav_admin restore")), qPrintable(outcome.err));
    }
    Site::current().close();
    for (int i = 0; i < roots.size(); ++i)
        QCOMPARE(below(roots[i]), before[i]);
}

void SiteRefusalsTest::fewMissingFilesAreAWarning()
{
    Site::current().close();
    removeNewest(1);
    const CapturedLog log;
    QVERIFY(Site::current().database().ok());
    const auto store = Site::current().documentStore();
    QVERIFY2(store.ok(), qPrintable(store.message()));
    QVERIFY(Site::current().documentStore().ok());
    const QStringList warnings = CapturedLog::of(QtWarningMsg);
    QCOMPARE(warnings.size(), 1);
    QVERIFY2(warnings.first().contains(QStringLiteral("1 of the 19 files")), qPrintable(warnings.first()));
    QVERIFY2(warnings.first().contains(QStringLiteral("zav_admin check")), qPrintable(warnings.first()));
}

void SiteRefusalsTest::voidedJobsNeedNoFile()
{
    changeRows(
        m_site->configuration(),
        "UPDATE job_flow SET state = -2, sub_state = -2 WHERE ko_serial_name IN ('K220', 'K219', 'K218')");
    removeNewest(3);
    Site::current().close();
    const CapturedLog log;
    QVERIFY(Site::current().database().ok());
    const auto store = Site::current().documentStore();
    QVERIFY2(store.ok(), qPrintable(store.message()));
    QCOMPARE(CapturedLog::of(QtWarningMsg), QStringList());
}

void SiteRefusalsTest::mendingTakesAStoreThatIsNotWhole()
{
    removeNewest(10);
    Site usual(m_site->configuration());
    QVERIFY(usual.database().ok());
    QCOMPARE(usual.documentStore().code(), ErrorCode::Configuration);
    Site mending(m_site->configuration(), Site::Use::Mending);
    QVERIFY(mending.database().ok());
    QVERIFY(mending.documentStore().ok());
    // But not another site's.
    QCOMPARE(exchangeStore(), QString());
    QCOMPARE(mending.documentStore().code(), ErrorCode::Configuration);
    Site inspection(m_site->configuration(), Site::Use::Inspection);
    QVERIFY(inspection.database().ok());
    QVERIFY(inspection.documentStore().ok());
    const auto compared = inspection.compareIdentity();
    QCOMPARE(compared.code(), ErrorCode::Configuration);
    QVERIFY2(compared.message().contains(QStringLiteral("belongs to the site ")),
             qPrintable(compared.message()));
}

void SiteRefusalsTest::storeThatGoesWhileItIsOpenIsNotFilled()
{
    if (SiteEngines::fileServer() != nullptr)
        QSKIP("a server keeps its files where it keeps them");
    QVERIFY(Site::current().documentStore().ok());
    const auto settings = files();
    QCOMPARE(unmountStore(), QString());
    const QString source = m_site->path(QStringLiteral("source"));
    QFile file(source);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("content") > 0 && file.flush());
    const auto put = [&] {
        return Common::MongodbPut(settings.database.toStdString(), settings.fileStore.toStdString(),
                                  source.toStdString(), "new.tgz");
    };
    const auto get = [&] {
        return Common::MongodbGet(settings.database.toStdString(), settings.fileStore.toStdString(),
                                  m_site->path(QStringLiteral("fetched")).toStdString(),
                                  QStringLiteral("料号 10.tgz").toStdString());
    };
    constexpr int configuration = 9;
    QCOMPARE(put(), configuration);
    QVERIFY2(m_told.contains(QStringLiteral("mount its disk")), qPrintable(m_told));
    // Not "there is no such file": it is somewhere else.
    QCOMPARE(get(), configuration);
    QCOMPARE(below(settings.root), QStringList());

    QVERIFY(QDir().rmdir(settings.root) &&
            QDir().rename(settings.root + QStringLiteral(".away"), settings.root));
    QCOMPARE(put(), 0);
    QCOMPARE(get(), 0);
}

void SiteRefusalsTest::comparingCostsNothingWhileASiteIsOpen()
{
    auto* peer = SiteEngines::fileServer();
    if (peer != nullptr && !peer->refusal().isEmpty())
        peer = nullptr;
    QVERIFY(Site::current().database().ok());
    QVERIFY(Site::current().documentStore().ok());
    Backend::Database& database = *Site::current().database().value();
    const auto statements = [&database] {
        const auto count = database.value("SELECT VARIABLE_VALUE FROM information_schema.SESSION_STATUS "
                                          "WHERE VARIABLE_NAME = 'QUESTIONS'");
        return count.ok() ? count->toInt() : 0;
    };
    const int before = isOnServer() ? statements() : 0;
    const int found = peer != nullptr ? peer->received(QStringLiteral("find")) : 0;
    for (int i = 0; i < 100; ++i) {
        QVERIFY(Site::current().database().ok());
        QVERIFY(Site::current().documentStore().ok());
    }
    if (peer != nullptr)
        QCOMPARE(peer->received(QStringLiteral("find")), found);
    if (isOnServer())
        QCOMPARE(statements(), before + 1);
    // The other part is not asked either: with an identity in the configuration each is compared by itself.
    if (!isOnServer() && peer == nullptr)
        QVERIFY(Site::current().database().value() == &database);
}

ZAV_REGISTER_TEST(site_refusals, SiteRefusalsTest, QCoreApplication)

#include "site_refusals.moc"
