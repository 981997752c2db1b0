// The pages of the lists of jobs: what they hold, on both engines, compared with all rows sorted and sifted
// here; and what they cost, told by the engines.

#include "backend/records/JobListing.h"
#include "backend/records/JobPages.h"
#include "backend/records/RobotRequests.h"
#include "tests/support/FilledDatabase.h"
#include "tests/support/MariaDbServer.h"
#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QSqlQuery>
#include <QTest>

#include <algorithm>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

Q_DECLARE_METATYPE(KOZAV::Backend::JobSearch)

namespace {

constexpr int jobCount = 300;

/// A row with what orders and conditions go by.
struct Known
{
    JobRecord job;
    int file = 0;
};

using Order = JobOrder;
const std::vector<Order> allOrders = {Order::Time, Order::GeneratedName, Order::JobName, Order::State,
                                      Order::Batch};

bool fits(const Known& known, const JobSearch& search)
{
    const JobRecord& job = known.job;
    return job.generatedName.startsWith(search.generatedName) && job.jobName.startsWith(search.jobName) &&
           (search.companyCode.isEmpty() || job.companyCode == search.companyCode) &&
           (!search.state || (job.state == search.state->first && job.subState == search.state->second)) &&
           (!search.batchNumber || job.batchNumber == *search.batchNumber) &&
           (search.from.isEmpty() || job.createdTime >= search.from) &&
           (search.until.isEmpty() || job.createdTime < search.until) &&
           (!search.onlyComplete || job.complete);
}

/// The values that an order of these columns compares; the number last, wherever the plan ends.
QVariantList valuesOf(const Known& known, const std::vector<JobPlan::Column>& order)
{
    const JobRecord& job = known.job;
    const QVariant values[] = {job.jobId, job.createdTime, job.generatedName, job.jobName.left(128),
                               job.state, job.subState,    job.batchNumber,   known.file};
    QVariantList list;
    for (const auto column : order)
        list << values[static_cast<size_t>(column)];
    return list;
}

bool isLess(const QVariantList& one, const QVariantList& other)
{
    for (int i = 0; i < one.size(); ++i) {
        if (one[i] != other[i])
            return one[i].type() == QVariant::String ? one[i].toString() < other[i].toString()
                                                     : one[i].toInt() < other[i].toInt();
    }
    return false;
}

QStringList expected(std::vector<Known> known, const JobPlan& plan)
{
    std::sort(known.begin(), known.end(), [&plan](const Known& one, const Known& other) {
        const bool swapped = plan.descending;
        return isLess(valuesOf(swapped ? other : one, plan.order),
                      valuesOf(swapped ? one : other, plan.order));
    });
    QStringList keys;
    for (const Known& job : known) {
        if (fits(job, plan.search))
            keys << job.job.flowGuid;
    }
    return keys;
}

MariaDbServer& server()
{
    static MariaDbServer started;
    return started;
}

} // namespace

class DatabaseJobPagesTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void pagesHoldWhatIsSought_data();
    void pagesHoldWhatIsSought();
    void orderIsTheOneAskedFor();
    void partBetweenTwoPlacesIsRead();
    void rowTellsWhatItHolds();
    void countsEndWhereTold();
    void failedRequestsAreListedUntilDealtWith_data();
    void failedRequestsAreListedUntilDealtWith();
    void indexLeads_data();
    void indexLeads();
    void serverReadsLittle();
    void newestRowsTellOfAdditions();

private:
    void fill(Database& database, std::vector<Known>& known);
    QStringList read(Database& database, const JobPlan& plan, int pageSize, int* pages = nullptr);
    std::vector<Database*> engines();
    static void addRequest(Database& database, const QString& flow, RobotOutcome outcome,
                           const QString& probe, RobotOrigin origin);

    TemporaryDatabase m_place;
    std::unique_ptr<Database> m_sqlite;
    std::unique_ptr<Database> m_mariadb;
    std::vector<Known> m_known;
};

