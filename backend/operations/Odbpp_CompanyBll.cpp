#include "services/bll/Odbpp_CompanyBll.h"

#include "backend/operations/CompanyHold.h"
#include "backend/operations/ConditionColumns.h"
#include "backend/operations/ImportRoad.h"
#include "backend/operations/RowWrites.h"
#include "backend/operations/SiteWork.h"
#include "backend/records/SiteEvents.h"
#include "backend/records/SiteRecords.h"

#include <utility>

namespace KOZAV::DataLib::BLL {

using namespace Backend;

namespace {

const std::vector<ConditionColumn>& companyColumns()
{
    static const std::vector<ConditionColumn> columns = {
        {"CompanyName", ConditionColumn::Kind::Text},
        {"CompanyCode", ConditionColumn::Kind::Text},
        {"CompanyId", ConditionColumn::Kind::Integer},
    };
    return columns;
}

/// What holds for the columns of companyColumns(), which have the same order.
CompanyFilter filterOf(const Conditions& conditions)
{
    CompanyFilter filter;
    auto value = conditions.values.cbegin();
    if ((conditions.columns & 1U) != 0)
        filter.name = (value++)->toString();
    if ((conditions.columns & 2U) != 0)
        filter.code = (value++)->toString();
    if ((conditions.columns & 4U) != 0)
        filter.number = value->toLongLong();
    return filter;
}

/// The company of the import that the calling thread is in was not found, or refused it a number. Its file is
/// stored already and stays, and no row will ever name it: an event says so, once a file, or a check could
/// not tell it from the remains of a crash. A failure is logged: the operation's own outcome stays.
void tellRefusedImport(Database& database, const QString& company, const QString& reason)
{
    const QString storedName = QString::fromStdString(ImportRoad::ofThisThread().takeUnclaimedFile());
    if (storedName.isEmpty())
        return;
    SiteEvent event;
    event.kind = eventKind::refused;
    event.subject = company;
    event.reason = reason;
    event.detail = {{QStringLiteral("stored_name"), storedName}};
    if (const auto told = addEvent(database, event); !told.ok())
        qCWarning(logDatabase).noquote()
            << QStringLiteral("no event tells that the import of \"%1\" was refused: %2")
                   .arg(storedName, told.message());
}

Status selectCompanies(Operation& call, const Conditions& conditions,
                       std::vector<Model::Odbpp_Company>& companies)
{
    return withRows(call, [&](Database& database) {
        auto found = listCompanies(database, filterOf(conditions));
        if (!found.ok())
            return found.status();
        companies = std::move(found.value());
        if (companies.empty() && !call.event.company.isEmpty())
            tellRefusedImport(database, call.event.company,
                              QStringLiteral("there is no company of that name"));
        return Status();
    });
}

/// How long a single import waits for a company that another import has.
constexpr std::chrono::seconds singleImportWait{5};

/// What is said when an import has lost its company to another one, once.
void tellLoss(CompanyHold& hold)
{
    ServiceWait told;
    told.cause = ServiceWait::Cause::CompanyLost;
    told.company = hold.company();
    told.reason = hold.takeLoss();
    told.over = true;
    if (!told.reason.isEmpty())
        tellWait(told);
}

/// Whether the batch of the calling thread has the company, or had it until it lost it.
bool isHeldByBatch(const QString& company, const CompanyHold::WithRows& rows)
{
    const auto& hold = ImportRoad::ofThisThread().keptForCompany();
    if (!hold || hold->company() != company || !hold->isKept(rows))
        return false;
    tellLoss(*hold);
    return true;
}

/// What a look-up that could not have its company comes to. Where it is not to be had since another import
/// has it, nothing of a batch's company is imported; a single import goes on, as both do where holding fails:
/// their numbers are kept apart by inputCompanies.
Status withoutHold(const Status& why, const QString& company, bool isDriver)
{
    const bool isOthers = why.code() == ErrorCode::Unavailable && why.part() == SitePart::None;
    const bool isServers = why.part() == SitePart::Rows &&
                           (why.code() == ErrorCode::Unavailable || why.code() == ErrorCode::OutcomeUnknown);
    if (isServers)
        return why;
    if (isOthers && isDriver) {
        ImportRoad::ofThisThread().refuseCompany(why);
        return why;
    }
    qCWarning(logDatabase).noquote() << QStringLiteral(
                                            "the import goes on without holding the company \"%1\": %2")
                                            .arg(company, why.message());
    return {};
}

/// Has the company for the import that the look-up belongs to, so that what is read of it from now on stays
/// true. @return whether it has only now begun to
Result<bool> holdCompany(Operation& call, const Model::Odbpp_Company& company, RoadStep step)
{
    const bool isDriver = step == RoadStep::DriverLookUp;
    const auto rows = [&call](const auto& work) { return withRows(call, work); };
    if (!isDriver && isHeldByBatch(call.event.company, rows))
        return false;
    const auto settings = Site::current().settings();
    if (!settings.ok())
        return settings.status();
    CompanyHold::Wanted wanted;
    wanted.database = settings->database;
    wanted.userName = settings->userName;
    wanted.companyId = company.companyId;
    wanted.company = call.event.company;
    wanted.longestWait = isDriver ? std::chrono::seconds(settings->companyWaitSeconds) : singleImportWait;
    auto hold = CompanyHold::acquire(wanted, rows);
    if (!hold.ok()) {
        auto without = withoutHold(hold.status(), call.event.company, isDriver);
        return without.ok() ? Result(false) : without;
    }
    if (isDriver)
        ImportRoad::ofThisThread().keepForCompany(std::move(hold.value()));
    else
        ImportRoad::ofThisThread().keepForEntry(std::move(hold.value()));
    return true;
}

/// At once, where the rows have just answered; otherwise it is done when they do.
void giveBack(const std::shared_ptr<CompanyHold>& hold)
{
    if (!hold)
        return;
    if (const auto database = Site::current().database(); database.ok())
        hold->giveBack(*database.value());
}

/// Looks a company up at the beginning of an import.
Status lookUpCompany(Operation& call, const Conditions& conditions, RoadStep step,
                     std::vector<Model::Odbpp_Company>& companies)
{
    auto selected = selectCompanies(call, conditions, companies);
    if (!selected.ok() || companies.empty())
        return selected;
    ImportRoad::ofThisThread().findCompany(QString::fromStdString(companies.front().companyCode));
    const auto isNew = holdCompany(call, companies.front(), step);
    if (!isNew.ok())
        return isNew.status();
    // Another import may have counted until the company was ours.
    return isNew.value() ? selectCompanies(call, conditions, companies) : selected;
}

/// Why a job count was not written.
Status refusedJobCount(Database& database, const QString& companyName, int jobCount)
{
    const auto count = database.value("SELECT job_count FROM company WHERE name = ?", {companyName});
    if (!count.ok())
        return count.status();
    if (!count->isValid())
        return Status::notFound(QStringLiteral("there is no company of that name"));
    return Status::alreadyExists(
        QStringLiteral("the job count is at %1 already, job number %2 is taken by another import")
            .arg(count->toInt())
            .arg(jobCount));
}

/// Whether the row of the company is the one that a job count left with these values.
Result<bool> isCounted(Database& database, const QVariantList& values)
{
    const auto found = database.value(
        "SELECT id FROM company WHERE job_count = ? AND updated_user_id = ? AND updated_time = ?"
        " AND name = ?",
        values.mid(0, 4));
    return found.ok() ? Result(found->isValid()) : found.status();
}

/// Writes a job count; where the answer is lost the row tells whether it was written. An import that is
/// refused its number may use it all the same, so this is settled here as far as it can be. The condition on
/// the count keeps a second try from doing harm.
/// @param isRepeated  whether that was tried before, without an answer
Result<int> countJob(Database& database, const QVariantList& values, bool isRepeated)
{
    if (isRepeated) {
        const auto counted = isCounted(database, values);
        if (!counted.ok() || counted.value())
            return counted.ok() ? Result(1) : counted.status();
    }
    const auto write = [&] {
        return database.change("UPDATE company SET job_count = ?, updated_user_id = ?, updated_time = ? "
                               "WHERE name = ? AND job_count < ?",
                               values, Durability::Deferred);
    };
    auto changed = write();
    if (changed.code() != ErrorCode::OutcomeUnknown)
        return changed;
    const auto counted = isCounted(database, values);
    if (!counted.ok())
        return changed;
    return counted.value() ? Result(1) : write();
}

Status writeJobCount(Operation& call, const RowValues& values, int jobCount)
{
    if (!values.status().ok())
        return values.status();
    return withRows(call, [&](Database& database) {
        const auto changed = countJob(database, values.list(), call.isRepeated);
        if (!changed.ok() || changed.value() > 0)
            return changed.status();
        auto refusal = refusedJobCount(database, call.event.company, jobCount);
        tellRefusedImport(database, call.event.company, refusal.message());
        return refusal;
    });
}

Status writeBatchNumber(Operation& call, int batchNumber, int companyId)
{
    return withRows(call, [&](Database& database) {
        const RowValues values = RowValues().number(batchNumber).time().number(companyId);
        const auto changed =
            database.change("UPDATE company SET batch_number = ?, updated_time = ? WHERE id = ?",
                            values.list(), Durability::Immediate);
        if (changed.ok() && changed.value() == 0)
            return Status::notFound(QStringLiteral("there is no company with the number %1").arg(companyId));
        return changed.status();
    });
}

} // namespace

Odbpp_CompanyBll::Odbpp_CompanyBll() = default;

Odbpp_CompanyBll::~Odbpp_CompanyBll() = default;

bool Odbpp_CompanyBll::select(const std::map<std::string, std::string>& textConditions,
                              const std::map<std::string, int>& intConditions,
                              std::vector<Model::Odbpp_Company>& companies)
{
    companies.clear();
    const auto selected = Operation::run(ServiceOperation::SelectCompanies, [&](Operation& call) {
        call.event.subject = describeConditions(textConditions, intConditions);
        if (const auto name = textConditions.find("CompanyName"); name != textConditions.end())
            call.event.company = QString::fromStdString(name->second);
        const bool isLookUp =
            !call.event.company.isEmpty() && textConditions.size() == 1 && intConditions.empty();
        const RoadStep step =
            isLookUp ? ImportRoad::ofThisThread().lookUp(call.event.company) : RoadStep::None;
        const auto conditions = matchConditions(companyColumns(), textConditions, intConditions);
        if (!conditions.ok() || !conditions->satisfiable)
            return conditions.status();
        return isLookUp ? lookUpCompany(call, conditions.value(), step, companies)
                        : selectCompanies(call, conditions.value(), companies);
    });
    if (!selected.ok())
        companies.clear();
    return selected.ok();
}

bool Odbpp_CompanyBll::inputCompanies(std::string& companyName, int userId, int jobCount)
{
    const auto counted = Operation::run(ServiceOperation::InputCompanies, [&](Operation& call) {
        ImportRoad::ofThisThread().beginCounting();
        call.event.subject = call.event.company = QString::fromStdString(companyName);
        const RowValues values = RowValues()
                                     .number(jobCount)
                                     .number(userId)
                                     .time()
                                     .text("company name", companyName)
                                     .number(jobCount);
        return writeJobCount(call, values, jobCount);
    });
    ImportRoad& road = ImportRoad::ofThisThread();
    if (counted.ok() || counted.code() == ErrorCode::AlreadyExists) {
        giveBack(road.keptForEntry());
        if (!road.inBatch())
            giveBack(road.keptForCompany());
    }
    road.endCounting(counted.ok());
    return counted.ok();
}

bool Odbpp_CompanyBll::UpdateBatchNumber(int batchNumber, int companyId)
{
    const auto written = Operation::run(ServiceOperation::UpdateBatchNumber, [&](Operation& call) {
        call.event.subject = QString::number(companyId);
        return writeBatchNumber(call, batchNumber, companyId);
    });
    ImportRoad& road = ImportRoad::ofThisThread();
    if (const auto& hold = road.keptForCompany(); hold && written.ok()) {
        tellLoss(*hold);
        giveBack(hold);
    }
    road.endCompany();
    return written.ok();
}

} // namespace KOZAV::DataLib::BLL
