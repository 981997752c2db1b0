// The rows of imports on a MariaDB server: through the services, and by the engine's own C library with the
// same statements, in turns on the same server. Prints milliseconds an import as JSON. Argument: imports of
// each.

#include "backend/Site.h"
#include "backend/config/Password.h"
#include "backend/config/Settings.h"
#include "backend/database/Database.h"
#include "backend/records/SiteRecords.h"
#include "bench/BareClient.h"
#include "bench/BenchSite.h"
#include "bench/Report.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobCompressBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"
#include "services/common/Common.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>

#include <vector>

using namespace KOZAV;
using namespace KOZAV::Backend;
using KOZAV::Bench::BareClient;
using KOZAV::Bench::report;
using KOZAV::Bench::require;

namespace {

constexpr const char* storedName = "bench.zip";

/// The calls for the rows of one job folder, as the import panel makes them.
class ServiceImports final
{
public:
    void importOne()
    {
        std::vector<DataLib::Model::Odbpp_Company> found;
        require(m_companies.select({{"CompanyName", "services"}}, {}, found), "select");
        const DataLib::Model::Odbpp_Company& company = found.front();
        const int number = company.jobCount + 1;
        std::string name = company.companyLabel;
        require(m_companies.inputCompanies(name, 1, number), "inputCompanies");
        const std::string guid = Common::commonInterface()->getGUID();
        const std::string flowNo = "F" + Common::GetTimeStr();
        const std::string generated = company.companyCode + std::to_string(1000000 + number).substr(1);
        require(m_origFiles.inputOrigFile(guid, "job", storedName, "zip", company.companyCode, 0, 1),
                "inputOrigFile");
        const std::string flow = m_flows.insertflowbeforeorigfile("job", 1, flowNo, generated);
        require(m_flows.UpdateOrigFileGuid(guid, flow), "UpdateOrigFileGuid");
        require(m_flows.updateUploadBatchNum(1, flow), "updateUploadBatchNum");
        require(m_compresses.inputJobCompressByFolder(
                    company.companyLabel, company.companyCode, company.companyId, "job", flow, storedName,
                    "zip", "", Common::commonInterface()->getConfig().mongoFsName, 1, number, "", "", ""),
                "inputJobCompressByFolder");
    }

private:
    DataLib::BLL::Odbpp_CompanyBll m_companies;
    DataLib::BLL::Odbpp_OrigFilesBll m_origFiles;
    DataLib::BLL::Odbpp_JobFlowBll m_flows;
    DataLib::BLL::Odbpp_JobCompressBll m_compresses;
};

/// The statements that these calls stand for, one by one.
class BareImports final
{
public:
    BareImports(const DatabaseSettings& settings, const QString& password, int companyId)
        : m_client(settings.host, settings.port, settings.name, settings.user, password)
        , m_companyId(QByteArray::number(companyId))
    {
        for (const char* sql :
             {"SELECT created_time, id, code, name, job_count, batch_number, updated_user_id, updated_time "
              "FROM company WHERE name = ? ORDER BY id",
              "UPDATE company SET job_count = ?, updated_user_id = ?, updated_time = ? WHERE name = ? AND "
              "job_count < ?",
              "INSERT INTO orig_file (guid, job_name, stored_name, suffix, company_code, file_type, user_id, "
              "created_time) VALUES (?, ?, ?, ?, ?, ?, ?, ?)",
              "INSERT INTO job_flow (guid, job_name, user_id, flow_no, ko_serial_name, created_time) VALUES "
              "(?, ?, ?, ?, ?, ?)",
              "UPDATE job_flow SET orig_file_guid = ? WHERE guid = ?",
              "UPDATE job_flow SET upload_batch_number = ? WHERE guid = ?",
              "INSERT INTO job_compress (company_name, company_code, company_id, job_name, flow_guid, "
              "stored_name, suffix, remark, file_store, user_id, job_number, resource, customer2, customer3, "
              "created_time) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"})
            m_client.prepare(sql);
    }

    void importOne()
    {
        const QByteArray number = QByteArray::number(++m_number);
        const QByteArray guid = QByteArray::fromStdString(Common::commonInterface()->getGUID());
        const QByteArray flow = QByteArray::fromStdString(Common::commonInterface()->getGUID());
        const QByteArray flowNo = "F" + QByteArray::fromStdString(Common::GetTimeStr());
        const QByteArray now = rowTime().toUtf8();
        const QByteArray generated = "B" + number.rightJustified(6, '0');
        m_client.run(0, {"bare"});
        m_client.run(1, {number, "1", now, "bare", number});
        m_client.run(2, {guid, "job", storedName, "zip", "B", "0", "1", now});
        m_client.run(3, {flow, "job", "1", flowNo, generated, now});
        m_client.run(4, {guid, flow});
        m_client.run(5, {"1", flow});
        m_client.run(6, {"bare", "B", m_companyId, "job", flow, storedName, "zip", "", "odbpp", "1", number,
                         "", "", "", now});
    }

private:
    BareClient m_client;
    QByteArray m_companyId;
    int m_number = 0;
};

template <typename Imports>
double millisecondsOf(Imports& imports, int count)
{
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < count; ++i)
        imports.importOne();
    return static_cast<double>(timer.nsecsElapsed()) / 1e6 / count;
}

int addedCompany(const char* code, const char* name)
{
    const auto added =
        addCompany(*Site::current().database().value(), QLatin1String(code), QLatin1String(name));
    if (!added.ok())
        qFatal("%s", qPrintable(added.message()));
    return added->companyId;
}

void storeBenchFile(const QString& path)
{
    QFile file(path);
    require(file.open(QIODevice::WriteOnly) && file.write("bench") == 5 && file.flush(), "writing a file");
    const auto config = Common::commonInterface()->getConfig();
    require(Common::MongodbPut(config.mongoDbName, config.mongoFsName,
                               QFile::encodeName(file.fileName()).toStdString(), storedName) == 0,
            "MongodbPut");
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    // Short turns: what else the machine does meets both alike.
    constexpr int importsATurn = 50;
    const int imports = argc > 1 ? qMax(importsATurn, QByteArray(argv[1]).toInt()) : 1000;
    const int turns = imports / importsATurn * 5;

    const Bench::BenchSite site(Bench::BenchSite::Engines::MariaDb, {});
    Bench::print({{QStringLiteral("servers"), site.serverDescription()}});
    addedCompany("S", "services");
    const int bareId = addedCompany("B", "bare");
    storeBenchFile(site.path(QStringLiteral("bench.zip")));

    const DatabaseSettings settings = loadSettings(site.configuration()).value().database;
    BareImports bare(settings, readPassword(settings.passwordFile, databasePasswordVariable).value(), bareId);
    ServiceImports services;
    std::vector<double> bareTimes;
    std::vector<double> serviceTimes;
    millisecondsOf(bare, importsATurn);
    millisecondsOf(services, importsATurn);
    for (int turn = 0; turn < turns; ++turn) {
        bareTimes.push_back(millisecondsOf(bare, importsATurn));
        serviceTimes.push_back(millisecondsOf(services, importsATurn));
    }

    report(QStringLiteral("rows of an import"), QStringLiteral("ours"), 1, QStringLiteral("ms"),
           serviceTimes);
    report(QStringLiteral("rows of an import"), QStringLiteral("bare-c"), 1, QStringLiteral("ms"), bareTimes);
    return 0;
}