void DatabaseJobPagesTest::fill(Database& database, std::vector<Known>& known)
{
    const Status added = addVariedJobs(database, jobCount);
    QVERIFY2(added.ok(), qPrintable(added.message()));
    const auto jobs = listJobs(database, {});
    QVERIFY2(jobs.ok(), qPrintable(jobs.message()));
    for (const JobRecord& job : jobs.value())
        known.push_back(
            {job, valueOf(database, "SELECT id FROM orig_file WHERE guid = ?", {job.origFileGuid}).toInt()});
}

void DatabaseJobPagesTest::initTestCase()
{
    m_sqlite = m_place.open();
    fill(*m_sqlite, m_known);
#ifdef ZAV_WITH_MARIADB_SERVER
    auto made = Database::create(server().makeDatabase());
    QVERIFY2(made.ok(), qPrintable(made.message()));
    m_mariadb = std::move(made.value());
    std::vector<Known> same;
    fill(*m_mariadb, same);
    QCOMPARE(same.size(), m_known.size());
#endif
}

std::vector<Database*> DatabaseJobPagesTest::engines()
{
    std::vector<Database*> all = {m_sqlite.get()};
    if (m_mariadb)
        all.push_back(m_mariadb.get());
    return all;
}

QStringList DatabaseJobPagesTest::read(Database& database, const JobPlan& plan, int pageSize, int* pages)
{
    QStringList keys;
    std::optional<QVariantList> after;
    for (int number = 0;; ++number) {
        const auto page = readJobs(database, plan, after, {}, pageSize);
        if (!page.ok())
            return {page.message()};
        for (const JobRow& job : page.value())
            keys << job.flowGuid;
        if (pages)
            *pages = number + 1;
        if (static_cast<int>(page->size()) < pageSize)
            return keys;
        after = page->back().place;
    }
}

void DatabaseJobPagesTest::pagesHoldWhatIsSought_data()
{
    QTest::addColumn<JobSearch>("search");
    const auto row = [](const char* name, void (*change)(JobSearch & search)) {
        JobSearch search;
        change(search);
        QTest::newRow(name) << search;
    };
    row("everything", [](JobSearch&) {});
    row("generated names", [](JobSearch& s) { s.generatedName = QStringLiteral("HX"); });
    row("one generated name", [](JobSearch& s) { s.generatedName = QStringLiteral("AC000002"); });
    row("names", [](JobSearch& s) { s.jobName = QStringLiteral("board_1"); });
    row("a company whose code another one's begins with",
        [](JobSearch& s) { s.companyCode = QStringLiteral("HX"); });
    row("no such company", [](JobSearch& s) { s.companyCode = QStringLiteral("h"); });
    row("a state", [](JobSearch& s) { s.state = {{1, 2}}; });
    row("single imports", [](JobSearch& s) { s.batchNumber = 0; });
    row("a batch", [](JobSearch& s) { s.batchNumber = 4; });
    row("a time", [](JobSearch& s) {
        s.from = QStringLiteral("2026-01-01T09:00:00.000Z");
        s.until = QStringLiteral("2026-01-01T11:00:00.000Z");
    });
    row("since a time", [](JobSearch& s) { s.from = QStringLiteral("2026-01-01T12:00:00.000Z"); });
    row("until a time", [](JobSearch& s) { s.until = QStringLiteral("2026-01-01T12:00:00.000Z"); });
    row("what waits", [](JobSearch& s) {
        s.state = {{0, 0}};
        s.onlyComplete = true;
    });
    row("all at once", [](JobSearch& s) {
        s.generatedName = QStringLiteral("H");
        s.jobName = QStringLiteral("board");
        s.companyCode = QStringLiteral("HX1");
        s.state = {{0, 0}};
        s.batchNumber = 0;
        s.until = QStringLiteral("2026-01-01T14:00:00.000Z");
        s.onlyComplete = true;
    });
}

