#include "samples/BatchGenerator.h"
#include "tests/support/TestProgram.h"
#include "tests/unit/SamplesTree.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace KOZAV::Samples;
using namespace KOZAV::Test;

class SamplesBatchTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void everyKindIsInEveryCompany();
    void listingAgreesWithTheDisk();
    void manifestsAreWhatTheListingStates();
    void refusedEntriesHaveTheirNames();
    void companiesHaveNamesAndCodes();
    void unknownCompanyIsListedWithoutACode();
    void sameSeedGivesTheSameBatch();
    void otherSeedGivesAnotherBatch();
    void kindsAreDealtOutOverSmallCompanies();
    void usedDirectoryIsRefused();
    void invalidRequestsAreRefused_data();
    void invalidRequestsAreRefused();

private:
    [[nodiscard]] QString path(const QString& name) const { return m_dir->filePath(name); }
    [[nodiscard]] BatchRequest request(const QString& directory, int companies, int jobs) const;
    [[nodiscard]] QString entryPath(const BatchCompany& company, const BatchEntry& entry) const;

    std::unique_ptr<QTemporaryDir> m_dir;
    /// A batch that the tests read and none of them changes.
    QTemporaryDir m_sharedDir;
    BatchRequest m_sharedRequest;
    BatchResult m_shared;
};

namespace {

QJsonDocument parse(const QString& manifest, QJsonParseError* error)
{
    return QJsonDocument::fromJson(readFile(manifest), error);
}

/// The texts that a strict reader takes from the manifest.
ManifestTexts readTexts(const QJsonObject& object)
{
    const auto text = [&](const char* member) { return object.value(QLatin1String(member)).toString(); };
    return {text("resource"), text("customer2"), text("customer3")};
}

} // namespace

void SamplesBatchTest::initTestCase()
{
    m_sharedRequest = request(QString(), 2, 8);
    m_sharedRequest.directory = m_sharedDir.filePath(QStringLiteral("batch"));
    m_sharedRequest.unknownCompany = true;
    m_shared = generateBatch(m_sharedRequest);
    QCOMPARE(m_shared.error, QString());
    QCOMPARE(m_shared.companies.size(), std::size_t{3});
}

void SamplesBatchTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
}

BatchRequest SamplesBatchTest::request(const QString& directory, int companies, int jobs) const
{
    BatchRequest request;
    request.directory = directory.isEmpty() ? QString() : path(directory);
    request.seed = 9;
    request.companies = companies;
    request.jobs = jobs;
    request.jobBytes = 100U << 10U;
    return request;
}

QString SamplesBatchTest::entryPath(const BatchCompany& company, const BatchEntry& entry) const
{
    return m_sharedRequest.directory + QStringLiteral("/%1/%2").arg(company.name, entry.name);
}

void SamplesBatchTest::everyKindIsInEveryCompany()
{
    const QMap<QString, int> wanted{
        {QStringLiteral("folder none"), 1},      {QStringLiteral("folder good"), 1},
        {QStringLiteral("folder partial"), 1},   {QStringLiteral("folder wrong-types"), 1},
        {QStringLiteral("folder broken"), 1},    {QStringLiteral("archive tgz"), 1},
        {QStringLiteral("archive zip"), 1},      {QStringLiteral("archive kos"), 1},
        {QStringLiteral("refused job.tar"), 1},  {QStringLiteral("refused job.ZIP"), 1},
        {QStringLiteral("refused notes.txt"), 1}};
    for (const BatchCompany& company : m_shared.companies) {
        if (!company.isKnown())
            continue;
        QMap<QString, int> found;
        for (const BatchEntry& entry : company.entries) {
            if (entry.kind == EntryKind::Folder)
                ++found[QStringLiteral("folder ") + manifestKindName(entry.manifest)];
            else if (entry.kind == EntryKind::Archive)
                ++found[QStringLiteral("archive ") + QFileInfo(entry.name).suffix()];
            else
                ++found[QStringLiteral("refused ") + entry.name];
        }
        QCOMPARE(found, wanted);
    }
}

