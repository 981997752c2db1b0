// Damage of every kind is planted on a site of each kind; the check has to call it by its name, and the
// repair, or what a backup would bring back, has to leave nothing.

#include "admin/Application.h"
#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/io/FileLock.h"
#include "backend/records/SiteEvents.h"
#include "backend/store/DocumentStore.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobCompressBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"
#include "services/common/Common.h"
#include "tests/support/AdminSession.h"
#include "tests/support/FreshSite.h"
#include "tests/support/GridFsPeer.h"
#include "tests/support/MariaDbServer.h"
#include "tests/support/SiteEngines.h"
#include "tests/support/TestProgram.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTest>

#include <sys/xattr.h>

#include <atomic>
#include <cerrno>
#include <iterator>
#include <memory>
#include <thread>
#include <vector>

using namespace KOZAV;
using namespace KOZAV::Backend;
using namespace KOZAV::Test;
using Admin::ExitCode;

namespace {

template <typename T>
T taken(Result<T> result)
{
    if (!result.ok())
        qFatal("%s", qUtf8Printable(result.message()));
    return std::move(result.value());
}

void require(const Status& status)
{
    if (!status.ok())
        qFatal("%s", qUtf8Printable(status.message()));
}

constexpr int firstJobs = 4;

QByteArray contentOfJob(int number)
{
    return QByteArray(2000 + 100 * number, static_cast<char>('a' + number));
}

/// A site with a few whole jobs, which a test damages.
class CheckedSite final
{
public:
    CheckedSite()
    {
        m_site.addCompany(text("HX"), text("深圳华兴电路"));
        for (int number = 1; number <= firstJobs; ++number)
            m_source.importJob("HX", "board", contentOfJob(number), 3);
        change("UPDATE company SET batch_number = 3");
        if (MariaDbServer* server = SiteEngines::rowServer())
            if (!server->run({}, QStringLiteral("GRANT TRIGGER, EVENT, EXECUTE ON %1.* TO '%2'@'127.0.0.1'")
                                     .arg(settings().database.name, settings().database.user)))
                qFatal("the account cannot be given a right");
    }

    [[nodiscard]] Settings settings() const { return taken(loadSettings(m_site.configuration())); }
    [[nodiscard]] static QString job(int number)
    {
        return QStringLiteral("HX%1").arg(number, 6, 10, QLatin1Char('0'));
    }
    [[nodiscard]] static std::string stored(int number) { return job(number).toStdString() + ".tgz"; }
    [[nodiscard]] DocumentStore& store() const { return *taken(Site::current().documentStore()); }
    [[nodiscard]] StoreLocation location() const { return storeLocation(settings().documentStore); }
    [[nodiscard]] FreshSite& site() { return m_site; }
    [[nodiscard]] AdminSession& source() { return m_source; }

    /// What zav_admin says to a check.
    struct Outcome
    {
        ExitCode code;
        QJsonObject json;
        QString err;

        [[nodiscard]] int count(const char* kind) const
        {
            return json[text("counts")].toObject()[text(kind)].toInt();
        }
        [[nodiscard]] QJsonObject finding(const char* kind) const
        {
            for (const QJsonValue& finding : json[text("findings")].toArray())
                if (finding[text("kind")].toString() == text(kind))
                    return finding.toObject();
            return {};
        }
    };
    Outcome check(const QStringList& options = {}) const
    {
        QBuffer out;
        QBuffer err;
        out.open(QIODevice::WriteOnly);
        err.open(QIODevice::WriteOnly);
        const QStringList line =
            QStringList({text("--config"), m_site.configuration(), text("check"), text("--json")}) + options;
        const ExitCode code = Admin::runCommandLine(line, out, err);
        return {code, QJsonDocument::fromJson(out.data()).object(), QString::fromUtf8(err.data())};
    }

    /// Imports a job folder as the panel does. @return its generated name
    QString importFolder() const
    {
        const QString folder = m_site.path(text("folder/"));
        QDir().mkpath(folder + text("steps"));
        write(folder + text("misc"), "misc");
        write(folder + text("steps/features"), QByteArray(5000, 'f'));
        std::string archive;
        const auto config = Common::commonInterface()->getConfig();
        Common::FoldersCompressSave2MongoDb(folder.toStdString(), config.uploadCacheDir, archive);
        const std::string stored = archive + ".zip";
        const QString name = job(firstJobs + 1);
        std::string company = "深圳华兴电路";
        DataLib::BLL::Odbpp_CompanyBll().inputCompanies(company, 1, firstJobs + 1);
        const std::string guid = Common::commonInterface()->getGUID();
        DataLib::BLL::Odbpp_OrigFilesBll().inputOrigFile(guid, "folder", stored, "", "HX", 0, 1);
        DataLib::BLL::Odbpp_JobFlowBll flows;
        const std::string key = flows.insertflowbeforeorigfile("folder", 1, "F1", name.toStdString());
        flows.UpdateOrigFileGuid(guid, key);
        const int id = m_site.company(text("HX")).companyId;
        DataLib::BLL::Odbpp_JobCompressBll().inputJobCompressByFolder(company, "HX", id, "folder", key,
                                                                      stored, "", "", config.mongoFsName, 1,
                                                                      firstJobs + 1, "", "", "");
        return name;
    }

