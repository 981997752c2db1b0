#include "tests/support/AdminSession.h"

#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobCompressBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"
#include "services/common/Common.h"

#include <QBuffer>
#include <QFile>
#include <QJsonDocument>

#include <utility>

namespace KOZAV::Test {

QJsonObject AdminOutcome::json() const
{
    return QJsonDocument::fromJson(out.toUtf8()).object();
}

QJsonObject AdminOutcome::failure() const
{
    return QJsonDocument::fromJson(err.toUtf8()).object();
}

AdminOutcome runAdmin(const QString& configuration, QStringList arguments)
{
    QBuffer out;
    QBuffer err;
    out.open(QIODevice::WriteOnly);
    err.open(QIODevice::WriteOnly);
    arguments.prepend(configuration);
    arguments.prepend(QStringLiteral("--config"));
    const Admin::ExitCode code = Admin::runCommandLine(arguments, out, err);
    return {code, QString::fromUtf8(out.data()), QString::fromUtf8(err.data())};
}

AdminOutcome AdminSession::run(QStringList arguments) const
{
    return runAdmin(m_file.path(), std::move(arguments));
}

std::string AdminSession::importJob(const char* company, const char* jobName, const QByteArray& content,
                                    int batch, bool complete) const
{
    using namespace DataLib;
    std::vector<Model::Odbpp_Company> found;
    BLL::Odbpp_CompanyBll companies;
    companies.select({{"CompanyCode", company}}, {}, found);
    Model::Odbpp_Company& owner = found.at(0);
    const int number = owner.jobCount + 1;
    companies.inputCompanies(owner.companyLabel, 1, number);
    std::string generated =
        owner.companyCode + QString::number(number).rightJustified(6, QLatin1Char('0')).toStdString();

    QFile file(m_file.inFolder(QStringLiteral("source")));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.flush())
        qFatal("%s", qUtf8Printable(file.errorString()));
    const auto config = Common::commonInterface()->getConfig();
    const std::string storedName = generated + ".tgz";
    Common::MongodbPut(config.mongoDbName, config.mongoFsName, file.fileName().toStdString(), storedName);

    const std::string guid = Common::commonInterface()->getGUID();
    BLL::Odbpp_OrigFilesBll().inputOrigFile(guid, jobName, storedName, "tgz", owner.companyCode, 0, 1);
    BLL::Odbpp_JobFlowBll flows;
    const std::string key = flows.insertflowbeforeorigfile(jobName, 1, "F" + Common::GetTimeStr(), generated);
    flows.UpdateOrigFileGuid(guid, key);
    flows.updateUploadBatchNum(batch, key);
    if (complete)
        BLL::Odbpp_JobCompressBll().inputJobCompress(owner.companyLabel, owner.companyCode, owner.companyId,
                                                     jobName, key, storedName, "tgz", "", config.mongoFsName,
                                                     1, number);
    return generated;
}

} // namespace KOZAV::Test
