#include "backend/SafePoint.h"
#include "backend/check/CheckContext.h"
#include "backend/database/Database.h"
#include "backend/records/JobVoiding.h"
#include "backend/records/SiteAudit.h"
#include "backend/records/SiteEvents.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>

// What is looked for among the rows alone. An import writes its rows within seconds, the last of them after
// the stored file; so a job without its last row is one of a program that ended, once it is older than any
// import takes (CheckOptions::importAge). The number of a batch, too, is written behind the jobs of the
// batch.

namespace KOZAV::Backend {

namespace {

constexpr int pageRows = 1000;
constexpr int numberDigits = 6;

/// Visits all records of a paged listing.
template <typename Record, typename Visit>
Status eachOf(Database& database,
              Result<std::vector<Record>> (*list)(Database& database, qint64 afterId, int limit),
              const Visit& visit)
{
    qint64 last = std::numeric_limits<qint64>::min();
    for (;;) {
        if (auto goOn = safePoint(); !goOn.ok())
            return goOn;
        const auto page = list(database, last, pageRows);
        if (!page.ok())
            return page.status();
        for (const Record& record : page.value())
            visit(record);
        if (page->size() < static_cast<std::size_t>(pageRows))
            return {};
        last = page->back().id;
    }
}

/// The job number in a generated name: its code and at least six digits; 0 where it is no such name.
qint64 numberInName(const QString& generatedName, const QString& companyCode)
{
    if (companyCode.isEmpty() || !generatedName.startsWith(companyCode))
        return 0;
    const QString digits = generatedName.mid(companyCode.size());
    bool isNumber = false;
    const qint64 number = digits.toLongLong(&isNumber);
    return isNumber && digits.size() >= numberDigits ? number : 0;
}

/// Voids the job if its last row is still missing: it may have been voided by hand meanwhile.
Status voidHalfImport(CheckContext& context, const QString& flowGuid)
{
    JobFilter filter;
    filter.flowGuid = flowGuid;
    auto jobs = listJobs(*context.database, filter);
    if (!jobs.ok())
        return jobs.status();
    auto& list = jobs.value();
    list.erase(std::remove_if(list.begin(), list.end(), [](const JobRecord& job) { return job.complete; }),
               list.end());
    VoidingOrder order;
    order.reason = QStringLiteral("the import ended before its last row was written (found by a check)");
    order.userId = context.options.userId;
    order.userName = context.options.userName;
    order.force = true; // a saved job is sent to the robot before its last row
    return voidJobs({*context.database, context.store, context.settings.documentStore}, list, order).status();
}

void addHalfImport(CheckContext& context, const HalfImport& half)
{
    Finding finding;
    finding.subject = half.jobName;
    finding.job = half.job;
    if (half.failed) {
        finding.kind = FindingKind::ImportFailed;
        finding.text =
            QStringLiteral("the import of %1 failed: its stored file was not there").arg(half.createdTime);
    } else {
        finding.kind = FindingKind::HalfImport;
        finding.text = QStringLiteral("begun at %1, without its last row").arg(half.createdTime);
        finding.repair = [&context, guid = half.flowGuid] { return voidHalfImport(context, guid); };
    }
    context.add(std::move(finding));
}

/// The row goes, and is kept in the event; its file becomes one without a row.
Status removeUnused(CheckContext& context, const UnusedOrigFile& file)
{
    return context.database->transaction([&] {
        const auto removed = removeUnusedOrigFile(*context.database, file.guid);
        if (!removed.ok() || !removed.value())
            return removed.status();
        SiteEvent event;
        event.kind = eventKind::repaired;
        event.userId = context.options.userId;
        event.userName = context.options.userName;
        event.subject = file.jobName;
        event.outcome = QStringLiteral("removed");
        event.reason = QStringLiteral("the import ended before its job was made (found by a check)");
        event.detail = {
            {QStringLiteral("finding"), QLatin1String(findingRule(FindingKind::OrigFileUnused).name)},
            {QStringLiteral("orig_file_guid"), file.guid},
            {QStringLiteral("stored_name"), file.storedName},
            {QStringLiteral("created_time"), file.createdTime}};
        return addEvent(*context.database, event);
    });
}

/// @return the names of the stored files of jobs that have lost the link to their original-file row
Result<std::set<QString>> checkOddJobs(CheckContext& context)
{
    std::set<QString> unlinked;
    const auto checked = eachOf<OddJob>(*context.database, listOddJobs, [&](const OddJob& odd) {
        Finding finding;
        finding.subject = odd.storedName;
        finding.job = odd.job;
        if (odd.origStoredName) {
            finding.kind = FindingKind::NamesDiffer;
            finding.text = QStringLiteral("the original-file row names \"%1\"").arg(*odd.origStoredName);
        } else {
            unlinked.insert(odd.storedName);
            finding.kind = FindingKind::JobUnlinked;
            finding.text = QStringLiteral("no original-file row is linked");
            finding.repair = [&context, guid = odd.flowGuid, name = odd.storedName] {
                return linkOrigFile(*context.database, guid, name);
            };
        }
        context.add(std::move(finding));
    });
    return checked.ok() ? Result(std::move(unlinked)) : checked;
}

Status checkUnusedOrigFiles(CheckContext& context)
{
    const auto unlinked = checkOddJobs(context);
    if (!unlinked.ok())
        return unlinked.status();
    return eachOf<UnusedOrigFile>(*context.database, listUnusedOrigFiles, [&](const UnusedOrigFile& file) {
        if (!context.isOlder(file.createdTime, context.options.importAge) ||
            unlinked->count(file.storedName) > 0)
            return;
        Finding finding;
        finding.kind = FindingKind::OrigFileUnused;
        finding.subject = file.storedName;
        finding.text =
            QStringLiteral("\"%1\", begun at %2, belongs to no job").arg(file.jobName, file.createdTime);
        finding.repair = [&context, file] { return removeUnused(context, file); };
        context.add(std::move(finding));
    });
}

void checkJobCount(CheckContext& context, const CompanyCounters& company, qint64 highest)
{
    if (company.jobCount >= highest)
        return;
    Finding finding;
    finding.kind = FindingKind::CounterBehind;
    finding.subject = company.name;
    finding.text = QStringLiteral("company %1: the job count is %2, and number %3 was given out")
                       .arg(company.code)
                       .arg(company.jobCount)
                       .arg(highest);
    finding.repair = [&context, id = company.id, highest] {
        return raiseJobCount(*context.database, id, highest);
    };
    context.add(std::move(finding));
}

/// A batch under way has jobs with a number that its company does not have yet.
void checkBatchNumber(CheckContext& context, const CompanyCounters& company)
{
    if (company.batchNumber >= company.highestBatch ||
        !context.isOlder(company.newestBatchTime, context.options.importAge))
        return;
    Finding finding;
    finding.kind = FindingKind::BatchBehind;
    finding.subject = company.name;
    finding.text = QStringLiteral("company %1: the batch number is %2, and jobs have number %3")
                       .arg(company.code)
                       .arg(company.batchNumber)
                       .arg(company.highestBatch);
    finding.repair = [&context, id = company.id, batch = company.highestBatch] {
        return raiseBatchNumber(*context.database, id, batch);
    };
    context.add(std::move(finding));
}

} // namespace

Status checkRows(CheckContext& context)
{
    // Jobs first: a counter is raised before the number is used, so those that are read later cannot be
    // behind.
    std::map<QString, qint64> highestOfHalf;
    auto checked = eachOf<HalfImport>(*context.database, listHalfImports, [&](const HalfImport& half) {
        qint64& highest = highestOfHalf[half.companyCode];
        highest = std::max(highest, numberInName(half.job, half.companyCode));
        if (half.failed || context.isOlder(half.createdTime, context.options.importAge))
            addHalfImport(context, half);
    });
    if (checked.ok())
        checked = checkUnusedOrigFiles(context);
    if (!checked.ok())
        return checked;
    const auto jobs = countJobs(*context.database);
    if (!jobs.ok())
        return jobs.status();
    context.report.jobs = jobs.value();
    const auto companies = listCompanyCounters(*context.database);
    if (!companies.ok())
        return companies.status();
    for (const CompanyCounters& company : companies.value()) {
        checkJobCount(context, company, std::max(company.highestJobNumber, highestOfHalf[company.code]));
        checkBatchNumber(context, company);
    }
    return {};
}

} // namespace KOZAV::Backend