    /// The columns of original files that hold their content, in the order of the rows.
    [[nodiscard]] QStringList contentColumns() const
    {
        QStringList rows;
        require(
            taken(Site::current().database())
                ->query("SELECT stored_length, stored_sha256, content_length, content_sha256 FROM orig_file"
                        " ORDER BY id",
                        {}, [&rows](const QSqlQuery& row) {
                            rows << row.value(0).toString() + row.value(1).toString() +
                                        row.value(2).toString() + row.value(3).toString();
                            return true;
                        }));
        return rows;
    }

    /// A write of the site's own programs.
    void change(const char* sql, const QVariantList& values = {}) const
    {
        taken(taken(Site::current().database())->change(sql, values, Durability::Immediate));
    }

    /// Statements of somebody else: checks of references are off.
    void outside(const QStringList& sqlite, const QStringList& mariadb) const
    {
        if (MariaDbServer* server = SiteEngines::rowServer()) {
            for (const QString& sql : mariadb)
                if (!server->run(settings().database, sql))
                    qFatal("%s", qUtf8Printable(sql));
            return;
        }
        const QString name = QStringLiteral("outside");
        {
            QSqlDatabase connection = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
            connection.setDatabaseName(settings().database.file);
            if (!connection.open())
                qFatal("%s", qUtf8Printable(connection.lastError().text()));
            for (const QString& sql : sqlite) {
                QSqlQuery query(connection);
                if (!query.exec(sql))
                    qFatal("%s: %s", qUtf8Printable(sql), qUtf8Printable(query.lastError().text()));
            }
        }
        QSqlDatabase::removeDatabase(name);
    }
    void outside(const char* sql) const { outside({text(sql)}, {text(sql)}); }

    void put(const std::string& name, const QByteArray& content) const
    {
        const QString path = m_site.path(QStringLiteral("content"));
        write(path, content);
        taken(store().put(location(), name, QFile::encodeName(path).toStdString()));
    }
    /// As a backup brings it back.
    void putBack(int number) const
    {
        (void)store().remove(location(), stored(number));
        put(stored(number), contentOfJob(number));
    }

    static void write(const QString& path, const QByteArray& content)
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("%s", qUtf8Printable(path));
    }
    static void makeOld(const QString& path)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadWrite) ||
            !file.setFileTime(QDateTime::currentDateTime().addDays(-3), QFileDevice::FileModificationTime))
            qFatal("%s", qUtf8Printable(path));
    }

    /// A path in the local store.
    [[nodiscard]] QString inStore(const QString& part) const
    {
        const DocumentStoreSettings documents = settings().documentStore;
        return documents.root + QLatin1Char('/') + documents.database + QLatin1Char('/') +
               documents.fileStore + QLatin1Char('/') + part;
    }
    [[nodiscard]] QString dataOf(int number) const
    {
        return inStore(text("files/") + job(number) + text(".tgz"));
    }
    [[nodiscard]] QString sumOf(int number) const
    {
        return inStore(text("sums/") + job(number) + text(".tgz"));
    }

    /// Takes away the sum that the stored content carries, as a copy without attributes does.
    void detachSum(int number) const
    {
        const QByteArray path = QFile::encodeName(dataOf(number));
        QVERIFY(::removexattr(path.constData(), "user.kozav.sum") == 0 || errno == ENODATA ||
                errno == EOPNOTSUPP);
    }

private:
    FreshSite m_site;
    AdminSession m_source;
};

/// One kind of damage.
struct Damage
{
    const char* name;
    const char* kind;
    void (*plant)(CheckedSite& site);
    /// What mends it; null: "--repair KIND".
    void (*restore)(CheckedSite& site) = nullptr;
    int job = 0;           ///< that the finding has to name
    bool readData = false; ///< found by reading only
    bool isNotice = false; ///< changes no exit code
    /// Where it can be planted.
    enum class Where { Everywhere, Sqlite, Local, GridFs } where = Where::Everywhere;
    bool refusesOpening = false; ///< an embedded database is not opened any more
};

using Where = Damage::Where;

