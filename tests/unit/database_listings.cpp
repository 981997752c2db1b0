#include "backend/records/JobListing.h"
#include "backend/records/SiteRecords.h"
#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

/// Two companies and six jobs: A000001 and A000002 complete in batch 7, A000003 without a job-compress row,
/// B000001 complete by hand, a flow without an original file, and A000004, whose import has not ended.
const char* const siteRows[] = {
    "INSERT INTO company (code, name, created_time, updated_time) VALUES ('A', 'Alpha', 't', 't'), ('B', "
    "'Beta', 't', 't')",
    "INSERT INTO orig_file (guid, job_name, stored_name, suffix, company_code, user_id, created_time) VALUES"
    " ('o1', 'one', 's1.zip', 'zip', 'A', 5, 't1'), ('o2', 'two', 's2.tgz', 'tgz', 'A', 5, 't2'),"
    " ('o3', 'three', 's3.zip', '', 'A', 5, 't3'), ('o4', 'four', 's4.zip', '', 'B', 5, 't4')",
    "INSERT INTO job_flow (guid, job_name, ko_serial_name, flow_no, user_id, state, sub_state, "
    "orig_file_guid,"
    " upload_batch_number, created_time) VALUES"
    " ('f1', 'one', 'A000001', 'F1', 5, 0, 0, 'o1', 7, 't1'), ('f2', 'two', 'A000002', 'F2', 5, 1, 2, 'o2', "
    "7, 't2'),"
    " ('f3', 'three', 'A000003', 'F3', 5, -1, -1, 'o3', 8, 't3'), ('f4', 'four', 'B000001', 'F4', 6, 0, 0, "
    "'o4', 0, 't4'),"
    " ('f5', 'five', 'X000001', 'F5', 6, 0, 3, NULL, 0, 't5'), ('f6', 'six', 'A000004', 'F6', 5, 0, 0, NULL, "
    "0, 't6')",
    "INSERT INTO job_compress (flow_guid, company_name, company_code, company_id, job_name, stored_name, "
    "suffix, remark,"
    " file_store, user_id, job_number, resource, customer2, customer3, created_time) VALUES"
    " ('f1', 'Alpha', 'A', 1, 'one', 's1.zip', 'zip', '', 'fs', 5, 1, 'r', 'c2', 'c3', 't1'),"
    " ('f2', 'Alpha', 'A', 1, 'two', 's2.tgz', 'tgz', '', 'fs', 5, 2, '', '', '', 't2'),"
    " ('f4', 'Beta', 'B', 2, 'four', 's4.zip', '', '', 'fs', 6, 1, '', '', '', 't4')",
    "INSERT INTO orig_file (guid, job_name, stored_name, suffix, company_code, user_id, flow_guid, "
    "created_time) VALUES"
    " ('o5', 'two', 's5.tgz', 'tgz', 'A', 5, 'f2', 't5')",
    "UPDATE job_flow SET last_import_orig_file_guid = 'o5' WHERE guid = 'f2'",
};

QStringList names(const Result<std::vector<JobRecord>>& jobs)
{
    QStringList generated;
    for (const JobRecord& job : jobs.value())
        generated << job.generatedName;
    return generated;
}

} // namespace

Q_DECLARE_METATYPE(JobFilter)

class DatabaseListingsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void jobsAreFiltered_data();
    void jobsAreFiltered();
    void aCompleteJobHasAllParts();
    void anIncompleteJobHasNoFileStore();
    void originalFilesAreListedNewestFirst();
    void originalFilesAreLimited();
    void waitingJobsAreThoseThatAreComplete();
    void theWaitingListIsReadAnewFromTheOneBefore_data();
    void theWaitingListIsReadAnewFromTheOneBefore();
    void importsAreFoundByTheirStoredFile();
    void listingsUseTheirIndex_data();
    void listingsUseTheirIndex();

private:
    TemporaryDatabase m_place;
    std::unique_ptr<Database> m_database;
};

void DatabaseListingsTest::initTestCase()
{
    m_database = m_place.open();
    QVERIFY(m_database);
    for (const char* statement : siteRows) {
        const Result<int> done = m_database->change(statement, {}, Durability::Deferred);
        QVERIFY2(done.ok(), qPrintable(done.message()));
    }
}

