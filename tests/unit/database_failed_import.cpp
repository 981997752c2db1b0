// Imports that are found to have failed after their last row was written.

#include "backend/records/FailedImport.h"
#include "backend/records/JobListing.h"
#include "backend/records/JobVoiding.h"
#include "backend/records/KnownContent.h"
#include "backend/records/SiteEvents.h"
#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

#define HASH "'aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa'"

const char* const siteRows[] = {
    "INSERT INTO company (code, name, created_time, updated_time) VALUES ('A', 'Alpha', 't', 't')",
    "INSERT INTO orig_file (guid, job_name, stored_name, suffix, company_code, user_id, created_time,"
    " stored_length, stored_sha256) VALUES ('o', 'one', 's.tgz', 'tgz', 'A', 5, 't', 7, " HASH ")",
    "INSERT INTO job_flow (guid, job_name, ko_serial_name, flow_no, user_id, orig_file_guid, created_time)"
    " VALUES ('f', 'one', 'A000001', '', 5, 'o', 't')",
    "INSERT INTO job_compress (flow_guid, company_name, company_code, company_id, job_name, stored_name,"
    " suffix, remark, file_store, user_id, job_number, created_time)"
    " VALUES ('f', 'Alpha', 'A', 1, 'one', 's.tgz', 'tgz', '', 'fs', 5, 1, 't')",
};

} // namespace

class DatabaseFailedImport final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void states_data();
    void states();
    void aSecondMarkChangesNothing();
    void aReasonAndAJobAreNeeded();
    void itIsNeitherWaitingNorKnown();

private:
    void setState(int state, int subState) const;
    [[nodiscard]] JobRecord job() const;
    [[nodiscard]] Status mark(const char* flow = "f", const char* reason = "swapped") const;

    std::unique_ptr<TemporaryDatabase> m_place;
    std::unique_ptr<Database> m_database;
};

void DatabaseFailedImport::init()
{
    m_database.reset();
    m_place = std::make_unique<TemporaryDatabase>();
    m_database = m_place->open();
    QVERIFY(m_database);
    for (const char* row : siteRows)
        QVERIFY(m_database->change(row, {}, Durability::Deferred).ok());
}

void DatabaseFailedImport::setState(int state, int subState) const
{
    QVERIFY(
        m_database
            ->change("UPDATE job_flow SET state = ?, sub_state = ?", {state, subState}, Durability::Deferred)
            .ok());
}

JobRecord DatabaseFailedImport::job() const
{
    const auto jobs = listJobs(*m_database, {});
    return jobs.ok() && jobs->size() == 1 ? jobs->front() : JobRecord();
}

Status DatabaseFailedImport::mark(const char* flow, const char* reason) const
{
    return markImportFailed(
        *m_database, {QString::fromLatin1(flow), QString::fromLatin1(reason), 7, QStringLiteral("operator")});
}

void DatabaseFailedImport::states_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<int>("subState");
    QTest::addColumn<ErrorCode>("code");
    QTest::newRow("waiting") << 0 << 0 << ErrorCode::None;
    QTest::newRow("at the robot") << 1 << 2 << ErrorCode::None;
    QTest::newRow("gone on") << 2 << 0 << ErrorCode::InvalidArgument;
    QTest::newRow("another pair") << 0 << 1 << ErrorCode::InvalidArgument;
    QTest::newRow("voided") << voidedState << voidedSubState << ErrorCode::InvalidArgument;
}

void DatabaseFailedImport::states()
{
    QFETCH(int, state);
    QFETCH(int, subState);
    QFETCH(ErrorCode, code);
    setState(state, subState);
    const Status marked = mark();
    QCOMPARE(marked.code(), code);
    const auto events = listEvents(*m_database);
    QVERIFY2(events.ok(), qPrintable(events.message()));
    if (code != ErrorCode::None) {
        QCOMPARE(job().state, state);
        QCOMPARE(job().subState, subState);
        QVERIFY(events->empty());
        return;
    }
    QVERIFY(hasFailed(job()));
    QCOMPARE(int(events->size()), 1);
    const SiteEvent& event = events->front();
    QCOMPARE(event.kind, QString(eventKind::failedImport));
    QCOMPARE(event.flowGuid, QStringLiteral("f"));
    QCOMPARE(event.subject, QStringLiteral("A000001"));
    QCOMPARE(event.reason, QStringLiteral("swapped"));
    QCOMPARE(event.userId, 7);
    QCOMPARE(event.detail.value(QStringLiteral("state")).toInt(), state);
    QCOMPARE(event.detail.value(QStringLiteral("stored_name")).toString(), QStringLiteral("s.tgz"));
}

void DatabaseFailedImport::aSecondMarkChangesNothing()
{
    QVERIFY(mark().ok());
    QVERIFY(mark().ok());
    QCOMPARE(int(listEvents(*m_database)->size()), 1);
}

void DatabaseFailedImport::aReasonAndAJobAreNeeded()
{
    QCOMPARE(mark("f", " ").code(), ErrorCode::InvalidArgument);
    QCOMPARE(mark("g").code(), ErrorCode::NotFound);
    QCOMPARE(job().state, 0);
}

void DatabaseFailedImport::itIsNeitherWaitingNorKnown()
{
    const ContentDigest content = {7, QByteArray(64, 'a')};
    const auto sizes = [&] {
        return std::make_tuple(listWaitingJobs(*m_database)->size(),
                               findKnownContent(*m_database, KnownBy::StoredFile, content)->size(),
                               isImported(*m_database, QStringLiteral("s.tgz")).value());
    };
    QCOMPARE(sizes(), std::make_tuple(std::size_t(1), std::size_t(1), true));
    QVERIFY(mark().ok());
    QCOMPARE(sizes(), std::make_tuple(std::size_t(0), std::size_t(0), false));
}

ZAV_REGISTER_TEST(database_failed_import, DatabaseFailedImport, QCoreApplication)

#include "database_failed_import.moc"