void peerAsk(CheckedSite& site, const char* order, const char* key, const QString& value,
             QJsonObject more = {})
{
    Q_UNUSED(site)
    more.insert(QLatin1String(key), value);
    SiteEngines::fileServer()->ask(QLatin1String(order), more);
}

void makeFolder(const QString& path)
{
    if (!QDir().mkpath(path))
        qFatal("%s", qUtf8Printable(path));
    CheckedSite::write(path + text("/left"), "left");
}

void swapRoots(CheckedSite& site)
{
    site.outside(
        {text("PRAGMA writable_schema = ON"),
         text("UPDATE sqlite_master SET rootpage = (SELECT SUM(rootpage) FROM sqlite_master WHERE name IN"
              " ('orig_file_stored_name', 'job_flow_orig_file_guid')) - rootpage"
              " WHERE name IN ('orig_file_stored_name', 'job_flow_orig_file_guid')")},
        {});
    Site::current().close();
}

void exchangeFiles(CheckedSite& site)
{
    require(site.store().remove(site.location(), site.stored(1)));
    require(site.store().remove(site.location(), site.stored(2)));
    site.put(site.stored(1), contentOfJob(2));
    site.put(site.stored(2), contentOfJob(1));
}

void restoreBoth(CheckedSite& site)
{
    site.putBack(1);
    site.putBack(2);
}

void restoreSecond(CheckedSite& site)
{
    site.putBack(2);
}

