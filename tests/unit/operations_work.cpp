// How a host hears of a call while it works, and ends a batch.

#include "backend/HostInterface.h"
#include "backend/WorkWatch.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "services/common/Common.h"
#include "services/ui/ZAV_UICommon.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QSemaphore>
#include <QTest>
#include <QThread>

#include <map>
#include <memory>
#include <stdexcept>

using namespace KOZAV;
using namespace KOZAV::Backend;
using namespace KOZAV::Test;
using DataLib::BLL::Odbpp_CompanyBll;
using Stage = WorkProgress::Stage;

class OperationsWork final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void packingIsTold();
    void storingIsTold();
    void oneLongCallIsTold();
    void whatTheObserverThrowsGoesNoFurther();
    void workOutsideOfACallIsNobodys();
    void aStoreThatFailsEndsThePacking();
    void aFolderThatCannotBePackedIsNotStored();
    void aStoppedBatchGetsNoFurtherEntry();
    void aStopEndsWithItsBatch();
    void aStopOutsideOfABatchStopsNothing();

private:
    [[nodiscard]] QString makeJob(const QString& name, int mebibytes) const;
    [[nodiscard]] int pack(const QString& folder);
    [[nodiscard]] static bool lookUp(const char* company);
    void listen();

    std::unique_ptr<FreshSite> m_site;
    std::vector<WorkProgress> m_told;
    QVector<OperationEvent> m_events;
};

void OperationsWork::init()
{
    m_site = std::make_unique<FreshSite>();
    m_site->addCompany(QStringLiteral("AB"), QStringLiteral("Alpha"));
    m_site->addCompany(QStringLiteral("CD"), QStringLiteral("Beta"));
    m_told.clear();
    m_events.clear();
    setOperationObserver([this](const OperationEvent& event) { m_events.append(event); });
}

void OperationsWork::cleanup()
{
    setWorkObserver({});
    setOperationObserver({});
    UI::ZAV_UICommon::interface()->refreshOrigFileTable();
    m_site.reset();
}

void OperationsWork::listen()
{
    setWorkObserver([this](const WorkProgress& work) { m_told.push_back(work); });
}

/// Of content that does not shrink, which is the slowest to pack.
QString OperationsWork::makeJob(const QString& name, int mebibytes) const
{
    const QString folder = m_site->path(name);
    QFile file(folder + QStringLiteral("/content"));
    QByteArray block(1 << 20, Qt::Uninitialized);
    if (!QDir().mkpath(folder) || !file.open(QIODevice::WriteOnly))
        return {};
    for (int written = 0; written < mebibytes; ++written) {
        QRandomGenerator::global()->fillRange(reinterpret_cast<quint32*>(block.data()), block.size() / 4);
        if (file.write(block) != block.size())
            return {};
    }
    return folder;
}

int OperationsWork::pack(const QString& folder)
{
    std::string id;
    return Common::commonInterface()->FoldersCompressSave2MongoDb(
        QFile::encodeName(folder).toStdString(), Common::commonInterface()->getConfig().uploadCacheDir, id);
}

/// As the driver of a batch asks.
bool OperationsWork::lookUp(const char* company)
{
    std::vector<DataLib::Model::Odbpp_Company> found;
    return Odbpp_CompanyBll().select({{"CompanyName", company}}, {}, found) && found.size() == 1;
}

void OperationsWork::packingIsTold()
{
    const QString folder = makeJob(QStringLiteral("job"), 64);
    listen();
    QCOMPARE(pack(folder), 0);
    QVERIFY(!m_told.empty());
    qint64 before = 0;
    for (const WorkProgress& work : m_told) {
        QCOMPARE(work.operation, ServiceOperation::FoldersCompressSave2MongoDb);
        QCOMPARE(work.subject, folder);
        if (work.stage != Stage::Packing)
            continue;
        QCOMPARE(work.total, qint64(64) << 20);
        QVERIFY(work.done >= before && work.done <= work.total);
        before = work.done;
    }
    QVERIFY(before > 0);
}

void OperationsWork::storingIsTold()
{
    const QString file = m_site->path(QStringLiteral("a.tgz"));
    QFile made(file);
    QVERIFY(made.open(QIODevice::WriteOnly) && made.resize(qint64(96) << 20));
    listen();
    const auto config = Common::commonInterface()->getConfig();
    QCOMPARE(Common::MongodbPut(config.mongoDbName, config.mongoFsName, QFile::encodeName(file).toStdString(),
                                "a.tgz"),
             0);
    QVERIFY(!m_told.empty());
    QCOMPARE(m_told.front().operation, ServiceOperation::MongodbPut);
    QCOMPARE(m_told.front().subject, QStringLiteral("a.tgz"));
    QVERIFY(m_told.front().stage == Stage::Copying || m_told.front().stage == Stage::Flushing);
}

