// Where a thread is on the road of an import, by the order of its calls alone.

#include "backend/operations/ImportRoad.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <thread>

using namespace KOZAV::Backend;

namespace {

const QString alpha = QStringLiteral("Alpha");
const QString beta = QStringLiteral("Beta");

/// Makes the calls of a road, one a letter: l looks Alpha up, L Beta; s stores, f fails to; n is given a
/// number; r has its last row written; b writes the batch number; e is the refresh at the end.
void walk(ImportRoad& road, const QByteArray& calls)
{
    for (const char call : calls) {
        switch (call) {
        case 'l':
        case 'L':
            road.lookUp(call == 'l' ? alpha : beta);
            break;
        case 's':
        case 'f':
            road.beginStoring();
            road.endStoring(call == 's' ? "a.zip" : "");
            break;
        case 'n':
            road.beginCounting();
            road.endCounting();
            break;
        case 'r':
            road.endEntry();
            break;
        case 'b':
            road.endCompany();
            break;
        default:
            road.endBatch();
        }
    }
}

} // namespace

Q_DECLARE_METATYPE(KOZAV::Backend::RoadStep)

class OperationsRoad final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void stepFollowsFromTheCalls_data();
    void stepFollowsFromTheCalls();
    void whatIsKeptEndsWithItsStretch_data();
    void whatIsKeptEndsWithItsStretch();
    void fileWithoutRowIsToldOnce();
    void eachThreadHasItsOwn();
};

void OperationsRoad::stepFollowsFromTheCalls_data()
{
    QTest::addColumn<QByteArray>("calls");
    QTest::addColumn<RoadStep>("step");
    QTest::addColumn<bool>("inBatch");
    QTest::addColumn<QString>("company");
    const auto row = [](const char* name, const char* calls, RoadStep step, bool inBatch,
                        const QString& company) {
        QTest::newRow(name) << QByteArray(calls) << step << inBatch << company;
    };
    row("nothing", "", RoadStep::None, false, {});
    row("the driver asks", "l", RoadStep::DriverLookUp, true, alpha);
    row("an entry begins", "ls", RoadStep::Storing, true, alpha);
    row("an entry whose file is not stored", "lf", RoadStep::Storing, true, alpha);
    row("the pipeline asks", "lsl", RoadStep::PipelineLookUp, true, alpha);
    row("the pipeline asks after a failure", "lfl", RoadStep::PipelineLookUp, true, alpha);
    row("an entry is counted", "lsln", RoadStep::Counted, true, alpha);
    row("an entry is complete", "lslnr", RoadStep::RowsWritten, true, alpha);
    row("the second entry asks", "lslnrsl", RoadStep::PipelineLookUp, true, alpha);
    row("the second entry after a refused one", "lslsl", RoadStep::PipelineLookUp, true, alpha);
    row("the company is done", "lslnrb", RoadStep::RowsWritten, true, {});
    row("the next company", "lslnrbL", RoadStep::DriverLookUp, true, beta);
    row("the next company after one that does not exist", "lslslL", RoadStep::DriverLookUp, true, beta);
    row("a company without entries", "lbL", RoadStep::DriverLookUp, true, beta);
    row("the batch is done", "lslnrbe", RoadStep::None, false, {});
    row("a single import asks", "sl", RoadStep::PipelineLookUp, false, alpha);
    row("a single import is counted", "sln", RoadStep::Counted, false, alpha);
    row("a single import is complete", "slnr", RoadStep::RowsWritten, false, alpha);
    row("a second single import, of another company", "slnrsL", RoadStep::PipelineLookUp, false, beta);
    row("a batch after a single import", "slnrl", RoadStep::DriverLookUp, true, alpha);
    row("a batch after a single import without company", "sll", RoadStep::DriverLookUp, true, alpha);
    row("a host that only counts", "ln", RoadStep::Counted, false, alpha);
}

void OperationsRoad::stepFollowsFromTheCalls()
{
    QFETCH(const QByteArray, calls);
    ImportRoad road;
    walk(road, calls);
    QTEST(road.step(), "step");
    QTEST(road.inBatch(), "inBatch");
    QTEST(road.company(), "company");
}

void OperationsRoad::whatIsKeptEndsWithItsStretch_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    QTest::addColumn<bool>("company");
    QTest::addColumn<bool>("entry");
    const auto row = [](const char* name, const char* before, const char* after, bool company, bool entry) {
        QTest::newRow(name) << QByteArray(before) << QByteArray(after) << company << entry;
    };
    row("an entry begins", "l", "s", true, false);
    row("the pipeline asks", "ls", "l", true, true);
    row("an entry is counted", "lsl", "n", true, false);
    row("the entry is complete", "lsln", "r", true, false);
    row("the company is done", "lslnr", "b", false, false);
    row("another company without a batch number between", "lsl", "L", false, false);
    row("the batch is done", "lslnr", "e", false, false);
    row("it was no batch", "l", "n", false, false);
}

void OperationsRoad::whatIsKeptEndsWithItsStretch()
{
    QFETCH(const QByteArray, before);
    QFETCH(const QByteArray, after);
    ImportRoad road;
    walk(road, before);
    auto company = std::make_shared<int>(1);
    auto entry = std::make_shared<int>(2);
    const std::weak_ptr<int> companyKept = company;
    const std::weak_ptr<int> entryKept = entry;
    // Holds of nothing, with the life of these.
    road.keepForCompany({company, nullptr});
    road.keepForEntry({entry, nullptr});
    company.reset();
    entry.reset();
    walk(road, after);
    QTEST(!companyKept.expired(), "company");
    QTEST(!entryKept.expired(), "entry");
}

void OperationsRoad::fileWithoutRowIsToldOnce()
{
    ImportRoad road;
    walk(road, "ls");
    road.claimFile("another.zip");
    QCOMPARE(road.takeUnclaimedFile(), std::string("a.zip"));
    QCOMPARE(road.takeUnclaimedFile(), std::string());
    walk(road, "s");
    road.claimFile("a.zip");
    QCOMPARE(road.takeUnclaimedFile(), std::string());
    walk(road, "sf");
    QCOMPARE(road.takeUnclaimedFile(), std::string());
}

void OperationsRoad::eachThreadHasItsOwn()
{
    ImportRoad& here = ImportRoad::ofThisThread();
    walk(here, "l");
    RoadStep there = RoadStep::Storing;
    std::thread([&there] { there = ImportRoad::ofThisThread().step(); }).join();
    QCOMPARE(there, RoadStep::None);
    QCOMPARE(here.step(), RoadStep::DriverLookUp);
    walk(here, "e");
}

ZAV_REGISTER_TEST(operations_road, OperationsRoad, QCoreApplication)

#include "operations_road.moc"
