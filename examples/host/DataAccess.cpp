// The rows: customer companies, job flows, original files, and what the later processing of a job needs.
// Every change is made by FolderSite::change(), whole or not at all; what refuses it is said in words, and
// becomes the result that the panels know.

#include "FolderSite.h"
#include "services/bll/Odbpp_CompanyBll.h"
#include "services/bll/Odbpp_JobCompressBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/bll/Odbpp_OrigFilesBll.h"
#include "services/common/Common.h"
#include "services/dbs_api/DBS_API.h"

#include <QFileInfo>

namespace {

using namespace KOZAV;

using TextConditions = std::map<std::string, std::string>;
using IntConditions = std::map<std::string, int>;

const QLatin1String companiesTable("companies");
const QLatin1String flowsTable("flows");
const QLatin1String origFilesTable("origFiles");
const QLatin1String compressedTable("compressed");
const QLatin1String preFilesTable("preFiles");

/// A row that is made of arguments, and what is wrong with them.
struct NewRow
{
    QJsonObject row;
    QString problem;

    NewRow& text(const char* column, const std::string& utf8)
    {
        const QString value = checkedText(utf8);
        if (value.isNull())
            problem = QLatin1String(column) + QStringLiteral(" is no UTF-8 text");
        row[QLatin1String(column)] = value;
        return *this;
    }
    NewRow& number(const char* column, int value)
    {
        row[QLatin1String(column)] = value;
        return *this;
    }
};

std::string textOf(const QJsonObject& row, const char* column)
{
    return row[QLatin1String(column)].toString().toStdString();
}

int numberOf(const QJsonObject& row, const char* column)
{
    return row[QLatin1String(column)].toInt();
}

void append(QJsonObject& rows, QLatin1String table, const QJsonObject& row)
{
    QJsonArray changed = rows[table].toArray();
    changed.append(row);
    rows[table] = changed;
}

/// Writes values into a row of a table.
void update(QJsonObject& rows, QLatin1String table, int index, const QJsonObject& values)
{
    QJsonArray changed = rows[table].toArray();
    QJsonObject row = changed.at(index).toObject();
    for (auto value = values.begin(); value != values.end(); ++value)
        row[value.key()] = value.value();
    changed.replace(index, row);
    rows[table] = changed;
}

bool isStored(const QJsonObject& rows, const std::string& fileStore, const std::string& name)
{
    const std::string database = Common::commonInterface()->getConfig().mongoDbName;
    return rows[QLatin1String("files")].toObject().contains(
        QString::fromStdString(database + "/" + fileStore + "/" + name));
}

/// The rows of a table that meet all conditions. Columns maps what conditions name to what rows have.
/// @return why that is not possible
QString selectRows(QLatin1String table, const std::map<std::string, const char*>& columns,
                   const TextConditions& texts, const IntConditions& numbers,
                   std::vector<QJsonObject>& selected)
{
    TextConditions conditions = texts;
    for (const auto& [column, value] : numbers) {
        const auto given = conditions.emplace(column, std::to_string(value));
        if (!given.second && given.first->second != std::to_string(value))
            return {};
    }
    for (const auto& condition : conditions)
        if (columns.count(condition.first) == 0)
            return QStringLiteral("there is no such condition column");
    for (const auto& value : FolderSite::current().rows()[table].toArray()) {
        const QJsonObject row = value.toObject();
        bool meetsAll = true;
        for (const auto& [column, wanted] : conditions) {
            const QJsonValue has = row[QLatin1String(columns.at(column))];
            meetsAll = meetsAll && has.toVariant().toString().toStdString() == wanted;
        }
        if (meetsAll)
            selected.push_back(row);
    }
    return {};
}

} // namespace