void SamplesBatchTest::listingAgreesWithTheDisk()
{
    QStringList top;
    for (const BatchCompany& company : m_shared.companies) {
        top.append(company.name);
        QStringList names;
        for (const BatchEntry& entry : company.entries) {
            names.append(entry.name);
            const QFileInfo info(entryPath(company, entry));
            QCOMPARE(info.isDir(), entry.kind == EntryKind::Folder);
            const TreeSize size = measureTree(info.filePath());
            if (info.isDir())
                QCOMPARE(entry.files, size.files);
            QCOMPARE(entry.bytes, info.isDir() ? size.bytes : static_cast<quint64>(info.size()));
        }
        const QDir folder(m_sharedRequest.directory + QLatin1Char('/') + company.name);
        QStringList found = folder.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        names.sort();
        found.sort();
        QCOMPARE(found, names);
    }
    for (const BatchEntry& entry : m_shared.outside)
        top.append(entry.name);
    QVERIFY(QFileInfo(m_sharedRequest.directory + QStringLiteral("/misplaced.tgz")).isFile());
    QStringList found =
        QDir(m_sharedRequest.directory).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    top.sort();
    found.sort();
    QCOMPARE(found, top);
}

void SamplesBatchTest::manifestsAreWhatTheListingStates()
{
    QSet<QString> seen;
    for (const BatchEntry& entry : m_shared.companies.front().entries) {
        const QString manifest =
            entryPath(m_shared.companies.front(), entry) + QStringLiteral("/readme.json");
        QCOMPARE(QFileInfo::exists(manifest), entry.manifest != ManifestKind::None);
        if (entry.manifest == ManifestKind::None)
            continue;
        seen.insert(manifestKindName(entry.manifest));
        QJsonParseError error{};
        const QJsonObject object = parse(manifest, &error).object();
        QCOMPARE(error.error != QJsonParseError::NoError, entry.manifest == ManifestKind::Broken);
        const ManifestTexts texts = readTexts(object);
        QCOMPARE(entry.texts.resource, texts.resource);
        QCOMPARE(entry.texts.customer2, texts.customer2);
        QCOMPARE(entry.texts.customer3, texts.customer3);
        QCOMPARE(!texts.resource.isEmpty(), entry.manifest == ManifestKind::Good);
        QCOMPARE(!texts.customer3.isEmpty(),
                 entry.manifest == ManifestKind::Good || entry.manifest == ManifestKind::Partial);
        if (entry.manifest == ManifestKind::Partial)
            QCOMPARE(object.keys(), QStringList(QStringLiteral("customer3")));
        if (entry.manifest == ManifestKind::WrongTypes)
            QCOMPARE(object.value(QStringLiteral("resource")), QJsonValue(5));
    }
    QCOMPARE(seen.size(), 4);
}

void SamplesBatchTest::refusedEntriesHaveTheirNames()
{
    const QString company = m_sharedRequest.directory + QLatin1Char('/') + m_shared.companies.front().name;
    QVERIFY(readFile(company + QStringLiteral("/job.ZIP")).startsWith("PK\x03\x04"));
    QVERIFY(readFile(company + QStringLiteral("/job.tar")).startsWith("refused/"));
    QVERIFY(readFile(company + QStringLiteral("/notes.txt")).startsWith("Delivery notes"));
    QVERIFY(readFile(m_sharedRequest.directory + QStringLiteral("/misplaced.tgz")).startsWith("\x1f\x8b"));
}

void SamplesBatchTest::companiesHaveNamesAndCodes()
{
    const BatchResult batch = generateBatch(request(QStringLiteral("a"), 9, 1));
    QCOMPARE(batch.error, QString());
    QSet<QString> names;
    QSet<QString> codes;
    for (const BatchCompany& company : batch.companies) {
        QVERIFY(company.isKnown());
        names.insert(company.name);
        codes.insert(company.code);
    }
    QCOMPARE(names.size(), 9);
    QCOMPARE(codes.size(), 9);
    QCOMPARE(batch.companies.at(0).name, QStringLiteral("深圳华兴电路"));
    QCOMPARE(batch.companies.at(0).code, QStringLiteral("HX"));
    QCOMPARE(batch.companies.at(3).name, QStringLiteral("Acme Boards Inc."));
    QCOMPARE(batch.companies.at(8).code, QStringLiteral("HX2"));
}