const Damage damages[] = {
    {"lost index entries", "database-damaged", swapRoots, swapRoots, 0, false, false, Where::Sqlite, true},
    {"foreign trigger", "schema-changed",
     [](CheckedSite& site) {
         site.outside({text("CREATE TRIGGER planted AFTER INSERT ON company BEGIN SELECT 1; END")},
                      {text("CREATE TRIGGER planted AFTER INSERT ON company FOR EACH ROW SET @planted = 1")});
     },
     [](CheckedSite& site) { site.outside("DROP TRIGGER planted"); }},
    {"lost index", "schema-changed",
     [](CheckedSite& site) {
         site.outside({text("DROP INDEX job_flow_upload_batch_number")},
                      {text("DROP INDEX job_flow_upload_batch_number ON job_flow")});
     },
     [](CheckedSite& site) {
         site.outside("CREATE INDEX job_flow_upload_batch_number ON job_flow (upload_batch_number)");
     },
     0, false, false, Where::Everywhere, true},
    {"foreign column", "schema-changed",
     [](CheckedSite& site) { site.outside("ALTER TABLE pre_file ADD COLUMN planted INTEGER"); },
     [](CheckedSite& site) { site.outside("ALTER TABLE pre_file DROP COLUMN planted"); }, 0, false, false,
     Where::Everywhere, true},
    {"reference to nothing", "reference-broken",
     [](CheckedSite& site) {
         site.outside(
             {text("INSERT INTO pre_file (guid, flow_guid, job_name, first_text, second_text, third_text,"
                   " user_id, user_name, created_time) VALUES ('p', 'nobody', '', '', '', '', 1, '', '')")},
             {text("SET STATEMENT foreign_key_checks = 0 FOR INSERT INTO pre_file (guid, flow_guid,"
                   " job_name, first_text, second_text, third_text, user_id, user_name, created_time)"
                   " VALUES ('p', 'nobody', '', '', '', '', 1, '', '')")});
     },
     [](CheckedSite& site) { site.change("DELETE FROM pre_file WHERE guid = 'p'"); }},
    {"identity of the database lost", "identity-missing",
     [](CheckedSite& site) { site.change("DELETE FROM site"); }},
    {"database of another site", "identity-differs",
     [](CheckedSite& site) {
         site.change("UPDATE site SET identity = '6f2b0d0e-0000-4000-8000-000000000001'");
     },
     [](CheckedSite& site) { site.change("UPDATE site SET identity = ?", {site.settings().siteId}); }},
    {"job count set back", "counter-behind",
     [](CheckedSite& site) { site.change("UPDATE company SET job_count = 1"); }},
    {"batch number set back", "batch-behind",
     [](CheckedSite& site) { site.change("UPDATE company SET batch_number = 2"); }},
    {"import without its last row", "half-import",
     [](CheckedSite& site) { site.source().importJob("HX", "half", "half", 3, false); }, nullptr,
     firstJobs + 1},
    {"original file without a job", "orig-file-unused",
     [](CheckedSite& site) {
         site.put("unused.tgz", "unused");
         DataLib::BLL::Odbpp_OrigFilesBll().inputOrigFile(Common::commonInterface()->getGUID(), "unused",
                                                          "unused.tgz", "tgz", "HX", 0, 1);
     },
     [](CheckedSite& site) {
         // The repair leaves the stored file without a row.
         QCOMPARE(site.check({text("--settle=0"), text("--repair=orig-file-unused")})
                      .finding("orig-file-unused")[text("mended")]
                      .toBool(),
                  true);
         site.check({text("--settle=0"), text("--repair=file-orphan")});
     }},
    {"lost link", "job-unlinked",
     [](CheckedSite& site) {
         site.change("UPDATE job_flow SET orig_file_guid = NULL WHERE ko_serial_name = ?", {site.job(2)});
     },
     nullptr, 2},
    {"two names", "names-differ",
     [](CheckedSite& site) {
         site.change("UPDATE job_compress SET stored_name = ? WHERE stored_name = ?",
                     {site.job(1) + text(".tgz"), site.job(2) + text(".tgz")});
     },
     [](CheckedSite& site) {
         site.change("UPDATE job_compress SET stored_name = ? WHERE job_number = 2",
                     {site.job(2) + text(".tgz")});
     },
     2},
    {"row of an earlier release", "content-not-recorded",
     [](CheckedSite& site) {
         site.change("UPDATE orig_file SET stored_length = NULL, stored_sha256 = NULL WHERE stored_name = ?",
                     {site.job(2) + text(".tgz")});
     },
     [](CheckedSite& site) { QCOMPARE(site.check({text("--read-data")}).code, ExitCode::Success); }, 0, false,
     true},
    {"lost file", "file-missing",
     [](CheckedSite& site) { require(site.store().remove(site.location(), site.stored(2))); }, restoreSecond,
     2},
    {"file in quarantine", "file-missing",
     [](CheckedSite& site) { require(site.store().quarantine(site.location(), site.stored(2))); },
     [](CheckedSite& site) { require(site.store().restoreQuarantined(site.location(), site.stored(2))); }, 2},
    {"two files exchanged", "file-exchanged", exchangeFiles, restoreBoth, 1},
    {"changed content", "file-damaged",
     [](CheckedSite& site) {
         QCOMPARE(FreshSite::damage(QString::fromStdString(site.stored(2))), QString());
     },
     restoreSecond, 2, true},
    {"file without a row", "file-orphan", [](CheckedSite& site) { site.put("orphan.tgz", "orphan"); }},
    {"file of a voided job", "voided-file",
     [](CheckedSite& site) {
         site.change("UPDATE job_flow SET state = -2, sub_state = -2 WHERE ko_serial_name = ?",
                     {site.job(2)});
     },
     nullptr, 2},
    {"folder of the CAM view", "cam-leftover",
     [](CheckedSite& site) { makeFolder(site.settings().downloadCache + text("cam-planted")); }},
    {"folder of a get", "fetch-leftover",
     [](CheckedSite& site) { makeFolder(site.settings().downloadCache + text("get-planted")); }},
    {"temporary file of a packing", "temp-leftover",
     [](CheckedSite& site) {
         CheckedSite::write(site.settings().uploadCache + text(".kozav-tmp-00112233445566aa"), "left");
     }},
    {"staged copy", "staged-copy",
     [](CheckedSite& site) { CheckedSite::write(site.settings().uploadCache + text("copy.tgz"), "copy"); },
     [](CheckedSite& site) { QFile::remove(site.settings().uploadCache + text("copy.tgz")); }, 0, false,
     true},
    {"file cut off", "file-length", [](CheckedSite& site) { QVERIFY(QFile::resize(site.dataOf(2), 17)); },
     restoreSecond, 2, false, false, Where::Local},
    {"sum overwritten", "sum-damaged",
     [](CheckedSite& site) {
         site.detachSum(2);
         CheckedSite::write(site.sumOf(2), "no sum\n");
     },
     restoreSecond, 2, false, false, Where::Local},
    {"sum of a job lost", "sum-missing",
     [](CheckedSite& site) {
         site.detachSum(2);
         QVERIFY(QFile::remove(site.sumOf(2)));
     },
     restoreSecond, 2, false, false, Where::Local},
    {"sum file of a job lost", "sum-stale", [](CheckedSite& site) { QVERIFY(QFile::remove(site.sumOf(2))); },
     nullptr, 2, false, false, Where::Local},
    {"content of a job lost", "data-missing",
     [](CheckedSite& site) { QVERIFY(QFile::remove(site.dataOf(2))); }, restoreSecond, 2, false, false,
     Where::Local},
    {"content without a sum", "sum-missing",
     [](CheckedSite& site) { CheckedSite::write(site.inStore(text("files/no-sum")), "half"); }, nullptr, 0,
     false, false, Where::Local},
    {"sum without content", "data-missing",
     [](CheckedSite& site) { CheckedSite::write(site.inStore(text("sums/no-data")), "half"); }, nullptr, 0,
     false, false, Where::Local},
    {"folder in the place of a file", "not-a-file",
     [](CheckedSite& site) {
         QVERIFY(QFile::remove(site.dataOf(2)));
         QVERIFY(QDir().mkpath(site.dataOf(2)));
     },
     [](CheckedSite& site) {
         QVERIFY(QDir().rmdir(site.dataOf(2)));
         QVERIFY(QFile::remove(site.sumOf(2)));
         site.putBack(2);
     },
     2, false, false, Where::Local},
    {"temporary file of the store", "temp-leftover",
     [](CheckedSite& site) {
         const QString path = site.inStore(text("tmp/.kozav-tmp-00112233445566aa"));
         CheckedSite::write(path, "left");
         CheckedSite::makeOld(path);
     },
     nullptr, 0, false, false, Where::Local},
    {"lost chunk", "chunk-missing",
     [](CheckedSite& site) {
         SiteEngines::fileServer()->alterChunk(QString::fromStdString(site.stored(2)), 0, text("forget"));
     },
     restoreSecond, 2, false, false, Where::GridFs},
    {"surplus chunk", "chunk-surplus",
     [](CheckedSite& site) {
         peerAsk(site, "plantChunk", "filename", QString::fromStdString(site.stored(2)),
                 {{text("kind"), text("surplus")}});
     },
     restoreSecond, 2, false, false, Where::GridFs},
    {"chunk without a file", "chunk-orphan",
     [](CheckedSite& site) {
         peerAsk(site, "plantChunk", "filename", QString::fromStdString(site.stored(2)),
                 {{text("kind"), text("orphan")}});
     },
     nullptr, 0, false, false, Where::GridFs},
    {"lost index of the store", "index-missing",
     [](CheckedSite& site) { peerAsk(site, "dropIndex", "name", text("kozav_unique_filename")); }, nullptr, 0,
     false, false, Where::GridFs},
    {"length that is none", "sum-damaged",
     [](CheckedSite& site) {
         SiteEngines::fileServer()->setFile(QString::fromStdString(site.stored(2)),
                                            {{text("length"), text("x")}});
     },
     [](CheckedSite& site) {
         SiteEngines::fileServer()->setFile(QString::fromStdString(site.stored(2)),
                                            {{text("length"), contentOfJob(2).size()}});
     },
     2, false, false, Where::GridFs},
};