namespace KOZAV::DataLib::BLL {

Odbpp_CompanyBll::Odbpp_CompanyBll() = default;
Odbpp_CompanyBll::~Odbpp_CompanyBll() = default;

bool Odbpp_CompanyBll::select(const TextConditions& textConditions, const IntConditions& intConditions,
                              std::vector<Model::Odbpp_Company>& companies)
{
    companies.clear();
    std::vector<QJsonObject> selected;
    const QString reason =
        selectRows(companiesTable, {{"CompanyName", "name"}, {"CompanyCode", "code"}, {"CompanyId", "id"}},
                   textConditions, intConditions, selected);
    for (const QJsonObject& row : selected)
        companies.push_back({textOf(row, "created"), numberOf(row, "id"), textOf(row, "code"),
                             textOf(row, "name"), numberOf(row, "jobCount"), numberOf(row, "batchNumber"),
                             numberOf(row, "user"), textOf(row, "updated")});
    return succeeded("Odbpp_CompanyBll::select", "companies", reason);
}

bool Odbpp_CompanyBll::inputCompanies(std::string& companyName, int userId, int jobCount)
{
    const QString reason = FolderSite::current().change([&](QJsonObject& rows) {
        const QJsonArray companies = rows[companiesTable].toArray();
        const int index = indexOf(companies, "name", QString::fromStdString(companyName));
        if (index < 0)
            return QStringLiteral("there is no company of that name");
        // Of two operators who have read the same count the second is refused here.
        if (jobCount <= numberOf(companies.at(index).toObject(), "jobCount"))
            return QStringLiteral("its count is there already");
        update(rows, companiesTable, index,
               NewRow()
                   .number("jobCount", jobCount)
                   .number("user", userId)
                   .text("updated", timeOfRow().toStdString())
                   .row);
        return QString();
    });
    return succeeded("inputCompanies", companyName, reason);
}

bool Odbpp_CompanyBll::UpdateBatchNumber(int batchNumber, int companyId)
{
    const QString reason = FolderSite::current().change([&](QJsonObject& rows) {
        const int index = indexOf(rows[companiesTable].toArray(), "id", companyId);
        if (index < 0 || batchNumber < 0)
            return QStringLiteral("there is no such company, or it is no batch number");
        update(rows, companiesTable, index, NewRow().number("batchNumber", batchNumber).row);
        return QString();
    });
    return succeeded("UpdateBatchNumber", std::to_string(companyId), reason);
}

namespace {

Model::Odbpp_JobFlow flowOf(const QJsonObject& row)
{
    return {textOf(row, "key"),
            numberOf(row, "id"),
            textOf(row, "jobName"),
            textOf(row, "generatedName"),
            textOf(row, "flowNo"),
            numberOf(row, "user"),
            numberOf(row, "state"),
            numberOf(row, "subState"),
            numberOf(row, "stateUser"),
            textOf(row, "stateTime"),
            textOf(row, "origFile"),
            textOf(row, "lastOdbppImport"),
            numberOf(row, "batchNumber"),
            numberOf(row, "preImportUser"),
            numberOf(row, "preImportFlag"),
            textOf(row, "preImportNote"),
            numberOf(row, "checkUser"),
            textOf(row, "checkUserName"),
            numberOf(row, "checkFlag"),
            textOf(row, "checkNote"),
            textOf(row, "preImportOrCheckTime"),
            textOf(row, "created")};
}

/// Writes values into the flow with that key.
bool changeFlow(const char* operation, const std::string& flowGuid, const NewRow& values)
{
    const QString reason = FolderSite::current().change([&](QJsonObject& rows) {
        const int index = indexOf(rows[flowsTable].toArray(), "key", QString::fromStdString(flowGuid));
        if (index < 0)
            return QStringLiteral("there is no job flow with that key");
        if (!values.problem.isEmpty())
            return values.problem;
        update(rows, flowsTable, index, values.row);
        return QString();
    });
    return succeeded(operation, flowGuid, reason);
}

/// Links an original file to a flow, and the other way round.
bool linkOrigFile(const char* operation, const char* column, const std::string& origFileGuid,
                  const std::string& flowGuid)
{
    const QString reason = FolderSite::current().change([&](QJsonObject& rows) {
        const QString key = QString::fromStdString(flowGuid);
        const int flow = indexOf(rows[flowsTable].toArray(), "key", key);
        const int file = indexOf(rows[origFilesTable].toArray(), "key", QString::fromStdString(origFileGuid));
        if (flow < 0 || file < 0)
            return QStringLiteral("there is no such job flow or original file");
        update(rows, flowsTable, flow, {{QLatin1String(column), QString::fromStdString(origFileGuid)}});
        update(rows, origFilesTable, file, {{QLatin1String("flow"), key}});
        return QString();
    });
    return succeeded(operation, flowGuid, reason);
}

} // namespace

Odbpp_JobFlowBll::Odbpp_JobFlowBll() = default;
Odbpp_JobFlowBll::~Odbpp_JobFlowBll() = default;

bool Odbpp_JobFlowBll::select(const TextConditions& textConditions, const IntConditions& intConditions,
                              std::vector<Model::Odbpp_JobFlow>& flows)
{
    flows.clear();
    std::vector<QJsonObject> selected;
    const QString reason = selectRows(flowsTable, {{"KoSerialName", "generatedName"}, {"FlowGuid", "key"}},
                                      textConditions, intConditions, selected);
    for (const QJsonObject& row : selected)
        flows.push_back(flowOf(row));
    return succeeded("Odbpp_JobFlowBll::select", "flows", reason);
}

std::string Odbpp_JobFlowBll::insertflowbeforeorigfile(std::string jobName, int userId, std::string flowNo,
                                                       std::string generatedJobName)
{
    const std::string key = Common::commonInterface()->getGUID();
    NewRow made;
    made.text("key", key).text("jobName", jobName).number("user", userId).text("flowNo", flowNo);
    made.text("generatedName", generatedJobName).text("created", timeOfRow().toStdString());
    const QString reason = FolderSite::current().change([&](QJsonObject& rows) {
        const QJsonArray flows = rows[flowsTable].toArray();
        if (!made.problem.isEmpty())
            return made.problem;
        if (generatedJobName.empty() ||
            indexOf(flows, "generatedName", QString::fromStdString(generatedJobName)) >= 0)
            return QStringLiteral("the generated name is empty or taken");
        append(rows, flowsTable, made.number("id", flows.size() + 1).row);
        return QString();
    });
    return succeeded("insertflowbeforeorigfile", generatedJobName, reason) ? key : std::string();
}

bool Odbpp_JobFlowBll::updateUploadBatchNum(int batchNumber, std::string flowGuid)
{
    return changeFlow("updateUploadBatchNum", flowGuid, NewRow().number("batchNumber", batchNumber));
}

bool Odbpp_JobFlowBll::UpdateOrigFileGuid(std::string origFileGuid, std::string flowGuid)
{
    return linkOrigFile("UpdateOrigFileGuid", "origFile", origFileGuid, flowGuid);
}

bool Odbpp_JobFlowBll::UpdateLastOdbppImportMongoFsGuid(std::string origFileGuid, std::string flowGuid)
{
    return linkOrigFile("UpdateLastOdbppImportMongoFsGuid", "lastOdbppImport", origFileGuid, flowGuid);
}

bool Odbpp_JobFlowBll::UpdateState(int userId, int state, int subState, std::string flowGuid)
{
    NewRow values;
    values.number("stateUser", userId).number("state", state).number("subState", subState);
    return changeFlow("UpdateState", flowGuid, values.text("stateTime", timeOfRow().toStdString()));
}

bool Odbpp_JobFlowBll::UpdatePreImportOrCheckTime(std::string flowGuid, int preImportUserId,
                                                  int preImportFlag, std::string preImportNote,
                                                  int checkUserId, std::string checkUserName, int checkFlag,
                                                  std::string checkNote)
{
    NewRow values;
    values.number("preImportUser", preImportUserId).number("preImportFlag", preImportFlag);
    values.text("preImportNote", preImportNote).number("checkUser", checkUserId);
    values.text("checkUserName", checkUserName).number("checkFlag", checkFlag).text("checkNote", checkNote);
    values.text("preImportOrCheckTime", timeOfRow().toStdString());
    return changeFlow("UpdatePreImportOrCheckTime", flowGuid, values);
}

Odbpp_OrigFilesBll::Odbpp_OrigFilesBll() = default;
Odbpp_OrigFilesBll::~Odbpp_OrigFilesBll() = default;

bool Odbpp_OrigFilesBll::inputOrigFile(std::string origFileGuid, std::string jobName, std::string storedName,
                                       std::string suffix, std::string companyCode, int fileType, int userId)
{
    NewRow made;
    made.text("key", origFileGuid).text("jobName", jobName).text("storedName", storedName);
    made.text("suffix", suffix).text("company", companyCode).number("type", fileType).number("user", userId);
    const std::string fileStore = Common::commonInterface()->getConfig().mongoFsName;
    const QString reason = FolderSite::current().change([&](QJsonObject& rows) {
        if (!made.problem.isEmpty())
            return made.problem;
        // A row that points at nothing would be a job that is lost and looks as if it were not.
        if (!isStored(rows, fileStore, storedName))
            return QStringLiteral("the store has no such file");
        if (indexOf(rows[companiesTable].toArray(), "code", QString::fromStdString(companyCode)) < 0)
            return QStringLiteral("there is no such company");
        if (origFileGuid.empty() ||
            indexOf(rows[origFilesTable].toArray(), "key", QString::fromStdString(origFileGuid)) >= 0)
            return QStringLiteral("the key is empty or taken");
        append(rows, origFilesTable, made.row);
        return QString();
    });
    return succeeded("inputOrigFile", storedName, reason);
}

namespace {

/// The last row of an import: with it the job waits.
QString addCompressed(const NewRow& made, const std::string& fsName, QJsonObject& rows, bool& isLost)
{
    const QJsonValue flow = made.row[QLatin1String("flow")];
    if (!made.problem.isEmpty())
        return made.problem;
    if (indexOf(rows[flowsTable].toArray(), "key", flow) < 0)
        return QStringLiteral("there is no such job flow");
    if (indexOf(rows[companiesTable].toArray(), "id", made.row[QLatin1String("companyId")]) < 0)
        return QStringLiteral("there is no such company");
    if (numberOf(made.row, "jobNumber") < 0)
        return QStringLiteral("the job number is negative");
    if (indexOf(rows[compressedTable].toArray(), "flow", flow) >= 0)
        return QStringLiteral("the flow has its row");
    isLost = !isStored(rows, fsName, textOf(made.row, "storedName"));
    if (isLost)
        return QStringLiteral("the store has no such file");
    append(rows, compressedTable, made.row);
    return {};
}

} // namespace

Odbpp_JobCompressBll::Odbpp_JobCompressBll() = default;
Odbpp_JobCompressBll::~Odbpp_JobCompressBll() = default;

bool Odbpp_JobCompressBll::inputJobCompress(std::string companyName, std::string companyCode, int companyId,
                                            std::string jobName, std::string flowGuid, std::string storedName,
                                            std::string suffix, std::string remark, std::string fsName,
                                            int userId, int jobNumber)
{
    return inputJobCompressByFolder(companyName, companyCode, companyId, jobName, flowGuid, storedName,
                                    suffix, remark, fsName, userId, jobNumber, "", "", "");
}

bool Odbpp_JobCompressBll::inputJobCompressByFolder(std::string companyName, std::string companyCode,
                                                    int companyId, std::string jobName, std::string flowGuid,
                                                    std::string storedName, std::string suffix,
                                                    std::string remark, std::string fsName, int userId,
                                                    int jobNumber, std::string resource,
                                                    std::string customer2, std::string customer3)
{
    NewRow made;
    made.text("companyName", companyName).text("company", companyCode).number("companyId", companyId);
    made.text("jobName", jobName).text("flow", flowGuid).text("storedName", storedName);
    made.text("suffix", suffix).text("remark", remark).text("fileStore", fsName).number("user", userId);
    made.number("jobNumber", jobNumber).text("resource", resource);
    made.text("customer2", customer2).text("customer3", customer3);
    bool isLost = false;
    const QString reason = FolderSite::current().change(
        [&](QJsonObject& rows) { return addCompressed(made, fsName, rows, isLost); });
    if (isLost) {
        NewRow failed;
        failed.number("state", -1).number("subState", -1);
        changeFlow("inputJobCompress", flowGuid, failed);
    }
    return succeeded("inputJobCompress", flowGuid, reason);
}

} // namespace KOZAV::DataLib::BLL