void SamplesBatchTest::unknownCompanyIsListedWithoutACode()
{
    const BatchCompany& unknown = m_shared.companies.back();
    QVERIFY(!unknown.isKnown());
    QCOMPARE(unknown.code, QString());
    QCOMPARE(unknown.entries.size(), std::size_t{2});
    for (const BatchEntry& entry : unknown.entries)
        QVERIFY(QFileInfo::exists(entryPath(unknown, entry)));
}

void SamplesBatchTest::sameSeedGivesTheSameBatch()
{
    BatchRequest wanted = m_sharedRequest;
    wanted.directory = path(QStringLiteral("a"));
    QCOMPARE(generateBatch(wanted).error, QString());
    QCOMPARE(readTree(wanted.directory), readTree(m_sharedRequest.directory));
    QCOMPARE(readTimes(wanted.directory), readTimes(m_sharedRequest.directory));
}

void SamplesBatchTest::otherSeedGivesAnotherBatch()
{
    BatchRequest wanted = request(QStringLiteral("a"), 1, 2);
    QCOMPARE(generateBatch(wanted).error, QString());
    wanted.directory = path(QStringLiteral("b"));
    wanted.seed = 10;
    QCOMPARE(generateBatch(wanted).error, QString());
    QVERIFY(readTree(path(QStringLiteral("b"))) != readTree(path(QStringLiteral("a"))));
    QVERIFY(readFile(path(QStringLiteral("b/misplaced.tgz"))) !=
            readFile(path(QStringLiteral("a/misplaced.tgz"))));
}

void SamplesBatchTest::kindsAreDealtOutOverSmallCompanies()
{
    const BatchResult batch = generateBatch(request(QStringLiteral("a"), 4, 2));
    QSet<QString> kinds;
    for (const BatchCompany& company : batch.companies)
        for (const BatchEntry& entry : company.entries)
            if (entry.kind == EntryKind::Folder)
                kinds.insert(manifestKindName(entry.manifest));
            else if (entry.kind == EntryKind::Archive)
                kinds.insert(QFileInfo(entry.name).suffix());
    QCOMPARE(kinds.size(), 8);
}

void SamplesBatchTest::usedDirectoryIsRefused()
{
    QVERIFY(QDir().mkpath(path(QStringLiteral("a"))));
    writeFile(path(QStringLiteral("a/.hidden")), "mine");
    const BatchResult batch = generateBatch(request(QStringLiteral("a"), 1, 1));
    QCOMPARE(batch.error,
             QStringLiteral("the folder %1 exists and is not empty").arg(path(QStringLiteral("a"))));
    QCOMPARE(readTree(path(QStringLiteral("a"))).keys(), QStringList(QStringLiteral(".hidden")));
}

void SamplesBatchTest::invalidRequestsAreRefused_data()
{
    QTest::addColumn<int>("companies");
    QTest::addColumn<int>("jobs");
    QTest::addColumn<quint64>("bytes");
    QTest::addColumn<QString>("error");
    const quint64 fits = 100U << 10U;
    QTest::newRow("no company") << 0 << 1 << fits
                                << QStringLiteral("the number of companies must be 1 to 100, not 0");
    QTest::newRow("companies") << 101 << 1 << fits
                               << QStringLiteral("the number of companies must be 1 to 100, not 101");
    QTest::newRow("no job") << 1 << 0 << fits
                            << QStringLiteral("the number of jobs must be 1 to 1000, not 0");
    QTest::newRow("jobs") << 1 << 1001 << fits
                          << QStringLiteral("the number of jobs must be 1 to 1000, not 1001");
    QTest::newRow("size") << 1 << 1 << fits - 1 << QStringLiteral("a job has 100 K to 8 G, not 99.9 K");
}

void SamplesBatchTest::invalidRequestsAreRefused()
{
    QFETCH(int, companies);
    QFETCH(int, jobs);
    QFETCH(quint64, bytes);
    BatchRequest wanted = request(QStringLiteral("a"), companies, jobs);
    wanted.jobBytes = bytes;
    QTEST(generateBatch(wanted).error, "error");
    QVERIFY(!QFileInfo::exists(wanted.directory));
}

ZAV_REGISTER_TEST(samples_batch, SamplesBatchTest, QCoreApplication)

#include "samples_batch.moc"
