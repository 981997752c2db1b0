#include "backend/check/SiteCheck.h"

#include "backend/SafePoint.h"
#include "backend/Site.h"
#include "backend/check/CheckContext.h"
#include "backend/config/SitePlaces.h"
#include "backend/database/Database.h"
#include "backend/records/SiteEvents.h"
#include "backend/store/DocumentStore.h"

#include <algorithm>

// The parts of a check follow each other from what all others stand on, the database, to what nothing does,
// the caches. A part that meets damage says so as a finding and the next one begins all the same: what an
// administrator needs is the whole list. Mending comes last and in the same process, with what was found
// still at hand; each repair looks again before it changes anything, since the site is in use.

namespace KOZAV::Backend {

namespace {

/// A failure after which the rest of a check cannot go on either.
bool endsTheCheck(ErrorCode code)
{
    switch (code) {
    case ErrorCode::Unavailable:
    case ErrorCode::OutcomeUnknown:
    case ErrorCode::Configuration:
    case ErrorCode::Internal:
    case ErrorCode::NoSpace:
    case ErrorCode::Stopped:
        return true;
    default:
        return false;
    }
}

FindingKind kindOf(DatabaseFlaw::Kind kind)
{
    switch (kind) {
    case DatabaseFlaw::Kind::Damaged:
        return FindingKind::DatabaseDamaged;
    case DatabaseFlaw::Kind::ReferenceBroken:
        return FindingKind::ReferenceBroken;
    case DatabaseFlaw::Kind::SchemaChanged:
        return FindingKind::SchemaChanged;
    case DatabaseFlaw::Kind::NotLookedAt:
        break;
    }
    return FindingKind::NotLookedAt;
}

/// This system makes no triggers: whichever there is has to go.
QString mendOf(const DatabaseFlaw& flaw)
{
    const QString trigger = QStringLiteral("trigger ");
    if (flaw.kind != DatabaseFlaw::Kind::SchemaChanged || !flaw.subject.startsWith(trigger))
        return {};
    // "trigger NAME", or "trigger NAME of TABLE".
    const QString name = flaw.subject.mid(trigger.size()).section(QStringLiteral(" of "), 0, 0);
    return QStringLiteral("with the database's own tools: DROP TRIGGER %1").arg(name);
}

void addFlaws(CheckReport& report, const DatabaseFlaws& flaws)
{
    for (const DatabaseFlaw& flaw : flaws) {
        Finding finding;
        finding.kind = kindOf(flaw.kind);
        finding.subject = flaw.subject;
        finding.text = flaw.text;
        finding.mend = mendOf(flaw);
        report.findings.push_back(std::move(finding));
    }
}

void sortByKind(std::vector<Finding>& findings)
{
    std::stable_sort(findings.begin(), findings.end(), [](const Finding& one, const Finding& other) {
        return one.kind != other.kind ? one.kind < other.kind : one.subject < other.subject;
    });
}

Status runParts(CheckContext& context)
{
    struct PartCheck
    {
        const char* name;
        Status (*check)(CheckContext& context);
        bool needsRows;
    };
    constexpr PartCheck parts[] = {{"identity", checkIdentity, true},
                                   {"rows", checkRows, true},
                                   {"stored files", checkFiles, false},
                                   {"caches", checkCaches, false}};
    for (const PartCheck& part : parts) {
        if (part.needsRows && !context.database)
            continue;
        if (auto goOn = safePoint(); !goOn.ok())
            return goOn;
        const auto checked = part.check(context);
        auto told = asFinding(context, FindingKind::DatabaseDamaged, QLatin1String(part.name), checked);
        if (!told.ok())
            return told;
    }
    return {};
}

/// A repair of one finding may have settled another: an original-file row that goes leaves its file to the
/// next check.
Status repairNamed(CheckContext& context)
{
    if (context.options.repair.empty())
        return {};
    context.meter.enter(CheckProgress::Phase::Repair);
    for (Finding& finding : context.report.findings) {
        if (context.options.repair.count(finding.kind) == 0 || !finding.repair)
            continue;
        if (auto goOn = safePoint(); !goOn.ok())
            return goOn;
        const auto repaired = finding.repair();
        finding.mended = repaired.ok();
        finding.failure = repaired.message();
    }
    return {};
}

/// In a backup nothing is noted: its rows stay those of their moment.
Status recordCheck(const CheckContext& context)
{
    if (context.settings.database.readOnly)
        return {};
    SiteEvent event;
    event.kind = eventKind::checked;
    event.userId = context.options.userId;
    event.userName = context.options.userName;
    event.subject = QStringLiteral("site");
    event.outcome = context.report.isClean() ? QStringLiteral("clean") : QStringLiteral("findings");
    for (const Finding& finding : context.report.findings) {
        if (finding.mended)
            continue;
        const QString name = QLatin1String(findingRule(finding.kind).name);
        event.detail[name] = event.detail[name].toInt() + 1;
    }
    return addEvent(*context.database, event);
}

/// What the engine finds. A database that cannot be opened is damaged, whatever the engine says.
Status checkDatabase(CheckContext& context, const Status& opened)
{
    const auto flaws =
        context.database ? context.database->examine() : Database::examine(context.settings.database);
    if (!flaws.ok() && (opened.ok() || endsTheCheck(flaws.code())))
        return flaws.status();
    if (flaws.ok())
        addFlaws(context.report, flaws.value());
    if (!opened.ok() && context.report.findings.empty())
        context.add(FindingKind::DatabaseDamaged, placeOf(context.settings.database), opened.message());
    return {};
}

} // namespace

Status asFinding(CheckContext& context, FindingKind damage, const QString& subject, const Status& failure)
{
    if (failure.ok() || endsTheCheck(failure.code()))
        return failure;
    const bool isDamage = failure.code() == ErrorCode::Corrupt || failure.code() == ErrorCode::Io;
    context.add(isDamage ? damage : FindingKind::NotLookedAt, subject, failure.message());
    return {};
}

bool CheckReport::isClean() const
{
    return std::none_of(findings.cbegin(), findings.cend(), countsAgainst);
}

Result<CheckReport> checkSite(Site& site, const CheckOptions& options, const CheckObserver& observer)
{
    const auto settings = site.settings();
    if (!settings.ok())
        return settings.status();
    CheckMeter meter(observer);
    meter.enter(CheckProgress::Phase::Database);
    const auto database = site.database();
    if (!database.ok() && database.code() != ErrorCode::Corrupt)
        return database.status();
    const auto store = site.documentStore();
    if (!store.ok())
        return store.status();
    CheckReport report;
    CheckContext context{
        site,  settings.value(), options, database.ok() ? database.value() : nullptr, *store.value(), meter,
        report};
    if (auto checked = checkDatabase(context, database.status()); !checked.ok())
        return checked;
    meter.enter(CheckProgress::Phase::Rows);
    if (auto checked = runParts(context); !checked.ok())
        return checked;
    sortByKind(report.findings);
    if (auto repaired = repairNamed(context); !repaired.ok())
        return repaired;
    report.recorded = context.database ? recordCheck(context) : database.status();
    // What mends them works on what ends with this call.
    for (Finding& finding : report.findings)
        finding.repair = nullptr;
    return report;
}

} // namespace KOZAV::Backend
