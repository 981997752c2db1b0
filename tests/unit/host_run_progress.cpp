// How far a run of the file import panel is, by the services' calls alone.

#include "host/core/PanelSource.h"
#include "host/core/RunProgress.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace KOZAV;
using namespace KOZAV::Host;
using Backend::ErrorCode;
using Backend::OperationEvent;
using Backend::OperationOutcome;
using Backend::ServiceOperation;
using Backend::WorkProgress;
using Step = RunStatus::Step;

namespace {

constexpr qint64 mebibyte = 1 << 20;

} // namespace

class HostRunProgressTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void announcesTheFirstJob();
    void followsAnArchive();
    void followsAFolder();
    void passesByWhatThePanelLeavesOut();
    void countsWhatIsRefused();
    void countsNothingBehindAStop();
    void tellsTimeLeft();
    void followsASingleSource();
    void knowsNothingWithoutASource();

private:
    [[nodiscard]] RunProgress batch() const { return {{PanelSource::Kind::Batch, m_folder->path(), {}}, 0}; }
    [[nodiscard]] QString path(const char* entry) const
    {
        return m_folder->filePath(QString::fromLatin1(entry));
    }
    static OperationEvent event(ServiceOperation operation, const QString& subject,
                                ErrorCode reason = ErrorCode::None)
    {
        OperationEvent made;
        made.operation = operation;
        made.subject = made.storedName = subject;
        made.reason = reason;
        made.outcome = reason == ErrorCode::None ? OperationOutcome::Succeeded : OperationOutcome::Failed;
        made.storedBytes = reason == ErrorCode::None ? mebibyte / 2 : -1;
        return made;
    }
    static WorkProgress work(ServiceOperation operation, const QString& subject, WorkProgress::Stage stage,
                             qint64 done, qint64 total)
    {
        return {operation, subject, stage, done, total};
    }
    static void importArchive(RunProgress& progress)
    {
        progress.serviceCalled(event(ServiceOperation::MongodbPut, QStringLiteral("uuid.tgz")));
        progress.serviceCalled(event(ServiceOperation::InputJobCompress, {}));
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

/// Acme: a.tgz, b (a folder), c.txt, d.zip. Beta: e.tgz.
void HostRunProgressTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir(m_folder->path()).mkpath(QStringLiteral("Acme/b/matrix")));
    QVERIFY(QDir(m_folder->path()).mkpath(QStringLiteral("Beta")));
    for (const char* name : {"Acme/a.tgz", "Acme/c.txt", "Acme/d.zip", "Beta/e.tgz"}) {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(mebibyte));
    }
}

/// The panel copies an archive before its services hear of it.
void HostRunProgressTest::announcesTheFirstJob()
{
    const RunStatus status = batch().status(0);
    QCOMPARE(status.step, Step::Copying);
    QCOMPARE(status.company, QStringLiteral("Acme"));
    QCOMPARE(status.job, QStringLiteral("a.tgz"));
    QCOMPARE(status.number, 1);
    QCOMPARE(status.count, 4);
    QCOMPARE(status.bytes, qint64(0));
    QCOMPARE(status.totalBytes, qint64(-1));
    QCOMPARE(status.secondsLeft, qint64(-1));
    QCOMPARE(batch().entriesLeft(), 4);
}

void HostRunProgressTest::followsAnArchive()
{
    RunProgress progress = batch();
    progress.serviceWorks(work(ServiceOperation::MongodbPut, QStringLiteral("uuid.tgz"),
                               WorkProgress::Stage::Copying, mebibyte / 4, mebibyte));
    QCOMPARE(progress.status(0).step, Step::Storing);
    QCOMPARE(progress.status(0).bytes, mebibyte / 4);
    QVERIFY(!progress.isBetweenEntries());
    progress.serviceCalled(event(ServiceOperation::MongodbPut, QStringLiteral("uuid.tgz")));
    QCOMPARE(progress.status(0).step, Step::Entering);
    QCOMPARE(progress.status(1000).bytes, mebibyte);
    QCOMPARE(progress.status(1000).bytesPerSecond, mebibyte);
    QCOMPARE(progress.entriesLeft(), 3);
    progress.serviceCalled(event(ServiceOperation::InsertFlowBeforeOrigFile, {}));
    QVERIFY(!progress.isBetweenEntries());
    progress.serviceCalled(event(ServiceOperation::InputJobCompress, {}));
    QVERIFY(progress.isBetweenEntries());
    QCOMPARE(progress.status(0).job, QStringLiteral("b"));
    QCOMPARE(progress.status(0).step, Step::Packing);
    QCOMPARE(progress.status(0).number, 2);
}

