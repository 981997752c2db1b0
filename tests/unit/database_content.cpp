// What rows know of the content of stored files: known content, what fetched files are compared with, and
// rows that do not know it yet.

#include "backend/records/FileContent.h"
#include "backend/records/JobListing.h"
#include "backend/records/KnownContent.h"
#include "backend/records/SiteAudit.h"
#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <algorithm>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

#define HASH_A "'aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa'"
#define HASH_B "'bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb'"

ContentDigest digest(qint64 length, char letter)
{
    return {length, QByteArray(64, letter)};
}

/// A1 and A2 hold the same archive. A3 to A6 are folders of one content: A3 complete, A4 without its
/// job-compress row, A5 taken back, A6 handed to the robot. A7 was written without content, and so was the
/// robot archive of A1, which has the content of A2's file. A8 waits for its file to be linked.
const char* const siteRows[] = {
    "INSERT INTO company (code, name, created_time, updated_time) VALUES ('A', 'Alpha', 't', 't')",
    "INSERT INTO orig_file (guid, job_name, stored_name, suffix, company_code, user_id, created_time,"
    " stored_length, stored_sha256, content_length, content_sha256) VALUES"
    " ('o1', 'one', 's1.tgz', 'tgz', 'A', 5, 't1', 5000000000, " HASH_A ", NULL, NULL),"
    " ('o2', 'two', 's2.tgz', 'tgz', 'A', 5, 't2', 5000000000, " HASH_A ", NULL, NULL),"
    " ('o3', 'three', 's3.zip', '', 'A', 5, 't3', 30, " HASH_A ", 100, " HASH_B "),"
    " ('o4', 'four', 's4.zip', '', 'A', 5, 't4', 40, " HASH_A ", 100, " HASH_B "),"
    " ('o5', 'five', 's5.zip', '', 'A', 5, 't5', 50, " HASH_A ", 100, " HASH_B "),"
    " ('o6', 'six', 's6.zip', '', 'A', 5, 't6', 60, " HASH_A ", 100, " HASH_B "),"
    " ('o7', 'seven', 's7.zip', '', 'A', 5, 't7', NULL, NULL, NULL, NULL),"
    " ('o8', 'eight', 's8.zip', '', 'A', 5, 't8', 80, " HASH_A ", NULL, NULL)",
    "INSERT INTO job_flow (guid, job_name, ko_serial_name, flow_no, user_id, state, sub_state,"
    " orig_file_guid, created_time) VALUES"
    " ('f1', 'one', 'A1', '', 5, 0, 0, 'o1', 't1'), ('f2', 'two', 'A2', '', 5, 0, 0, 'o2', 't2'),"
    " ('f3', 'three', 'A3', '', 5, 0, 0, 'o3', 't3'), ('f4', 'four', 'A4', '', 5, 0, 0, 'o4', 't4'),"
    " ('f5', 'five', 'A5', '', 5, -2, -2, 'o5', 't5'), ('f6', 'six', 'A6', '', 5, 1, 2, 'o6', 't6'),"
    " ('f7', 'seven', 'A7', '', 5, 0, 0, 'o7', 't7')",
    "INSERT INTO job_compress (flow_guid, company_name, company_code, company_id, job_name, stored_name,"
    " suffix, remark, file_store, user_id, job_number, created_time)"
    " SELECT f.guid, 'Alpha then', 'A', 1, f.job_name, o.stored_name, o.suffix, '', 'older', 5, f.id, 't'"
    " FROM job_flow f JOIN orig_file o ON o.guid = f.orig_file_guid WHERE f.guid <> 'f4'",
    ("INSERT INTO orig_file (guid, job_name, stored_name, suffix, user_id, flow_guid, created_time) VALUES"
     " ('r1', 'one', 'r1', '', 5, 'f1', 't9')"),
};

QStringList namesOf(const Result<std::vector<KnownJob>>& jobs)
{
    QStringList names;
    for (const KnownJob& job : jobs.value())
        names << job.generatedName;
    return names;
}

/// The rows that a check would fill.
QStringList unfilled(Database& database)
{
    QStringList files;
    const auto rows = listFileRows(database, {}, 100);
    for (const FileRow& file : rows.value())
        if (file.isUnfilled())
            files << file.storedName + (file.storedSha256 ? QString() : QStringLiteral(" stored")) +
                         (file.lacksContent ? QStringLiteral(" content") : QString());
    return files;
}

} // namespace

class DatabaseContentTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void knownContentIsThatOfCompleteJobs();
    void aKnownJobHasItsFields();
    void manyContentsAreFoundAtOnce();
    void contentsOfJobsAreThoseOfTheirFiles();
    void knownLengths();
    void knownContentIsFoundByItsIndex_data();
    void knownContentIsFoundByItsIndex();
    void jobsAreListedWithTheirContent();
    void aJobOfAnotherFileHasNoContent();
    void anotherContentNamesItsJob();
    void claimsAreThoseOfAllFiles();
    void rowsWithoutContentAreListed();
    void rowsAreFilledOnce();

private:
    qint64 numberOf(const char* guid) const
    {
        return valueOf(*m_database, "SELECT id FROM orig_file WHERE guid = ?", {QLatin1String(guid)})
            .toLongLong();
    }

    std::unique_ptr<TemporaryDatabase> m_place;
    std::unique_ptr<Database> m_database;
};

void DatabaseContentTest::init()
{
    m_place = std::make_unique<TemporaryDatabase>();
    m_database = m_place->open();
    QVERIFY(m_database);
    for (const char* statement : siteRows) {
        const Result<int> done = m_database->change(statement, {}, Durability::Deferred);
        QVERIFY2(done.ok(), qPrintable(done.message()));
    }
}

void DatabaseContentTest::cleanup()
{
    m_database.reset();
    m_place.reset();
}