bool canBePlanted(const Damage& damage)
{
    switch (damage.where) {
    case Where::Everywhere:
        return true;
    case Where::Sqlite:
        return SiteEngines::rowServer() == nullptr;
    case Where::Local:
        return SiteEngines::fileServer() == nullptr;
    case Where::GridFs:
        break;
    }
    return SiteEngines::fileServer() != nullptr;
}

} // namespace

class CheckSites final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup() { m_site.reset(); }

    void wholeSiteIsClean();
    void damageIsFoundAndMended_data();
    void damageIsFoundAndMended();
    void allDamagesAtOnce();
    void youngLeftoversAreNoFindings();
    void filesOfRefusedImportsAreNotices();
    void repairMendsOnlyWhatItNames();
    void rightThatIsMissingIsTold();
    void triggerIsToldWithItsCommand();
    void checkIsWrittenDown();
    void rowsOfAnEarlierReleaseAreFilled();
    void manifestsAreNeverRemoved();
    void killedReadingIsContinued();
    void cleanWhileTwoImport();

private:
    std::unique_ptr<CheckedSite> m_site;
};

void CheckSites::initTestCase()
{
    if (const QString problem = SiteEngines::problem(); !problem.isEmpty())
        QSKIP(qPrintable(problem));
    if (GridFsPeer* peer = SiteEngines::fileServer(); peer != nullptr && !peer->refusal().isEmpty())
        QSKIP(qPrintable(peer->refusal()));
    int count = 0;
    for (const Damage& damage : damages)
        count += canBePlanted(damage) ? 1 : 0;
    QVERIFY2(count >= 20, qPrintable(QString::number(count)));
}

void CheckSites::init()
{
    // Its orders name files of all sites.
    if (GridFsPeer* peer = SiteEngines::fileServer())
        peer->reset();
    m_site = std::make_unique<CheckedSite>();
}

void CheckSites::wholeSiteIsClean()
{
    for (const QStringList& options : {QStringList(), QStringList{text("--read-data")}}) {
        const auto outcome = m_site->check(options + QStringList{text("--settle=0")});
        QCOMPARE(outcome.err, QString());
        QCOMPARE(outcome.json[text("findings")].toArray(), QJsonArray());
        QCOMPARE(outcome.code, ExitCode::Success);
        QCOMPARE(outcome.json[text("jobs")].toInt(), firstJobs);
        QCOMPARE(outcome.json[text("files")].toInt(), firstJobs);
        QCOMPARE(outcome.json[text("files_read")].toInt(), options.isEmpty() ? 0 : firstJobs);
    }
}