/// The work ends when it has been told of.
void OperationsWork::oneLongCallIsTold()
{
    QSemaphore told;
    QThread* on = nullptr;
    setWorkObserver([&](const WorkProgress& work) {
        on = QThread::currentThread();
        m_told.push_back(work);
        told.release();
    });
    const OperationEvent event;
    WatchedWork watched(event);
    QVERIFY(isWorkWatched());
    runTold(Stage::Flushing, [&told] { told.acquire(); });
    QCOMPARE(on, QThread::currentThread());
    QCOMPARE(m_told.front().stage, Stage::Flushing);
    QCOMPARE(m_told.front().done, qint64(-1));
}

void OperationsWork::whatTheObserverThrowsGoesNoFurther()
{
    int told = 0;
    setWorkObserver([&told](const WorkProgress&) {
        ++told;
        throw std::runtime_error("observer");
    });
    QCOMPARE(pack(makeJob(QStringLiteral("job"), 48)), 0);
    QVERIFY(told > 0);
}

void OperationsWork::workOutsideOfACallIsNobodys()
{
    listen();
    QVERIFY(!isWorkWatched());
    bool ran = false;
    runTold(Stage::Flushing, [&ran] { ran = true; });
    tellWork(Stage::Reading, 1, 2);
    QVERIFY(ran);
    QVERIFY(m_told.empty());
}

/// The folder is large enough to take its time: it is not packed to its end for a store that takes nothing.
void OperationsWork::aStoreThatFailsEndsThePacking()
{
    const QString folder = makeJob(QStringLiteral("job"), 256);
    const auto config = Common::commonInterface()->getConfig();
    std::vector<QString> locations;
    QDirIterator found(m_site->path(QString()), {QStringLiteral("files")}, QDir::Dirs,
                       QDirIterator::Subdirectories);
    while (found.hasNext())
        locations.push_back(QFileInfo(found.next()).path());
    QCOMPARE(locations.size(), std::size_t(1));
    QVERIFY(QDir(locations.front()).removeRecursively());
    listen();
    QVERIFY(pack(folder) != 0);
    QCOMPARE(m_events.last().part, SitePart::Files);
    for (const WorkProgress& work : m_told)
        QVERIFY(work.stage != Stage::Packing || work.done < work.total);
    QCOMPARE(QDir(QString::fromStdString(config.uploadCacheDir)).entryList(QDir::Files | QDir::Hidden),
             QStringList());
}

void OperationsWork::aFolderThatCannotBePackedIsNotStored()
{
    const QString folder = makeJob(QStringLiteral("job"), 8);
    QVERIFY(QFile::link(QStringLiteral("/etc/hostname"), folder + QStringLiteral("/outside")));
    const auto config = Common::commonInterface()->getConfig();
    QVERIFY(pack(folder) != 0);
    QCOMPARE(m_events.last().reason, ErrorCode::InvalidArgument);
    QCOMPARE(m_site->storedNames(), QStringList());
    QCOMPARE(QDir(QString::fromStdString(config.uploadCacheDir)).entryList(QDir::Files | QDir::Hidden),
             QStringList());
}

void OperationsWork::aStoppedBatchGetsNoFurtherEntry()
{
    const QString job = makeJob(QStringLiteral("job"), 1);
    QVERIFY(lookUp("Alpha"));
    QCOMPARE(pack(job), 0);
    refuseImports(QStringLiteral("somebody closes the window"));
    QVERIFY2(lookUp("Alpha"), "the entry that is under way goes on");
    std::string name = "Alpha";
    QVERIFY(Odbpp_CompanyBll().inputCompanies(name, 1, 1));
    m_events.clear();
    QCOMPARE(pack(job), 13);
    QVERIFY(!lookUp("Alpha"));
    QVERIFY2(Odbpp_CompanyBll().UpdateBatchNumber(1, m_site->company(QStringLiteral("AB")).companyId),
             "its jobs have the number");
    QVERIFY(!lookUp("Beta"));
    QCOMPARE(m_site->storedNames().size(), 1);
    for (const OperationEvent& event : qAsConst(m_events)) {
        const bool isBatchNumber = event.operation == ServiceOperation::UpdateBatchNumber;
        QCOMPARE(event.gaveUp, !isBatchNumber);
        QCOMPARE(event.reason, isBatchNumber ? ErrorCode::None : ErrorCode::Stopped);
    }
    QVERIFY(m_events.first().message.contains(QStringLiteral("somebody closes the window")));
}

void OperationsWork::aStopEndsWithItsBatch()
{
    QVERIFY(lookUp("Alpha"));
    refuseImports(QStringLiteral("enough"));
    UI::ZAV_UICommon::interface()->refreshOrigFileTable();
    QVERIFY(lookUp("Alpha"));
    QCOMPARE(pack(makeJob(QStringLiteral("job"), 1)), 0);
}

void OperationsWork::aStopOutsideOfABatchStopsNothing()
{
    refuseImports(QStringLiteral("enough"));
    QVERIFY(lookUp("Alpha"));
    QCOMPARE(pack(makeJob(QStringLiteral("job"), 1)), 0);
}

ZAV_REGISTER_TEST(operations_work, OperationsWork, QCoreApplication)

#include "operations_work.moc"