void DatabaseListingsTest::jobsAreFiltered_data()
{
    QTest::addColumn<JobFilter>("filter");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char* what, const JobFilter& filter, const char* expected) {
        QTest::newRow(what) << filter << QString::fromLatin1(expected);
    };
    const QString alpha = QStringLiteral("Alpha");
    const QString a = QStringLiteral("A");
    const auto text = [](const char* value) { return QString::fromLatin1(value); };
    row("all", {}, "A000001 A000002 A000003 B000001 X000001 A000004");
    row("company code", {a, {}, {}, {}, {}, {}, {}}, "A000001 A000002 A000003");
    row("company name", {{}, alpha, {}, {}, {}, {}, {}}, "A000001 A000002 A000003");
    row("unknown company", {{}, text("nobody"), {}, {}, {}, {}, {}}, "");
    row("code and name disagree", {text("B"), alpha, {}, {}, {}, {}, {}}, "");
    row("case of the code", {text("a"), {}, {}, {}, {}, {}, {}}, "");
    row("generated name", {{}, {}, text("A000002"), {}, {}, {}, {}}, "A000002");
    row("flow key", {{}, {}, {}, text("f5"), {}, {}, {}}, "X000001");
    row("flow key of another state", {{}, {}, {}, text("f5"), 1, {}, {}}, "");
    row("state", {{}, {}, {}, {}, 0, {}, {}}, "A000001 B000001 X000001 A000004");
    row("state pair", {{}, {}, {}, {}, 0, 0, {}}, "A000001 B000001 A000004");
    row("second state alone", {{}, {}, {}, {}, {}, 2, {}}, "A000002");
    row("batch", {{}, {}, {}, {}, {}, {}, 7}, "A000001 A000002");
    row("no batch", {{}, {}, {}, {}, {}, {}, 0}, "B000001 X000001 A000004");
    row("batch and state", {{}, {}, {}, {}, 0, {}, 7}, "A000001");
    row("company and state", {a, {}, {}, {}, -1, -1, {}}, "A000003");
}

void DatabaseListingsTest::jobsAreFiltered()
{
    QFETCH(const JobFilter, filter);
    QFETCH(const QString, expected);
    const Result<std::vector<JobRecord>> jobs = listJobs(*m_database, filter);
    QVERIFY2(jobs.ok(), qPrintable(jobs.message()));
    QCOMPARE(names(jobs).join(QLatin1Char(' ')), expected);
}

void DatabaseListingsTest::aCompleteJobHasAllParts()
{
    JobFilter filter;
    filter.flowGuid = QStringLiteral("f1");
    const Result<std::vector<JobRecord>> jobs = listJobs(*m_database, filter);
    QCOMPARE(jobs->size(), size_t{1});
    const JobRecord& job = jobs->front();
    QVERIFY(job.complete);
    QCOMPARE(QStringList({job.flowGuid, job.jobName, job.flowNo, job.createdTime, job.origFileGuid}),
             QStringList({QStringLiteral("f1"), QStringLiteral("one"), QStringLiteral("F1"),
                          QStringLiteral("t1"), QStringLiteral("o1")}));
    QCOMPARE(QStringList({job.companyCode, job.companyName, job.storedName, job.suffix, job.fileStore}),
             QStringList({QStringLiteral("A"), QStringLiteral("Alpha"), QStringLiteral("s1.zip"),
                          QStringLiteral("zip"), QStringLiteral("fs")}));
    QCOMPARE(QStringList({job.resource, job.customer2, job.customer3}),
             QStringList({QStringLiteral("r"), QStringLiteral("c2"), QStringLiteral("c3")}));
    QCOMPARE(job.userId, 5);
    QCOMPARE(job.batchNumber, 7);
}

void DatabaseListingsTest::anIncompleteJobHasNoFileStore()
{
    JobFilter filter;
    filter.generatedName = QStringLiteral("A000003");
    const JobRecord job = listJobs(*m_database, filter)->front();
    QVERIFY(!job.complete);
    QCOMPARE(job.storedName, QStringLiteral("s3.zip"));
    QCOMPARE(job.companyName, QStringLiteral("Alpha"));
    QVERIFY(job.fileStore.isEmpty());
}

void DatabaseListingsTest::originalFilesAreListedNewestFirst()
{
    const Result<std::vector<OrigFileRecord>> files = listOrigFiles(*m_database);
    QVERIFY2(files.ok(), qPrintable(files.message()));
    QStringList listed;
    for (const OrigFileRecord& file : files.value())
        listed << file.guid + QLatin1Char('/') + file.generatedName;
    QCOMPARE(listed.join(QLatin1Char(' ')),
             QStringLiteral("o5/A000002 o4/B000001 o3/A000003 o2/A000002 o1/A000001"));
    const OrigFileRecord& oldest = files->back();
    QCOMPARE(oldest.companyName, QStringLiteral("Alpha"));
    QCOMPARE(oldest.storedName, QStringLiteral("s1.zip"));
    QCOMPARE(oldest.suffix, QStringLiteral("zip"));
    QCOMPARE(oldest.state, std::optional<int>(0));
    QCOMPARE(oldest.subState, std::optional<int>(0));
}