void CheckSites::damageIsFoundAndMended_data()
{
    QTest::addColumn<int>("index");
    int index = 0;
    for (const Damage& damage : damages) {
        if (canBePlanted(damage))
            QTest::newRow(damage.name) << index;
        ++index;
    }
}

void CheckSites::damageIsFoundAndMended()
{
    QFETCH(const int, index);
    const Damage& damage = damages[index];
    damage.plant(*m_site);
    QStringList options = {text("--settle=0")};
    if (damage.readData)
        options << text("--read-data");
    const auto found = m_site->check(options);
    QCOMPARE(found.err, QString());
    QVERIFY2(found.count(damage.kind) > 0,
             QJsonDocument(found.json).toJson(QJsonDocument::Compact).constData());
    QCOMPARE(found.code, damage.isNotice ? ExitCode::Success : ExitCode::Findings);
    const QJsonObject finding = found.finding(damage.kind);
    QCOMPARE(finding[text("job")].toString(), damage.job == 0 ? QString() : m_site->job(damage.job));
    QVERIFY(!finding[text("mend")].toString().isEmpty());

    if (damage.restore) {
        damage.restore(*m_site);
    } else {
        const auto mended = m_site->check(options + QStringList{text("--repair"), text(damage.kind)});
        QCOMPARE(mended.finding(damage.kind)[text("failure")].toString(), QString());
        QCOMPARE(mended.code, ExitCode::Success);
    }
    const auto after = m_site->check(options);
    QCOMPARE(after.json[text("findings")].toArray(), QJsonArray());
    QCOMPARE(after.code, ExitCode::Success);
}

/// They do not hide each other.
void CheckSites::allDamagesAtOnce()
{
    QSet<QString> kinds;
    // From the last on: the import comes before the job count is set back.
    for (auto damage = std::rbegin(damages); damage != std::rend(damages); ++damage) {
        // Those of one job's file exclude each other; a lost sum file hides nothing of it.
        const bool isOfAFile =
            (damage->job == 1 || damage->job == 2) && text(damage->kind) != text("sum-stale");
        const bool isIdentity = text(damage->kind).startsWith(text("identity"));
        if (!canBePlanted(*damage) || isOfAFile || isIdentity || damage->refusesOpening)
            continue;
        damage->plant(*m_site);
        kinds.insert(text(damage->kind));
    }
    const auto found = m_site->check({text("--settle=0")});
    QStringList expected = kinds.values();
    expected.sort();
    QCOMPARE(found.json[text("counts")].toObject().keys().join(QLatin1Char(' ')),
             expected.join(QLatin1Char(' ')));
    QCOMPARE(found.code, ExitCode::Findings);
}

/// Nothing that an import under way could be is a finding at once.
void CheckSites::youngLeftoversAreNoFindings()
{
    for (const Damage& damage : damages) {
        const QString kind = text(damage.kind);
        if (kind == text("half-import") || kind == text("orig-file-unused") || kind == text("batch-behind") ||
            kind == text("file-orphan") || kind == text("cam-leftover") || kind == text("fetch-leftover"))
            damage.plant(*m_site);
    }
    const auto found = m_site->check();
    QCOMPARE(found.code, ExitCode::Success);
    const QJsonObject counts = found.json[text("counts")].toObject();
    QCOMPARE(counts.keys(), QStringList{text("file-unclaimed")});
}

/// The panel stores a file before it asks for the company, and leaves it where that is refused.
void CheckSites::filesOfRefusedImportsAreNotices()
{
    const auto config = Common::commonInterface()->getConfig();
    const auto put = [&](const char* name) {
        const QString path = m_site->site().path(QString::fromLatin1(name));
        CheckedSite::write(path, name);
        return Common::MongodbPut(config.mongoDbName, config.mongoFsName, path.toStdString(), name);
    };
    std::vector<DataLib::Model::Odbpp_Company> companies;
    QCOMPARE(put("nobody.tgz"), 0);
    QVERIFY(DataLib::BLL::Odbpp_CompanyBll().select({{"CompanyName", "nobody"}}, {}, companies));
    QCOMPARE(put("late.tgz"), 0);
    std::string company = "深圳华兴电路";
    QVERIFY(!DataLib::BLL::Odbpp_CompanyBll().inputCompanies(company, 1, 1));
    // Only the first refusal is one of that file.
    QVERIFY(!DataLib::BLL::Odbpp_CompanyBll().inputCompanies(company, 1, 1));

    const auto found = m_site->check({text("--settle=0")});
    QCOMPARE(found.code, ExitCode::Success);
    QCOMPARE(found.json[text("counts")].toObject().keys(), QStringList{text("file-refused")});
    QCOMPARE(found.count("file-refused"), 2);
    EventFilter filter;
    filter.kind = QString(eventKind::refused);
    const auto events = taken(listEvents(*taken(Site::current().database()), filter));
    QCOMPARE(events.size(), std::size_t(2));
    QCOMPARE(events[0].subject, QString::fromStdString(company));
    QVERIFY2(events[0].reason.contains(text("job number 1 is taken")), qPrintable(events[0].reason));

    QCOMPARE(m_site->check({text("--repair=file-refused")}).code, ExitCode::Success);
    QCOMPARE(taken(m_site->store().listQuarantine(m_site->location())).size(), std::size_t(2));
    QVERIFY(m_site->check({text("--settle=0")}).json[text("findings")].toArray().isEmpty());
}