void HostRunProgressTest::followsAFolder()
{
    constexpr auto pack = ServiceOperation::FoldersCompressSave2MongoDb;
    RunProgress progress = batch();
    importArchive(progress);
    const QString folder = path("Acme/b");
    progress.serviceWorks(work(pack, folder, WorkProgress::Stage::Listing, -1, -1));
    QCOMPARE(progress.status(0).step, Step::Packing);
    progress.serviceWorks(work(pack, folder, WorkProgress::Stage::Packing, mebibyte, 4 * mebibyte));
    QCOMPARE(progress.status(0).bytes, 2 * mebibyte);
    QCOMPARE(progress.status(0).totalBytes, 7 * mebibyte);
    progress.serviceWorks(work(pack, folder, WorkProgress::Stage::Flushing, -1, -1));
    QCOMPARE(progress.status(0).step, Step::Storing);
    QCOMPARE(progress.status(0).bytes, 2 * mebibyte);
    progress.serviceCalled(event(pack, folder));
    QCOMPARE(progress.status(0).bytes, 5 * mebibyte);
    progress.serviceCalled(event(ServiceOperation::InputJobCompressByFolder, {}));
    QCOMPARE(progress.status(0).job, QStringLiteral("d.zip"));
}

/// An entry whose company is not found makes no further call: the next one's file tells it.
void HostRunProgressTest::passesByWhatThePanelLeavesOut()
{
    RunProgress progress = batch();
    progress.serviceCalled(event(ServiceOperation::MongodbPut, QStringLiteral("one.tgz")));
    progress.serviceCalled(event(ServiceOperation::SelectCompanies, {}));
    QCOMPARE(progress.status(0).job, QStringLiteral("a.tgz"));
    progress.serviceWorks(work(ServiceOperation::MongodbPut, QStringLiteral("two.tgz"),
                               WorkProgress::Stage::Copying, 1, mebibyte));
    QCOMPARE(progress.status(0).job, QStringLiteral("e.tgz"));
    QCOMPARE(progress.status(0).number, 4);
}

void HostRunProgressTest::countsWhatIsRefused()
{
    RunProgress progress = batch();
    const auto refused = ErrorCode::NoSpace;
    progress.serviceCalled(event(ServiceOperation::MongodbPut, QStringLiteral("one.tgz"), refused));
    progress.serviceCalled(event(ServiceOperation::SelectCompanies, {}, refused));
    QCOMPARE(progress.status(0).number, 2);
    progress.serviceCalled(event(ServiceOperation::FoldersCompressSave2MongoDb, path("Acme/b"), refused));
    progress.serviceCalled(event(ServiceOperation::MongodbPut, QStringLiteral("two.zip"), refused));
    progress.serviceCalled(event(ServiceOperation::MongodbPut, QStringLiteral("three.tgz"), refused));
    const RunStatus status = progress.status(0);
    QCOMPARE(status.number, 4);
    QVERIFY(status.job.isEmpty());
    QCOMPARE(status.fraction, 1.0);
    QCOMPARE(progress.entriesLeft(), 0);
}

/// The panel still comes to the rest, of which the services take nothing.
void HostRunProgressTest::countsNothingBehindAStop()
{
    RunProgress progress = batch();
    importArchive(progress);
    const double before = progress.status(3000).fraction;
    progress.serviceCalled(
        event(ServiceOperation::FoldersCompressSave2MongoDb, path("Acme/b"), ErrorCode::Stopped));
    progress.serviceCalled(event(ServiceOperation::SelectCompanies, {}, ErrorCode::Stopped));
    progress.serviceCalled(
        event(ServiceOperation::MongodbPut, QStringLiteral("two.zip"), ErrorCode::Stopped));
    const RunStatus status = progress.status(3000);
    QCOMPARE(status.number, 1);
    QCOMPARE(status.count, 4);
    QCOMPARE(status.bytes, mebibyte);
    QVERIFY(status.job.isEmpty());
    QCOMPARE(status.fraction, before);
    QCOMPARE(status.secondsLeft, qint64(-1));
    QVERIFY(progress.isBetweenEntries());
}

void HostRunProgressTest::tellsTimeLeft()
{
    QVERIFY(QDir(path("Acme/b")).removeRecursively());
    RunProgress progress = batch();
    importArchive(progress);
    QCOMPARE(progress.status(1000).secondsLeft, qint64(-1));
    QCOMPARE(progress.status(3000).secondsLeft, qint64(6));
    QCOMPARE(progress.status(3000).totalBytes, 3 * mebibyte);
}

void HostRunProgressTest::followsASingleSource()
{
    RunProgress progress({PanelSource::Kind::Archive, path("Acme/a.tgz"), QStringLiteral("Acme")}, 0);
    QCOMPARE(progress.status(0).job, QStringLiteral("a.tgz"));
    QCOMPARE(progress.status(0).company, QStringLiteral("Acme"));
    QCOMPARE(progress.status(0).totalBytes, mebibyte);
    importArchive(progress);
    QVERIFY(progress.status(0).job.isEmpty());
}

void HostRunProgressTest::knowsNothingWithoutASource()
{
    const RunProgress progress({PanelSource::Kind::Batch, {}, {}}, 0);
    QCOMPARE(progress.status(5000).count, 0);
    QCOMPARE(progress.status(5000).number, 0);
    QCOMPARE(progress.status(5000).fraction, 0.0);
}

ZAV_REGISTER_TEST(host_run_progress, HostRunProgressTest, QCoreApplication)

#include "host_run_progress.moc"
