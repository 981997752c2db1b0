#pragma once

#include "backend/check/CheckProgress.h"
#include "backend/check/SiteCheck.h"
#include "backend/config/Settings.h"

#include <QDateTime>

#include <utility>
#include <vector>

namespace KOZAV::Backend {

class Database;
class DocumentStore;
class Site;

/// What the parts of one check work with.
struct CheckContext
{
    Site& site;
    const Settings& settings;
    const CheckOptions& options;
    Database* database; ///< null where it is damaged so that it cannot be opened
    DocumentStore& store;
    CheckMeter& meter;
    CheckReport& report;
    QDateTime now = QDateTime::currentDateTimeUtc(); ///< ages are counted up to here

    void add(Finding finding) { report.findings.push_back(std::move(finding)); }
    void add(FindingKind kind, QString subject, QString text, QString job = {})
    {
        Finding finding;
        finding.kind = kind;
        finding.subject = std::move(subject);
        finding.text = std::move(text);
        finding.job = std::move(job);
        add(std::move(finding));
    }

    /// Whether something of that time is so old. A time that is not known or lies ahead is not.
    [[nodiscard]] bool isOlder(const QDateTime& time, std::chrono::seconds age) const
    {
        return time.isValid() && time.secsTo(now) >= age.count();
    }
    /// The same for a time as the rows have it; one that cannot be read is old.
    [[nodiscard]] bool isOlder(const QString& rowTime, std::chrono::seconds age) const
    {
        const QDateTime time = QDateTime::fromString(rowTime, Qt::ISODateWithMs);
        return !time.isValid() || isOlder(time, age);
    }
};

/// Makes a failure of one part a finding: damage where it tells of that, otherwise "not looked at". What
/// keeps the whole check from going on, such as a lost server, stays a failure.
/// @param damage   the kind of a failure that tells of damage
/// @param subject  the part
Status asFinding(CheckContext& context, FindingKind damage, const QString& subject, const Status& failure);

// The parts.

/// Rows against rows: counters, imports without their last row.
Status checkRows(CheckContext& context);
/// Rows against stored files, both ways, and what a store's listing does not show.
Status checkFiles(CheckContext& context);
/// What programs leave in the caches.
Status checkCaches(CheckContext& context);
/// The identity that the three parts of a site hold.
Status checkIdentity(CheckContext& context);

} // namespace KOZAV::Backend