void CheckSites::repairMendsOnlyWhatItNames()
{
    m_site->put("orphan.tgz", "orphan");
    m_site->change("UPDATE company SET job_count = 1");
    const auto found = m_site->check({text("--settle=0"), text("--repair=counter-behind")});
    QCOMPARE(found.code, ExitCode::Findings);
    QVERIFY(found.finding("counter-behind")[text("mended")].toBool());
    QVERIFY(!found.finding("file-orphan")[text("mended")].toBool());
    QVERIFY(m_site->store().find(m_site->location(), "orphan.tgz").ok());

    QCOMPARE(m_site->check({text("--settle=0"), text("--repair=file-orphan,counter-behind")}).code,
             ExitCode::Success);
    const auto quarantined = taken(m_site->store().listQuarantine(m_site->location()));
    QCOMPARE(quarantined.size(), std::size_t(1));
    QCOMPARE(quarantined[0].file.name, std::string("orphan.tgz"));

    const auto refused = m_site->check({text("--repair=file-missing")});
    QCOMPARE(refused.code, ExitCode::Usage);
    QVERIFY2(refused.err.contains(text("counter-behind")), qPrintable(refused.err));
}

void CheckSites::rightThatIsMissingIsTold()
{
    MariaDbServer* server = SiteEngines::rowServer();
    if (server == nullptr)
        QSKIP("an embedded database has no accounts");
    QVERIFY(server->run({}, QStringLiteral("REVOKE TRIGGER ON %1.* FROM '%2'@'127.0.0.1'")
                                .arg(m_site->settings().database.name, m_site->settings().database.user)));
    Site::current().close();
    const auto found = m_site->check();
    QCOMPARE(found.code, ExitCode::Findings);
    QVERIFY(found.count("not-looked-at") > 0);
    QVERIFY(!found.json[text("clean")].toBool());
}

void CheckSites::triggerIsToldWithItsCommand()
{
    m_site->outside({text("CREATE TRIGGER planted AFTER INSERT ON company BEGIN SELECT 1; END")},
                    {text("CREATE TRIGGER planted AFTER INSERT ON company FOR EACH ROW SET @planted = 1")});
    const QString mend = m_site->check().finding("schema-changed")[text("mend")].toString();
    QVERIFY2(mend.endsWith(text(": DROP TRIGGER planted")), qPrintable(mend));
}

void CheckSites::checkIsWrittenDown()
{
    m_site->put("orphan.tgz", "orphan");
    m_site->check();
    m_site->check({text("--settle=0")});
    Database& database = *taken(Site::current().database());
    EventFilter filter;
    filter.kind = eventKind::checked;
    const auto events = taken(listEvents(database, filter));
    QCOMPARE(events.size(), std::size_t(2));
    QCOMPARE(events[0].detail[text("file-orphan")].toInt(), 1);
    QCOMPARE(events[0].outcome, text("findings"));
    QCOMPARE(events[1].outcome, text("clean"));
}

void CheckSites::rowsOfAnEarlierReleaseAreFilled()
{
    m_site->importFolder();
    const QStringList before = m_site->contentColumns();
    QVERIFY(before.last().size() > 2 * 64);
    m_site->change("UPDATE orig_file SET stored_length = NULL, stored_sha256 = NULL, content_length = NULL,"
                   " content_sha256 = NULL");
    const auto found = m_site->check();
    QCOMPARE(found.code, ExitCode::Success);
    QVERIFY2(found.finding("content-not-recorded")[text("text")].toString().startsWith(
                 QString::number(firstJobs + 1)),
             qPrintable(found.finding("content-not-recorded")[text("text")].toString()));
    const auto filled = m_site->check({text("--read-data")});
    QCOMPARE(filled.json[text("findings")].toArray(), QJsonArray());
    QCOMPARE(m_site->contentColumns(), before);
    QCOMPARE(m_site->check().json[text("findings")].toArray(), QJsonArray());
}

