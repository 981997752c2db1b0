#include "backend/records/SiteEvents.h"
#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QSysInfo>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

Q_DECLARE_METATYPE(EventFilter)

/// The table of events.
class DatabaseEventsTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void whatIsWrittenComesBack();
    void keyHostAndTimeAreFilledIn();
    void eventsAreFilteredNewestFirst_data();
    void eventsAreFilteredNewestFirst();
    void anEventOfNoJobIsRefused();
    void anEventGoesWithItsTransaction();

private:
    void add(const char* subject, QLatin1String kind, const char* flow, const char* run) const;
    [[nodiscard]] QString subjects(const EventFilter& filter) const;

    std::unique_ptr<TemporaryDatabase> m_place;
    std::unique_ptr<Database> m_database;
};

void DatabaseEventsTest::init()
{
    m_database.reset();
    m_place = std::make_unique<TemporaryDatabase>();
    m_database = m_place->open();
    QVERIFY(m_database);
    QVERIFY(
        m_database
            ->change(
                "INSERT INTO job_flow (guid, job_name, ko_serial_name, flow_no, user_id, created_time)"
                " VALUES ('f1', 'one', 'A000001', 'F1', 5, 't1'), ('f2', 'two', 'A000002', 'F2', 5, 't2')",
                {}, Durability::Deferred)
            .ok());
}

void DatabaseEventsTest::add(const char* subject, QLatin1String kind, const char* flow, const char* run) const
{
    SiteEvent event;
    event.kind = kind;
    event.subject = QString::fromLatin1(subject);
    event.flowGuid = QString::fromLatin1(flow);
    event.runGuid = QString::fromLatin1(run);
    const Status added = addEvent(*m_database, event);
    QVERIFY2(added.ok(), qPrintable(added.message()));
}

QString DatabaseEventsTest::subjects(const EventFilter& filter) const
{
    const auto events = listEvents(*m_database, filter);
    if (!events.ok())
        return events.message();
    QStringList found;
    for (const SiteEvent& event : events.value())
        found << event.subject;
    return found.join(QLatin1Char(' '));
}

void DatabaseEventsTest::whatIsWrittenComesBack()
{
    SiteEvent event;
    event.guid = QStringLiteral("e1");
    event.kind = eventKind::jobVoided;
    event.runGuid = QStringLiteral("r1");
    event.flowGuid = QStringLiteral("f1");
    event.userId = 7;
    event.userName = QStringLiteral("王 \U0001F600");
    event.host = QStringLiteral("host");
    event.subject = QStringLiteral("A000001");
    event.outcome = QStringLiteral("done");
    event.reason = QStringLiteral("it's \"another\" customer's\n");
    event.detail = {{QStringLiteral("state"), -1}, {QStringLiteral("text"), QStringLiteral("料")}};
    event.createdTime = QStringLiteral("2026-01-31T08:15:00.123Z");
    QVERIFY(addEvent(*m_database, event).ok());

    const auto events = listEvents(*m_database);
    QVERIFY2(events.ok(), qPrintable(events.message()));
    QCOMPARE(events->size(), size_t{1});
    const SiteEvent& found = events->front();
    QCOMPARE(QStringList({found.guid, found.kind, found.runGuid, found.flowGuid, found.userName, found.host,
                          found.subject, found.outcome, found.reason, found.createdTime}),
             QStringList({event.guid, event.kind, event.runGuid, event.flowGuid, event.userName, event.host,
                          event.subject, event.outcome, event.reason, event.createdTime}));
    QCOMPARE(found.userId, 7);
    QCOMPARE(found.detail, event.detail);
    QCOMPARE(addEvent(*m_database, event).code(), ErrorCode::AlreadyExists);
}

void DatabaseEventsTest::keyHostAndTimeAreFilledIn()
{
    const QString before = rowTime();
    add("one", eventKind::checked, "", "");
    add("two", eventKind::checked, "", "");
    const auto events = listEvents(*m_database);
    QCOMPARE(events->size(), size_t{2});
    QVERIFY(!events->at(0).guid.isEmpty());
    QVERIFY(events->at(0).guid != events->at(1).guid);
    QCOMPARE(events->at(0).host, QSysInfo::machineHostName());
    QVERIFY(events->at(1).createdTime >= before);
    QVERIFY(events->at(0).flowGuid.isEmpty());
    QCOMPARE(valueOf(*m_database, "SELECT COUNT(*) FROM event WHERE flow_guid IS NULL AND run_guid IS NULL"),
             QVariant(2));
}

void DatabaseEventsTest::eventsAreFilteredNewestFirst_data()
{
    QTest::addColumn<EventFilter>("filter");
    QTest::addColumn<QString>("expected");
    const QString checked = eventKind::checked;
    const QString f1 = QStringLiteral("f1");
    const QString r1 = QStringLiteral("r1");
    QTest::newRow("all") << EventFilter{} << QStringLiteral("e d c b a");
    QTest::newRow("kind") << EventFilter{checked, {}, {}, 0} << QStringLiteral("e c");
    QTest::newRow("newest of a kind") << EventFilter{checked, {}, {}, 1} << QStringLiteral("e");
    QTest::newRow("job") << EventFilter{{}, f1, {}, 0} << QStringLiteral("d a");
    QTest::newRow("run") << EventFilter{{}, {}, r1, 0} << QStringLiteral("d c");
    QTest::newRow("job and run") << EventFilter{{}, f1, r1, 0} << QStringLiteral("d");
    QTest::newRow("kind and run") << EventFilter{checked, {}, r1, 0} << QStringLiteral("c");
    QTest::newRow("unknown") << EventFilter{QStringLiteral("Check"), {}, {}, 0} << QString();
}

void DatabaseEventsTest::eventsAreFilteredNewestFirst()
{
    QFETCH(const EventFilter, filter);
    QFETCH(const QString, expected);
    add("a", eventKind::jobVoided, "f1", "");
    add("b", eventKind::jobVoided, "f2", "");
    add("c", eventKind::checked, "", "r1");
    add("d", eventKind::jobUnvoided, "f1", "r1");
    add("e", eventKind::checked, "", "r2");
    QCOMPARE(subjects(filter), expected);
}

void DatabaseEventsTest::anEventOfNoJobIsRefused()
{
    SiteEvent event;
    event.kind = eventKind::jobVoided;
    event.flowGuid = QStringLiteral("nobody");
    QCOMPARE(addEvent(*m_database, event).code(), ErrorCode::NotFound);
    QCOMPARE(subjects({}), QString());
}

void DatabaseEventsTest::anEventGoesWithItsTransaction()
{
    const Status undone = m_database->transaction([this] {
        add("gone", eventKind::jobVoided, "f1", "");
        return Status::io(QStringLiteral("undo"));
    });
    QCOMPARE(undone.code(), ErrorCode::Io);
    QCOMPARE(subjects({}), QString());
}

ZAV_REGISTER_TEST(database_events, DatabaseEventsTest, QCoreApplication)

#include "database_events.moc"
