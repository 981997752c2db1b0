// What a host is told of each call: fields, not words.

#include "backend/HostInterface.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobCompressBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"
#include "services/common/Common.h"
#include "services/ui/ZAV_StdCommon.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QFile>
#include <QTest>
#include <QThread>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Test;
using namespace KOZAV::DataLib::BLL;
using Backend::ErrorCode;
using Backend::OperationEvent;
using Backend::OperationOutcome;
using Backend::ServiceOperation;
using Backend::SitePart;

class OperationsEvents final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void everyOperationHasItsName();
    void anImportIsToldByItsFields();
    void aMissingFileIsTheFilesAnswer();
    void whatNobodyWasAskedForIsNoPartsAnswer();
    void aBrokenConfigurationIsNoPartsAnswer();
    void aLostPartIsNamed();
    void healthOfBothParts();
    void eventsComeOnTheCallersThread();

private:
    [[nodiscard]] const OperationEvent& last() const { return m_events.last(); }
    std::string storeFile() const;

    std::unique_ptr<FreshSite> m_site;
    QVector<OperationEvent> m_events;
};

void OperationsEvents::init()
{
    m_site = std::make_unique<FreshSite>();
    m_site->addCompany(QStringLiteral("AB"), QStringLiteral("甲公司"));
    m_events.clear();
    Backend::setOperationObserver([this](const OperationEvent& event) { m_events.append(event); });
}

void OperationsEvents::cleanup()
{
    Backend::setOperationObserver({});
    m_site.reset();
}

std::string OperationsEvents::storeFile() const
{
    const auto config = Common::commonInterface()->getConfig();
    const std::string path = QFile::encodeName(m_site->configuration()).toStdString();
    const std::string name = Common::commonInterface()->getGUID() + ".tgz";
    return Common::MongodbPut(config.mongoDbName, config.mongoFsName, path, name) == 0 ? name : std::string();
}

void OperationsEvents::everyOperationHasItsName()
{
    QCOMPARE(Backend::operationName(ServiceOperation::MongodbPut), QStringLiteral("MongodbPut"));
    QCOMPARE(Backend::operationName(ServiceOperation::SelectJobFlows),
             QStringLiteral("Odbpp_JobFlowBll::select"));
    QSet<QString> names;
    const int count = int(ServiceOperation::UploadPrefile2Mysql) + 1;
    for (int i = 0; i < count; ++i)
        names.insert(Backend::operationName(static_cast<ServiceOperation>(i)));
    QCOMPARE(names.size(), count);
}

void OperationsEvents::anImportIsToldByItsFields()
{
    const QString company = QStringLiteral("甲公司");
    const std::string stored = storeFile();
    QCOMPARE(last().storedName, QString::fromStdString(stored));
    QCOMPARE(last().storedBytes, QFile(m_site->configuration()).size());
    QCOMPARE(last().part, SitePart::Files);
    QVERIFY(last().startedMs > 0 && last().startedMs <= last().endedMs);

    std::string name = company.toStdString();
    QVERIFY(Odbpp_CompanyBll().inputCompanies(name, 1, 1));
    QCOMPARE(last().operation, ServiceOperation::InputCompanies);
    QCOMPARE(last().company, company);
    QCOMPARE(last().part, SitePart::Rows);

    const std::string origFile = Common::commonInterface()->getGUID();
    QVERIFY(Odbpp_OrigFilesBll().inputOrigFile(origFile, "job", stored, "tgz", "AB", 0, 1));
    QCOMPARE(last().jobName, QStringLiteral("job"));
    QCOMPARE(last().storedName, QString::fromStdString(stored));
    QCOMPARE(last().part, SitePart::Rows);

    const std::string flow = Odbpp_JobFlowBll().insertflowbeforeorigfile("job", 1, "F1", "AB000001");
    QCOMPARE(last().flowKey, QString::fromStdString(flow));
    QCOMPARE(last().generatedName, QStringLiteral("AB000001"));
    QCOMPARE(last().jobName, QStringLiteral("job"));

    const std::string fsName = Common::commonInterface()->getConfig().mongoFsName;
    QVERIFY(Odbpp_JobCompressBll().inputJobCompressByFolder(company.toStdString(), "AB", 1, "job", flow,
                                                            stored, "tgz", "", fsName, 1, 1, "r", "2", "3"));
    QCOMPARE(last().operation, ServiceOperation::InputJobCompressByFolder);
    QCOMPARE(last().outcome, OperationOutcome::Succeeded);
    QCOMPARE(last().reason, ErrorCode::None);
    QCOMPARE(last().message, QString());
    QCOMPARE(last().company, company);
    QCOMPARE(last().flowKey, QString::fromStdString(flow));
    QCOMPARE(last().storedName, QString::fromStdString(stored));
    QCOMPARE(last().resource, QStringLiteral("r"));
    QCOMPARE(last().customer2, QStringLiteral("2"));
    QCOMPARE(last().customer3, QStringLiteral("3"));
    QCOMPARE(last().part, SitePart::Rows);
}