void DatabaseContentTest::knownContentIsThatOfCompleteJobs()
{
    const auto found = [this](KnownBy by, const ContentDigest& content) {
        return namesOf(findKnownContent(*m_database, by, content)).join(QLatin1Char(' '));
    };
    QCOMPARE(found(KnownBy::StoredFile, digest(5'000'000'000, 'a')), QStringLiteral("A1 A2"));
    QCOMPARE(found(KnownBy::FolderContent, digest(100, 'b')), QStringLiteral("A3 A6"));
    QCOMPARE(found(KnownBy::StoredFile, digest(30, 'a')), QStringLiteral("A3"));
    QCOMPARE(found(KnownBy::StoredFile, digest(40, 'a')), QString());
    QCOMPARE(found(KnownBy::StoredFile, digest(30, 'b')), QString());
    QCOMPARE(found(KnownBy::StoredFile, digest(31, 'a')), QString());
    QCOMPARE(found(KnownBy::FolderContent, digest(30, 'a')), QString());
}

void DatabaseContentTest::aKnownJobHasItsFields()
{
    const auto jobs = findKnownContent(*m_database, KnownBy::FolderContent, digest(100, 'b'));
    QCOMPARE(jobs->size(), size_t{2});
    const KnownJob& job = jobs->back();
    QCOMPARE(QStringList({job.flowGuid, job.generatedName, job.jobName, job.companyCode, job.companyName,
                          job.createdTime}),
             QStringList({QStringLiteral("f6"), QStringLiteral("A6"), QStringLiteral("six"),
                          QStringLiteral("A"), QStringLiteral("Alpha then"), QStringLiteral("t6")}));
    QCOMPARE(job.state, 1);
    QCOMPARE(job.subState, 2);
}

void DatabaseContentTest::manyContentsAreFoundAtOnce()
{
    // More than one statement takes; the first and the last are there.
    std::vector<ContentDigest> contents{digest(5'000'000'000, 'a')};
    for (int i = 0; i < 150; ++i)
        contents.push_back(digest(1000 + i, 'c'));
    contents.push_back(digest(60, 'a'));
    const auto found = findKnownContents(*m_database, KnownBy::StoredFile, contents);
    QVERIFY2(found.ok(), qPrintable(found.message()));
    QCOMPARE(found->size(), size_t{2});
    // A1 and A2 have it: the oldest is told.
    QCOMPARE(found->front().job.generatedName, QStringLiteral("A1"));
    QCOMPARE(found->front().job.companyId, 1);
    QVERIFY(found->front().content == contents.front());
    QCOMPARE(found->back().job.generatedName, QStringLiteral("A6"));
    QVERIFY(found->back().content == contents.back());

    const auto folders =
        findKnownContents(*m_database, KnownBy::FolderContent, {digest(100, 'b'), digest(30, 'a')});
    QVERIFY2(folders.ok(), qPrintable(folders.message()));
    QCOMPARE(folders->size(), size_t{1});
    QCOMPARE(folders->front().job.generatedName, QStringLiteral("A3"));
    QVERIFY(findKnownContents(*m_database, KnownBy::StoredFile, {})->empty());
}

void DatabaseContentTest::contentsOfJobsAreThoseOfTheirFiles()
{
    const auto jobs = contentsOfJobs(*m_database, {QStringLiteral("f1"), QStringLiteral("f3"),
                                                   QStringLiteral("f7"), QStringLiteral("nothing")});
    QVERIFY2(jobs.ok(), qPrintable(jobs.message()));
    QCOMPARE(jobs->size(), size_t{2});
    QCOMPARE(jobs->front().flowGuid, QStringLiteral("f1"));
    QVERIFY(jobs->front().by == KnownBy::StoredFile);
    QVERIFY(jobs->front().content == digest(5'000'000'000, 'a'));
    QCOMPARE(jobs->back().flowGuid, QStringLiteral("f3"));
    QVERIFY(jobs->back().by == KnownBy::FolderContent);
    QVERIFY(jobs->back().content == digest(100, 'b'));
}

void DatabaseContentTest::knownLengths()
{
    const auto known = [this](KnownBy by, std::vector<qint64> lengths) {
        lengths = findKnownLengths(*m_database, by, lengths).value();
        std::sort(lengths.begin(), lengths.end());
        return lengths;
    };
    QCOMPARE(known(KnownBy::StoredFile, {100, 5'000'000'000, 0, 30, 30}),
             (std::vector<qint64>{30, 5'000'000'000}));
    QCOMPARE(known(KnownBy::FolderContent, {30, 100, 5'000'000'000}), std::vector<qint64>{100});
    QCOMPARE(known(KnownBy::FolderContent, {}), std::vector<qint64>{});
    std::vector<qint64> many(100, 1);
    many.push_back(30);
    QCOMPARE(known(KnownBy::StoredFile, many), std::vector<qint64>{30});
}

void DatabaseContentTest::knownContentIsFoundByItsIndex_data()
{
    QTest::addColumn<int>("by");
    QTest::addColumn<QString>("column");
    QTest::addColumn<QString>("index");
    QTest::newRow("stored file") << int(KnownBy::StoredFile) << QStringLiteral("stored")
                                 << QStringLiteral("orig_file_stored_content");
    QTest::newRow("folder content") << int(KnownBy::FolderContent) << QStringLiteral("content")
                                    << QStringLiteral("orig_file_content");
}

/// The engine keeps the texts of the statements that are prepared: the plans are those of the product's own.
void DatabaseContentTest::knownContentIsFoundByItsIndex()
{
    QFETCH(const int, by);
    QFETCH(const QString, column);
    QFETCH(const QString, index);
    const auto known = static_cast<KnownBy>(by);
    QVERIFY(findKnownLengths(*m_database, known, {1}).ok());
    QVERIFY(findKnownContent(*m_database, known, digest(1, 'c')).ok());
    QVERIFY(findKnownContents(*m_database, known, {digest(1, 'c')}).ok());
    QVERIFY(contentsOfJobs(*m_database, {QStringLiteral("f1")}).ok());
    QStringList texts;
    const Status asked = m_database->query("SELECT sql FROM sqlite_stmt WHERE sql LIKE 'SELECT%' AND (sql "
                                           "LIKE '%FROM orig_file%' OR sql LIKE '%JOIN orig_file%')"
                                           " AND sql NOT LIKE '%sqlite_stmt%' ORDER BY sql",
                                           {}, [&texts](const QSqlQuery& row) {
                                               texts << row.value(0).toString();
                                               return true;
                                           });
    if (!asked.ok() && asked.message().contains(QStringLiteral("no such table")))
        QSKIP("this SQLite does not tell its statements");
    QVERIFY2(asked.ok(), qPrintable(asked.message()));
    QCOMPARE(texts.size(), 4);
    QStringList plans;
    for (const QString& sql : texts) {
        const QByteArray explained = "EXPLAIN QUERY PLAN " + sql.toLatin1();
        QVariantList values;
        for (int i = 0; i < sql.count(QLatin1Char('?')); ++i)
            values << (i % 2 == 0 ? QVariant(1) : QVariant(QString()));
        QVERIFY(m_database
                    ->query(explained.constData(), values,
                            [&plans](const QSqlQuery& row) {
                                plans << row.value(3).toString();
                                return true;
                            })
                    .ok());
    }
    const QString text = plans.join(QStringLiteral("; "));
    // But for the jobs that were found.
    QVERIFY2(!QString(text).remove(QStringLiteral("SCAN k")).contains(QStringLiteral("SCAN")),
             qPrintable(text));
    QCOMPARE(text.count(
                 QStringLiteral("SEARCH o USING INDEX %1 (%2_length=? AND %2_sha256=?)").arg(index, column)),
             1 + 64);
    QVERIFY2(text.contains(
                 QStringLiteral("SEARCH orig_file USING COVERING INDEX %1 (%2_length=?)").arg(index, column)),
             qPrintable(text));
    QVERIFY2(text.contains(QStringLiteral("SEARCH o USING INDEX %1 (%2_length=? AND %2_sha256=?); "
                                          "SEARCH f USING INDEX job_flow_orig_file_guid (orig_file_guid=?); "
                                          "SEARCH z USING INDEX sqlite_autoindex_job_compress_1")
                               .arg(index, column)),
             qPrintable(text));
}

void DatabaseContentTest::jobsAreListedWithTheirContent()
{
    const auto jobs = listJobs(*m_database, {});
    QCOMPARE(jobs->size(), size_t{7});
    QCOMPARE(jobs->at(0).stored, std::optional(digest(5'000'000'000, 'a')));
    QCOMPARE(jobs->at(0).content, std::optional<ContentDigest>());
    QCOMPARE(jobs->at(2).stored, std::optional(digest(30, 'a')));
    QCOMPARE(jobs->at(2).content, std::optional(digest(100, 'b')));
    QCOMPARE(jobs->at(3).stored, std::optional(digest(40, 'a')));
    QCOMPARE(jobs->at(6).stored, std::optional<ContentDigest>());
}

void DatabaseContentTest::aJobOfAnotherFileHasNoContent()
{
    QVERIFY(m_database
                ->change("UPDATE job_compress SET stored_name = 'other' WHERE flow_guid = 'f1'", {},
                         Durability::Deferred)
                .ok());
    const auto jobs = listJobs(*m_database, {});
    QCOMPARE(jobs->front().storedName, QStringLiteral("other"));
    QCOMPARE(jobs->front().stored, std::optional<ContentDigest>());
}

void DatabaseContentTest::anotherContentNamesItsJob()
{
    const auto jobs = listJobs(*m_database, {});
    QVERIFY(checkContent(jobs->at(2), digest(30, 'a')).ok());
    for (const ContentDigest& other : {digest(30, 'b'), digest(31, 'a')}) {
        const Status differs = checkContent(jobs->at(2), other);
        QCOMPARE(differs.code(), ErrorCode::Corrupt);
        for (const char* told : {"\"s3.zip\"", "\"A3\"", "30 bytes, sha256 aaaa"})
            QVERIFY2(differs.message().contains(QLatin1String(told)), qPrintable(differs.message()));
    }
    QVERIFY(checkContent(jobs->at(6), digest(1, 'c')).ok());
}

void DatabaseContentTest::claimsAreThoseOfAllFiles()
{
    const auto filled = fillContent(*m_database, numberOf("r1"), digest(9, 'c'), {});
    QVERIFY2(filled.ok(), qPrintable(filled.message()));
    const auto claims = listFileClaims(*m_database);
    QVERIFY2(claims.ok(), qPrintable(claims.message()));
    QStringList told;
    for (const FileClaim& claim : claims.value())
        told << claim.job + QLatin1Char('/') + claim.storedName + QLatin1Char('/') + claim.fileStore +
                    QLatin1Char('/') + QString::number(claim.stored.length);
    QCOMPARE(told.join(QLatin1Char(' ')),
             QStringLiteral("A1/s1.tgz/older/5000000000 A2/s2.tgz/older/5000000000 A3/s3.zip/older/30 "
                            "A4/s4.zip//40 A5/s5.zip/older/50 A6/s6.zip/older/60 eight/s8.zip//80 A1/r1//9"));
}

void DatabaseContentTest::rowsWithoutContentAreListed()
{
    QCOMPARE(unfilled(*m_database),
             QStringList({QStringLiteral("r1 stored"), QStringLiteral("s7.zip stored content"),
                          QStringLiteral("s8.zip content")}));
}

void DatabaseContentTest::rowsAreFilledOnce()
{
    const auto fill = [this](const char* guid, const ContentDigest& stored,
                             const std::optional<ContentDigest>& content = {}) {
        const auto filled = fillContent(*m_database, numberOf(guid), stored, content);
        return filled.ok() && filled.value();
    };
    QVERIFY(fill("o7", digest(70, 'd'), digest(700, 'e')));
    QVERIFY(fill("r1", digest(90, 'f')));
    // What a row knows stays.
    QVERIFY(!fill("o7", digest(71, 'a'), digest(701, 'a')));
    QVERIFY(fill("o8", digest(81, 'b'), digest(800, 'c')));
    QVERIFY(!fill("o1", digest(1, 'a')));
    QCOMPARE(unfilled(*m_database), QStringList());
    const auto jobs = listJobs(*m_database, {});
    QCOMPARE(jobs->at(6).stored, std::optional(digest(70, 'd')));
    QCOMPARE(jobs->at(6).content, std::optional(digest(700, 'e')));
    QCOMPARE(valueOf(*m_database, "SELECT stored_length FROM orig_file WHERE guid = 'o8'").toInt(), 80);
    QCOMPARE(valueOf(*m_database, "SELECT content_length FROM orig_file WHERE guid = 'o8'").toInt(), 800);
}

ZAV_REGISTER_TEST(database_content, DatabaseContentTest, QCoreApplication)

#include "database_content.moc"