namespace KOZAV::DBS_API {

using namespace DataLib::BLL;

std::string kozav_upload_prefile2mysql(std::string flowGuid, std::string jobName, std::string firstText,
                                       std::string secondText, std::string thirdText, int userId,
                                       std::string userName)
{
    const std::string key = Common::commonInterface()->getGUID();
    NewRow made;
    made.text("key", key).text("flow", flowGuid).text("jobName", jobName).text("first", firstText);
    made.text("second", secondText).text("third", thirdText).number("user", userId);
    made.text("userName", userName);
    const QString reason = FolderSite::current().change([&](QJsonObject& rows) {
        if (!made.problem.isEmpty())
            return made.problem;
        if (indexOf(rows[flowsTable].toArray(), "key", QString::fromStdString(flowGuid)) < 0)
            return QStringLiteral("there is no such job flow");
        append(rows, preFilesTable, made.row);
        return QString();
    });
    return succeeded("kozav_upload_prefile2mysql", flowGuid, reason) ? key : std::string();
}

bool kozav_reupload_robot_tgz(std::string archivePath, std::string jobName, int userId,
                              std::string /*userName*/)
{
    const char* const operation = "kozav_reupload_robot_tgz";
    const QJsonObject rows = FolderSite::current().rows();
    const QJsonArray flows = rows[flowsTable].toArray();
    const QJsonArray origFiles = rows[origFilesTable].toArray();
    const int flow = indexOf(flows, "generatedName", checkedText(jobName));
    const int file =
        flow < 0 ? -1 : indexOf(origFiles, "key", flows.at(flow).toObject()[QLatin1String("origFile")]);
    if (file < 0)
        return succeeded(operation, jobName, QStringLiteral("there is no such job with an original file"));

    // The path is UTF-8 here, and in the local code page there.
    const QString path = QString::fromStdString(archivePath);
    const std::string suffix = QFileInfo(path).suffix().toStdString();
    const std::string key = Common::commonInterface()->getGUID();
    const std::string storedName = suffix.empty() ? key : key + "." + suffix;
    const DataLib::Model::KOZAV_Config config = Common::commonInterface()->getConfig();
    const int status = Common::MongodbPut(config.mongoDbName, config.mongoFsName,
                                          path.toLocal8Bit().toStdString(), storedName);
    const std::string company = textOf(origFiles.at(file).toObject(), "company");
    const bool isRecorded =
        status == 0 &&
        Odbpp_OrigFilesBll().inputOrigFile(key, jobName, storedName, suffix, company, 0, userId) &&
        Odbpp_JobFlowBll().UpdateLastOdbppImportMongoFsGuid(key, textOf(flows.at(flow).toObject(), "key"));
    return succeeded(operation, jobName,
                     isRecorded ? QString() : QStringLiteral("the archive could not be recorded"));
}

} // namespace KOZAV::DBS_API