void DatabaseListingsTest::originalFilesAreLimited()
{
    const Result<std::vector<OrigFileRecord>> files = listOrigFiles(*m_database, 2);
    QCOMPARE(files->size(), size_t{2});
    QCOMPARE(files->front().guid, QStringLiteral("o5"));
}

void DatabaseListingsTest::waitingJobsAreThoseThatAreComplete()
{
    const auto jobs = listWaitingJobs(*m_database);
    QCOMPARE(jobs->size(), size_t{2});
    QCOMPARE(jobs->at(0).jobName, std::string("A000001"));
    QCOMPARE(jobs->at(0).flowId, std::string("f1"));
    QCOMPARE(jobs->at(1).jobName, std::string("B000001"));
    QVERIFY(jobs->at(0).jobId < jobs->at(1).jobId);
}

void DatabaseListingsTest::theWaitingListIsReadAnewFromTheOneBefore_data()
{
    QTest::addColumn<QStringList>("before"); // number/flow key of each
    const auto row = [](const char* what, const char* before) {
        QTest::newRow(what) << QString::fromLatin1(before).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    };
    row("nothing", "");
    row("the same", "1/f1 4/f4");
    row("a part", "4/f4");
    row("jobs that are gone", "1/f1 2/f2 3/f3 4/f4 9/f9");
    row("of another database", "1/x1 4/x4 6/x6");
}

void DatabaseListingsTest::theWaitingListIsReadAnewFromTheOneBefore()
{
    QFETCH(const QStringList, before);
    std::vector<KOZAV::DataLib::Model::Odbpp_Job_C> jobs;
    for (const QString& job : before)
        jobs.push_back({job.section(QLatin1Char('/'), 1).toStdString(),
                        job.section(QLatin1Char('/'), 0, 0).toInt(),
                        {}});
    const auto waiting = listWaitingJobs(*m_database, jobs);
    QVERIFY2(waiting.ok(), qPrintable(waiting.message()));
    QCOMPARE(waiting->size(), size_t{2});
    QCOMPARE(waiting->at(0).jobName, std::string("A000001"));
    QCOMPARE(waiting->at(1).jobName, std::string("B000001"));
}

void DatabaseListingsTest::importsAreFoundByTheirStoredFile()
{
    const auto imported = [this](const char* name) {
        return isImported(*m_database, QString::fromLatin1(name));
    };
    QCOMPARE(imported("s1.zip").value(), true);
    QCOMPARE(imported("s2.tgz").value(), true);
    QCOMPARE(imported("s3.zip").value(), false); // its import has failed
    QCOMPARE(imported("s5.tgz").value(), false); // a robot archive
    QCOMPARE(imported("nothing").value(), false);
}

void DatabaseListingsTest::listingsUseTheirIndex_data()
{
    QTest::addColumn<QByteArray>("sql");
    QTest::addColumn<QString>("index");
    const auto row = [](const char* what, const char* sql, const char* index) {
        QTest::newRow(what) << QByteArray("EXPLAIN QUERY PLAN ") + sql << QString::fromLatin1(index);
    };
    const char* waiting = "SELECT guid, id FROM job_flow WHERE state = 0 AND sub_state = 0 AND EXISTS"
                          " (SELECT 1 FROM job_compress WHERE flow_guid = job_flow.guid) ORDER BY id";
    row("waiting list", waiting, "COVERING INDEX job_flow_state");
    row("end of a waiting job's import", waiting, "sqlite_autoindex_job_compress");
    row("batch", "SELECT id FROM job_flow WHERE upload_batch_number = 7 ORDER BY id",
        "job_flow_upload_batch_number");
    row("company's files", "SELECT guid FROM orig_file WHERE company_code = 'A'", "orig_file_company_code");
    row("company's jobs", "SELECT flow_guid FROM job_compress WHERE company_code = 'A'",
        "job_compress_company_code");
    row("generated name", "SELECT id FROM job_flow WHERE ko_serial_name = 'A000001'",
        "sqlite_autoindex_job_flow");
}

void DatabaseListingsTest::listingsUseTheirIndex()
{
    QFETCH(const QByteArray, sql);
    QFETCH(const QString, index);
    QStringList plan;
    QVERIFY(m_database
                ->query(sql.constData(), {},
                        [&](const QSqlQuery& row) {
                            plan << row.value(3).toString();
                            return true;
                        })
                .ok());
    const QString text = plan.join(QStringLiteral("; "));
    QVERIFY2(text.contains(index), qPrintable(text));
    QVERIFY2(!text.contains(QStringLiteral("TEMP B-TREE")), qPrintable(text));
}

ZAV_REGISTER_TEST(database_listings, DatabaseListingsTest, QCoreApplication)

#include "database_listings.moc"