/// Rows are not written before the files were asked.
void OperationsEvents::aMissingFileIsTheFilesAnswer()
{
    const CapturedLog log;
    QVERIFY(!Odbpp_OrigFilesBll().inputOrigFile("key", "job", "absent.tgz", "tgz", "AB", 0, 1));
    QCOMPARE(last().outcome, OperationOutcome::Failed);
    QCOMPARE(last().reason, ErrorCode::NotFound);
    QCOMPARE(last().part, SitePart::Files);

    // The rows are asked after that, to take the flow off the list.
    const std::string flow = Odbpp_JobFlowBll().insertflowbeforeorigfile("job", 1, "F1", "AB000001");
    const std::string fsName = Common::commonInterface()->getConfig().mongoFsName;
    QVERIFY(!Odbpp_JobCompressBll().inputJobCompress("甲公司", "AB", 1, "job", flow, "absent.tgz", "tgz", "",
                                                     fsName, 1, 1));
    QCOMPARE(last().part, SitePart::Files);
}

void OperationsEvents::whatNobodyWasAskedForIsNoPartsAnswer()
{
    const CapturedLog log;
    std::vector<DataLib::Model::Odbpp_Company> companies;
    QVERIFY(!Odbpp_CompanyBll().select({{"NoSuchColumn", "x"}}, {}, companies));
    QCOMPARE(last().reason, ErrorCode::InvalidArgument);
    QCOMPARE(last().part, SitePart::None);
    (void)UI::ZAV_StdCommon::interface()->getCurrentUser();
    QCOMPARE(last().outcome, OperationOutcome::Succeeded);
    QCOMPARE(last().part, SitePart::None);

    std::string id;
    QVERIFY(Common::FoldersCompressSave2MongoDb(m_site->path(QStringLiteral("absent")).toStdString(),
                                                m_site->path(QStringLiteral("stage")).toStdString(),
                                                id) != 0);
    QCOMPARE(last().part, SitePart::None);
}

void OperationsEvents::aBrokenConfigurationIsNoPartsAnswer()
{
    const CapturedLog log;
    QFile file(m_site->configuration());
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QVERIFY(file.write("broken") > 0);
    file.close();
    QVERIFY(UI::ZAV_StdCommon::interface()->getInputJobList().empty());
    QCOMPARE(last().reason, ErrorCode::Configuration);
    QCOMPARE(last().part, SitePart::None);
    QVERIFY(!Backend::healthOf(SitePart::Rows).isReachable());
}

void OperationsEvents::aLostPartIsNamed()
{
    const CapturedLog log;
    m_site->configure(QStringLiteral("database/file"), m_site->path(QStringLiteral("zav.ini/site.db")));
    QVERIFY(UI::ZAV_StdCommon::interface()->getInputJobList().empty());
    QCOMPARE(last().outcome, OperationOutcome::Failed);
    QCOMPARE(last().part, SitePart::Rows);
    m_site->configure(QStringLiteral("document_store/root"), m_site->path(QStringLiteral("zav.ini/store")));
    QCOMPARE(storeFile(), std::string());
    QCOMPARE(last().outcome, OperationOutcome::Failed);
    QCOMPARE(last().part, SitePart::Files);
}

void OperationsEvents::healthOfBothParts()
{
    QCOMPARE(Backend::configurationFile(), m_site->configuration());
    const auto rows = Backend::healthOf(SitePart::Rows);
    QVERIFY2(rows.isReachable(), qPrintable(rows.failure));
    QVERIFY2(rows.engine.startsWith(QStringLiteral("SQLite ")), qPrintable(rows.engine));
    QCOMPARE(rows.place, m_site->path(QStringLiteral("data/site.db")));
    const auto files = Backend::healthOf(SitePart::Files);
    QVERIFY2(files.isReachable(), qPrintable(files.failure));
    QCOMPARE(files.place, m_site->path(QStringLiteral("data/store")));
    QVERIFY(!Backend::healthOf(SitePart::None).isReachable());

    const CapturedLog log;
    m_site->configure(QStringLiteral("database/file"), m_site->path(QStringLiteral("zav.ini/site.db")));
    const auto lost = Backend::healthOf(SitePart::Rows);
    QVERIFY(!lost.isReachable());
    QCOMPARE(lost.place, m_site->path(QStringLiteral("zav.ini/site.db")));
}

void OperationsEvents::eventsComeOnTheCallersThread()
{
    const QThread* told = nullptr;
    Backend::setOperationObserver([&told](const OperationEvent&) { told = QThread::currentThread(); });
    const std::unique_ptr<QThread> thread(
        QThread::create([] { (void)UI::ZAV_StdCommon::interface()->getCurrentUser(); }));
    thread->start();
    QVERIFY(thread->wait(10000));
    QCOMPARE(told, const_cast<const QThread*>(thread.get()));
}

ZAV_REGISTER_TEST(operations_events, OperationsEvents, QCoreApplication)

#include "operations_events.moc"