/// With few and with many jobs behind each condition, which are read in different ways.
void DatabaseJobPagesTest::pagesHoldWhatIsSought()
{
    QFETCH(const JobSearch, search);
    for (Database* database : engines()) {
        for (const Order order : allOrders) {
            for (const bool descending : {false, true}) {
                for (const int few : {-1, 30'000}) {
                    const auto plan = planJobs(*database, search, order, descending, few);
                    QVERIFY2(plan.ok(), qPrintable(plan.message()));
                    const QStringList wanted = expected(m_known, plan.value());
                    int pages = 0;
                    QCOMPARE(read(*database, plan.value(), 37, &pages), wanted);
                    QCOMPARE(pages, wanted.size() / 37 + 1);
                    QCOMPARE(countJobs(*database, plan.value(), 100000)->jobs, qint64(wanted.size()));
                }
            }
        }
    }
}

void DatabaseJobPagesTest::orderIsTheOneAskedFor()
{
    const auto first = [this](Order order, bool descending) {
        const auto plan = planJobs(*m_sqlite, {}, order, descending);
        return readJobs(*m_sqlite, plan.value(), {}, {}, 1)->front();
    };
    QCOMPARE(first(Order::Time, false).jobId, 1);
    QCOMPARE(first(Order::Time, true).jobId, jobCount);
    QVERIFY(first(Order::GeneratedName, false).generatedName.startsWith(QStringLiteral("AC")));
    QVERIFY(first(Order::GeneratedName, true).generatedName.startsWith(QStringLiteral("Z")));
    QCOMPARE(first(Order::JobName, false).jobName, QStringLiteral("board_0"));
    QCOMPARE(first(Order::JobName, true).jobName, QStringLiteral("board_99"));
    QCOMPARE(first(Order::State, false).state, -2);
    QCOMPARE(first(Order::State, true).state, 3);
    QCOMPARE(first(Order::Batch, false).batchNumber, 0);
    QCOMPARE(first(Order::Batch, true).batchNumber, 1 + jobCount / 40);
}

/// As a list reads one of its pages anew.
void DatabaseJobPagesTest::partBetweenTwoPlacesIsRead()
{
    for (Database* database : engines()) {
        for (const Order order : allOrders) {
            const auto plan = planJobs(*database, {}, order, true);
            const auto all = readJobs(*database, plan.value(), {}, {}, jobCount);
            QCOMPARE(all->size(), size_t{jobCount});
            const auto keys = [](const std::vector<JobRow>& rows, size_t begin, size_t end) {
                QStringList list;
                for (size_t i = begin; i < end; ++i)
                    list << rows[i].flowGuid;
                return list;
            };
            for (const size_t begin : {size_t{0}, size_t{1}, size_t{17}, size_t{120}}) {
                for (const size_t end : {begin + 1, begin + 5, begin + 130, size_t{jobCount}}) {
                    const auto after = begin == 0 ? std::optional<QVariantList>()
                                                  : std::optional(all.value()[begin - 1].place);
                    const auto part =
                        readJobs(*database, plan.value(), after, all.value()[end - 1].place, jobCount);
                    QCOMPARE(keys(part.value(), 0, part->size()), keys(all.value(), begin, end));
                }
            }
        }
    }
}

void DatabaseJobPagesTest::rowTellsWhatItHolds()
{
    for (Database* database : engines()) {
        JobSearch search;
        search.generatedName = QStringLiteral("B000002");
        search.generatedName = m_known[1].job.generatedName;
        const auto plan = planJobs(*database, search, Order::Time, true);
        const JobRow row = readJobs(*database, plan.value(), {}, {}, 10)->front();
        QCOMPARE(row.jobId, 2);
        QCOMPARE(row.jobName, m_known[1].job.jobName);
        QCOMPARE(row.companyName, m_known[1].job.companyName);
        QCOMPARE(row.createdTime, m_known[1].job.createdTime);
        QCOMPARE(row.storedName, m_known[1].job.storedName);
        QCOMPARE(row.storedLength.value_or(-1), qint64(2));
        QVERIFY(row.complete);
        QCOMPARE(row.state, 1);
        QCOMPARE(row.subState, 2);
    }
}

void DatabaseJobPagesTest::countsEndWhereTold()
{
    JobSearch search;
    search.state = {{0, 0}};
    const auto plan = planJobs(*m_sqlite, search, Order::Time, true);
    QCOMPARE(countJobs(*m_sqlite, plan.value(), 10)->jobs, qint64(10));
    QVERIFY(countJobs(*m_sqlite, plan.value(), 10)->orMore);
    QVERIFY(!countJobs(*m_sqlite, plan.value(), jobCount)->orMore);
    const auto everything = planJobs(*m_sqlite, {}, Order::Time, true);
    QCOMPARE(countJobs(*m_sqlite, everything.value(), 10)->jobs, qint64(10));
    QVERIFY(countJobs(*m_sqlite, everything.value(), 10)->orMore);
    QCOMPARE(countJobs(*m_sqlite, everything.value(), jobCount)->jobs, qint64(jobCount));
    QVERIFY(!countJobs(*m_sqlite, everything.value(), jobCount)->orMore);
}

void DatabaseJobPagesTest::addRequest(Database& database, const QString& flow, RobotOutcome outcome,
                                      const QString& probe, RobotOrigin origin)
{
    RobotRequestRecord request;
    request.origin = origin;
    request.outcome = outcome;
    request.flowGuid = flow;
    request.generatedName = QStringLiteral("\"probe\":\"connected\"");
    request.document = {{QStringLiteral("text"), QStringLiteral("\"origin\":\"resent\"")}};
    request.probe = probe;
    request.reason = QStringLiteral("why");
    const Status added = addRobotRequest(database, request);
    QVERIFY2(added.ok(), qPrintable(added.message()));
}

void DatabaseJobPagesTest::failedRequestsAreListedUntilDealtWith_data()
{
    using Outcome = RobotOutcome;
    using Origin = RobotOrigin;
    QTest::addColumn<int>("outcome");
    QTest::addColumn<QString>("probe");
    QTest::addColumn<int>("origin");
    QTest::addColumn<bool>("failed");
    const auto row = [](const char* name, Outcome outcome, const char* probe, Origin origin, bool failed) {
        QTest::newRow(name) << int(outcome) << QString::fromLatin1(probe) << int(origin) << failed;
    };
    row("sent", Outcome::Sent, "connected", Origin::Confirmed, false);
    row("not sent", Outcome::NotSent, "", Origin::Confirmed, true);
    row("closed at once", Outcome::Unknown, "closed", Origin::Confirmed, true);
    row("saved, refused", Outcome::NotSent, "refused", Origin::Saved, true);
    row("saved, nobody there", Outcome::Unknown, "no-answer", Origin::Saved, true);
    row("saved, a connection stood", Outcome::Unknown, "connected", Origin::Saved, false);
    row("saved, nobody looked", Outcome::Unknown, "", Origin::Saved, false);
    row("resent, answered", Outcome::Answered, "", Origin::Resent, false);
    row("resent, refused", Outcome::Refused, "", Origin::Resent, true);
    row("resent, no answer", Outcome::NoAnswer, "", Origin::Resent, true);
    row("resent, no whole answer", Outcome::Unknown, "", Origin::Resent, true);
}

void DatabaseJobPagesTest::failedRequestsAreListedUntilDealtWith()
{
    QFETCH(const int, outcome);
    QFETCH(const QString, probe);
    QFETCH(const int, origin);
    QFETCH(const bool, failed);
    const auto listed = [](Database& database) {
        QStringList keys;
        const auto requests = listFailedRequests(database, 100);
        if (!requests.ok())
            return QStringList{requests.message()};
        for (const FailedRequest& request : requests.value())
            keys << request.job.flowGuid;
        return keys;
    };
    for (Database* database : engines()) {
        const auto job = std::find_if(m_known.begin(), m_known.end(), [](const Known& known) {
            return known.job.state == 1 && known.job.complete;
        });
        const QString flow = job->job.flowGuid;
        addRequest(*database, flow, RobotOutcome(outcome), probe, RobotOrigin(origin));
        QCOMPARE(listed(*database), failed ? QStringList{flow} : QStringList{});
        if (failed) {
            QCOMPARE(listFailedRequests(*database, 1)->front().outcome, outcomeWord(RobotOutcome(outcome)));
            QCOMPARE(listFailedRequests(*database, 1)->front().reason, QStringLiteral("why"));
        }
        addRequest(*database, flow, RobotOutcome::NotSent, {}, RobotOrigin::Resent);
        QCOMPARE(listed(*database), QStringList{flow});
        addRequest(*database, flow, RobotOutcome::Answered, {}, RobotOrigin::Resent);
        QCOMPARE(listed(*database), QStringList{});
        addRequest(*database, flow, RobotOutcome::NotSent, {}, RobotOrigin::Resent);
        QCOMPARE(listed(*database), QStringList{flow});
        JobFilter filter;
        filter.flowGuid = flow;
        const Status requeued = requeueJobs(*database, listJobs(*database, filter).value(), {});
        QVERIFY2(requeued.ok(), qPrintable(requeued.message()));
        QCOMPARE(listed(*database), QStringList{});
        // Handed to the robot once more, by somebody who has not told of a request yet.
        QCOMPARE(database
                     ->change("UPDATE job_flow SET state = 1, sub_state = 2 WHERE guid = ?", {flow},
                              Durability::Immediate)
                     .value(),
                 1);
        QCOMPARE(listed(*database), QStringList{});
    }
}

void DatabaseJobPagesTest::indexLeads_data()
{
    QTest::addColumn<JobSearch>("search");
    QTest::addColumn<int>("order");
    QTest::addColumn<int>("few");
    QTest::addColumn<QString>("index");
    const auto row = [](const char* name, void (*change)(JobSearch & search), Order order, int few,
                        const char* index) {
        JobSearch search;
        change(search);
        QTest::newRow(name) << search << int(order) << few << QString::fromLatin1(index);
    };
    const auto none = [](JobSearch&) {};
    row("by time", none, Order::Time, -1, "SCAN f|SEARCH f USING INTEGER PRIMARY KEY");
    row("by generated name", none, Order::GeneratedName, -1, "f USING INDEX sqlite_autoindex_job_flow_2");
    row("by name", none, Order::JobName, -1, "f USING INDEX job_flow_job_name");
    row("by state", none, Order::State, -1, "f USING INDEX job_flow_state");
    row("by batch", none, Order::Batch, -1, "f USING INDEX job_flow_upload_batch_number");
    const auto company = [](JobSearch& s) { s.companyCode = QStringLiteral("HX"); };
    row("company", company, Order::Time, -1,
        "SEARCH o USING INDEX orig_file_company_code|SEARCH o USING INTEGER PRIMARY KEY");
    row("company by name", company, Order::GeneratedName, -1,
        "SEARCH f USING INDEX sqlite_autoindex_job_flow_2");
    row("few of a company", company, Order::JobName, 30'000, "SEARCH o USING INDEX orig_file_company_code");
    row("many of a company", company, Order::JobName, -1, "f USING INDEX job_flow_job_name");
    const auto waiting = [](JobSearch& s) {
        s.state = {{0, 0}};
        s.onlyComplete = true;
    };
    row("waiting", waiting, Order::Time, -1, "SEARCH f USING INDEX job_flow_state (state=? AND sub_state=?");
    row("waiting by name", waiting, Order::GeneratedName, -1, "f USING INDEX sqlite_autoindex_job_flow_2");
    const auto name = [](JobSearch& s) { s.generatedName = QStringLiteral("HX00"); };
    row("generated name", name, Order::Time, 30'000,
        "SEARCH f USING COVERING INDEX sqlite_autoindex_job_flow_2 (ko_serial_name>? AND ko_serial_name<?)");
    const auto job = [](JobSearch& s) { s.jobName = QStringLiteral("board_1"); };
    row("name", job, Order::JobName, -1, "SEARCH f USING INDEX job_flow_job_name (job_name_start");
    const auto time = [](JobSearch& s) { s.from = QStringLiteral("2026-01-01T09:00:00.000Z"); };
    row("time", time, Order::Time, -1, "SEARCH f USING INDEX job_flow_created_time (created_time");
    const auto batch = [](JobSearch& s) { s.batchNumber = 4; };
    row("batch", batch, Order::Time, -1,
        "SEARCH f USING INDEX job_flow_upload_batch_number (upload_batch_number=?");
}

/// The plans of the very statements that the pages are read with, first and later ones, as the embedded
/// engine tells them.
void DatabaseJobPagesTest::indexLeads()
{
    QFETCH(const JobSearch, search);
    QFETCH(const int, order);
    QFETCH(const int, few);
    QFETCH(const QString, index);
    const auto plan = planJobs(*m_sqlite, search, JobOrder(order), true, few);
    const auto all = readJobs(*m_sqlite, plan.value(), {}, {}, jobCount);
    QVERIFY(all->size() > 4);
    const QVariantList place = all.value()[1].place;
    const QVariantList end = all.value()[3].place;
    for (const auto& statement : statementsOfPage(plan.value(), place, end, 50)) {
        QStringList told;
        const QByteArray explained = "EXPLAIN QUERY PLAN " + statement.sql;
        QVERIFY(m_sqlite
                    ->query(explained.constData(), statement.values,
                            [&told](const QSqlQuery& row) {
                                told << row.value(3).toString();
                                return true;
                            })
                    .ok());
        // What is sorted is sorted within the statement.
        if (plan->sorted && (told.value(0) == QStringLiteral("CO-ROUTINE page") ||
                             told.value(0) == QStringLiteral("MATERIALIZE page")))
            told.removeFirst();
        const QString text = told.join(QStringLiteral("; "));
        const QStringList choices = index.split(QLatin1Char('|'));
        const bool leads = std::any_of(choices.begin(), choices.end(),
                                       [&text](const QString& choice) { return text.startsWith(choice); }) ||
                           text.startsWith(QStringLiteral("SCAN ") + index) ||
                           text.startsWith(QStringLiteral("SEARCH ") + index);
        QVERIFY2(leads, (statement.sql + ": " + text.toUtf8()).constData());
        QCOMPARE(text.contains(QStringLiteral("TEMP B-TREE")), plan->sorted);
        QVERIFY2(!text.contains(QStringLiteral("AUTOMATIC")), qPrintable(text));
    }
}

/// The server counts the rows that a page reads, of as many as a site has.
void DatabaseJobPagesTest::serverReadsLittle()
{
    if (!m_mariadb)
        QSKIP("there is no MariaDB server here");
    constexpr int jobs = 20000;
    auto made = Database::create(server().makeDatabase());
    QVERIFY2(made.ok(), qPrintable(made.message()));
    Database& database = *made.value();
    // Two companies; the second's jobs are the first half. Names go round, and so do states.
    for (const char* const rows :
         {"INSERT INTO company (code, name, created_time, updated_time) VALUES ('A', 'A', '', ''),"
          " ('B', 'B', '', '')",
          "INSERT INTO orig_file (guid, job_name, stored_name, suffix, company_code, user_id, created_time)"
          " SELECT CONCAT('o', seq), 'j', CONCAT('s', seq), '', IF(seq <= 10000, 'B', 'A'), 5, '' FROM"
          " seq_1_to_20000",
          "INSERT INTO job_flow (guid, job_name, ko_serial_name, flow_no, user_id, orig_file_guid, state,"
          " sub_state, upload_batch_number, created_time) SELECT CONCAT('f', id), CONCAT('j', id % 100),"
          " CONCAT(company_code, LPAD(id, 6, '0')), '', 5, guid, id % 2, 2 * (id % 2), id % 3, CONCAT('t', "
          "id)"
          " FROM orig_file",
          "INSERT INTO job_compress (flow_guid, company_name, company_code, company_id, job_name,"
          " stored_name, suffix, remark, file_store, user_id, job_number, created_time)"
          " SELECT f.guid, 'A', IF(f.id <= 10000, 'B', 'A'), 1, 'j', CONCAT('s', f.id), '', '', 'f', 5,"
          " f.id, '' FROM job_flow f"}) {
        const auto changed = database.change(rows, {}, Durability::Immediate);
        QVERIFY2(changed.ok(), qPrintable(changed.message()));
    }
    QVERIFY(database
                .query("ANALYZE TABLE orig_file, job_flow, job_compress, company", {},
                       [](const QSqlQuery&) { return true; })
                .ok());
    const auto rowsRead = [&database] {
        int rows = 0;
        (void)database.query("SHOW SESSION STATUS LIKE 'Handler_read%'", {}, [&rows](const QSqlQuery& row) {
            rows += row.value(1).toInt();
            return true;
        });
        return rows;
    };
    std::vector<JobSearch> searches(6);
    searches[1].companyCode = QStringLiteral("B");
    searches[2].state = {{1, 2}};
    searches[3].batchNumber = 2;
    searches[4].jobName = QStringLiteral("j7");
    searches[5].state = {{0, 0}};
    searches[5].onlyComplete = true;
    for (size_t number = 0; number < searches.size(); ++number) {
        for (const Order order : allOrders) {
            // Jobs of one company in an order that has nothing to do with it are passed over one by one.
            const auto plan = planJobs(database, searches[number], order, true, 0);
            const auto first = readJobs(database, plan.value(), {}, {}, 50);
            QVERIFY2(first.ok(), qPrintable(first.message()));
            const int before = rowsRead();
            const auto page = readJobs(database, plan.value(), first->back().place, {}, 50);
            const int read = rowsRead() - before;
            QCOMPARE(page->size(), size_t{50});
            const QString what =
                QStringLiteral("search %1, order %2: %3").arg(number).arg(int(order)).arg(read);
            const bool passesOver = number == 1 && (order == Order::State || order == Order::Batch);
            QVERIFY2(read > 0 && (passesOver || read < jobs / 8), qPrintable(what));
        }
    }
    // The newest half are another company's: what is sought is not looked for among them.
    JobSearch old;
    old.generatedName = QStringLiteral("B");
    for (const bool descending : {true, false}) {
        const auto plan = planJobs(database, old, Order::Time, descending, 0);
        QCOMPARE(plan->sorted, descending);
        const auto page = readJobs(database, plan.value(), {}, {}, 50);
        QCOMPARE(page->size(), size_t{50});
        QCOMPARE(page->front().jobId, descending ? jobs / 2 : 1);
        QCOMPARE(page->back().jobId, descending ? jobs / 2 - 49 : 50);
    }
}

void DatabaseJobPagesTest::newestRowsTellOfAdditions()
{
    for (Database* database : engines()) {
        const QString before = newestRows(*database).value();
        QCOMPARE(newestRows(*database).value(), before);
        addRequest(*database, m_known.front().job.flowGuid, RobotOutcome::Sent, {}, RobotOrigin::Confirmed);
        QVERIFY(newestRows(*database).value() != before);
    }
}

ZAV_REGISTER_TEST(database_job_pages, DatabaseJobPagesTest, QCoreApplication)

#include "database_job_pages.moc"