/// A client that was killed leaves them in its work folder; nothing else holds them.
void CheckSites::manifestsAreNeverRemoved()
{
    const QString work = m_site->settings().downloadCache + text("work/");
    const QString kept = work + text("process-0000000000000001");
    const QString empty = work + text("process-0000000000000002");
    makeFolder(kept);
    makeFolder(empty);
    CheckedSite::write(kept + text("/manifests-1"), "{}\n");
    const auto found = m_site->check({text("--settle=0"), text("--repair=work-leftover")});
    QCOMPARE(found.code, ExitCode::Findings);
    QCOMPARE(found.count("work-leftover"), 2);
    QVERIFY(QFile::exists(kept + text("/manifests-1")));
    QVERIFY(!QFile::exists(empty));
    QVERIFY(found.finding("work-leftover")[text("mend")].toString().contains(text("zav_client")));
    // What a running program holds is none of the check's business.
    const auto lock = taken(FileLock::acquire(QFile::encodeName(kept + text("/lock")).toStdString()));
    QCOMPARE(m_site->check({text("--settle=0")}).code, ExitCode::Success);
}

void CheckSites::killedReadingIsContinued()
{
    constexpr int files = 40;
    for (int number = 0; number < files; ++number)
        m_site->put(QStringLiteral("big-%1").arg(number).toStdString(),
                    QByteArray(2'000'000, char('A' + number)));
    const QString state = m_site->settings().downloadCache + text("check-state");
    for (int tries = 0; tries < 10 && !QFile::exists(state); ++tries) {
        QProcess reading;
        reading.start(QStringLiteral(ZAV_ADMIN_PROGRAM),
                      {text("--config"), m_site->site().configuration(), text("check"), text("--read-data")});
        reading.setReadChannel(QProcess::StandardError);
        QByteArray shown;
        while (!shown.contains("reading: 3") && reading.waitForReadyRead())
            shown += reading.readAllStandardError();
        reading.kill();
        QVERIFY(reading.waitForFinished());
    }
    QVERIFY(QFile::exists(state));

    const auto went = m_site->check({text("--read-data"), text("--continue")});
    QCOMPARE(went.code, ExitCode::Success);
    QVERIFY(!went.json[text("went_on_from")].toString().isEmpty());
    const int read = went.json[text("files_read")].toInt();
    QVERIFY2(read > 0 && read < files + firstJobs, qPrintable(QString::number(read)));
    QVERIFY(!QFile::exists(state));
    const auto anew = m_site->check({text("--read-data"), text("--continue")});
    QCOMPARE(anew.json[text("files_read")].toInt(), files + firstJobs);
    QCOMPARE(anew.json[text("went_on_from")].toString(), QString());
}

/// Two importers, each at a company of its own, while the check is run again and again.
void CheckSites::cleanWhileTwoImport()
{
    bool isNumber = false;
    const int named = qEnvironmentVariableIntValue("ZAV_TEST_JOBS", &isNumber);
    const int jobs = isNumber ? named : 150;
    constexpr int importers = 2;
    std::atomic<int> running{importers};
    std::vector<std::thread> threads;
    const auto import = [&running, jobs](const char* company) {
        {
            const AdminSession source;
            for (int number = 1; number <= jobs / importers; ++number)
                source.importJob(company, "busy", contentOfJob(number % 20), 0);
            Site::current().close();
        }
        --running;
    };
    m_site->site().addCompany(text("AA"), text("first"));
    m_site->site().addCompany(text("BB"), text("second"));
    threads.emplace_back(import, "AA");
    threads.emplace_back(import, "BB");
    int checks = 0;
    QStringList wrong;
    do {
        const auto outcome =
            m_site->check(checks % 2 == 0 ? QStringList() : QStringList{text("--read-data")});
        const QStringList kinds = outcome.json[text("counts")].toObject().keys();
        if (outcome.code != ExitCode::Success ||
            !(kinds.isEmpty() || kinds == QStringList{text("file-unclaimed")}))
            wrong << outcome.err + QString::fromUtf8(QJsonDocument(outcome.json).toJson());
        ++checks;
    } while (running > 0);
    for (std::thread& thread : threads)
        thread.join();
    QCOMPARE(wrong.join(QLatin1Char('\n')), QString());
    QVERIFY(checks > 1);
    const auto after = m_site->check({text("--read-data"), text("--settle=0")});
    QCOMPARE(after.json[text("findings")].toArray(), QJsonArray());
    QCOMPARE(after.json[text("jobs")].toInt(), firstJobs + jobs / importers * importers);
    qInfo("%d jobs, %d checks", jobs, checks);
}

ZAV_REGISTER_TEST(check_sites, CheckSites, QCoreApplication)

#include "check_sites.moc"
