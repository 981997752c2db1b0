// The verbs about the quarantine: what is in it, putting it back, and removing it for good. Files come into
// it by "job void" and "check --repair".

#include "admin/JobChoice.h"
#include "admin/Stopping.h"
#include "admin/Verbs.h"
#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/io/PrivateFile.h"
#include "backend/records/SiteAudit.h"
#include "backend/records/SiteEvents.h"
#include "backend/store/DocumentStore.h"
#include "terminal/PrintableText.h"
#include "terminal/TextTable.h"

#include <QJsonArray>

#include <algorithm>
#include <iterator>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

/// A file in quarantine, and the job that it belongs to.
struct Entry
{
    StoreLocation location;
    QuarantinedFile file;
    QString job; ///< generated name; empty where no row names the file
    QString flowGuid;
};

using Entries = std::vector<Entry>;

QString nameOf(const Entry& entry)
{
    return QString::fromStdString(entry.file.file.name);
}

QString timeText(const QDateTime& time)
{
    return time.toUTC().toString(Qt::ISODateWithMs);
}

/// The configured file store, and those that jobs name beside it.
Result<std::vector<StoreLocation>> locations(const OpenParts& parts)
{
    auto names = fileStoresNamed(*parts.database);
    if (!names.ok())
        return names.status();
    names->prepend(parts.settings.documentStore.fileStore);
    names->removeDuplicates();
    std::vector<StoreLocation> found;
    for (const QString& name : qAsConst(names.value()))
        found.push_back(storeLocation(parts.settings.documentStore, name.toStdString()));
    return found;
}

Status findJob(Entry& entry, Database& database)
{
    const auto rows = listFileRowsOf(database, nameOf(entry));
    if (!rows.ok())
        return rows.status();
    if (rows->empty())
        return {};
    entry.job = rows->front().job;
    entry.flowGuid = rows->front().flowGuid;
    return {};
}

/// All that is in quarantine, longest first.
Result<Entries> listEntries(const OpenParts& parts)
{
    const auto places = locations(parts);
    if (!places.ok())
        return places.status();
    Entries entries;
    for (const StoreLocation& location : places.value()) {
        const auto files = parts.store->listQuarantine(location);
        if (!files.ok())
            return files.status();
        for (const QuarantinedFile& file : files.value())
            entries.push_back({location, file, {}, {}});
    }
    for (Entry& entry : entries) {
        if (auto found = findJob(entry, *parts.database); !found.ok())
            return found;
    }
    std::stable_sort(entries.begin(), entries.end(),
                     [](const Entry& one, const Entry& other) { return one.file.since < other.file.since; });
    return entries;
}

QJsonObject entryJson(const Entry& entry)
{
    const StoredFile& file = entry.file.file;
    return {{QStringLiteral("name"), nameOf(entry)},
            {QStringLiteral("file_store"), QString::fromStdString(entry.location.fileStore)},
            {QStringLiteral("bytes"), file.length},
            {QStringLiteral("sha256"), QString::fromLatin1(file.sha256)},
            {QStringLiteral("since"), timeText(entry.file.since)},
            {QStringLiteral("job"), entry.job},
            {QStringLiteral("flow_guid"), entry.flowGuid}};
}

Report reportOf(const Entries& entries)
{
    TextTable table({QStringLiteral("FILE"), QStringLiteral("FILE STORE"), QStringLiteral("BYTES"),
                     QStringLiteral("SINCE"), QStringLiteral("JOB")});
    table.alignRight({2});
    QJsonArray list;
    qint64 bytes = 0;
    for (const Entry& entry : entries) {
        table.addRow({nameOf(entry), QString::fromStdString(entry.location.fileStore),
                      QString::number(entry.file.file.length), timeText(entry.file.since),
                      entry.job.isEmpty() ? QStringLiteral("-") : entry.job});
        list.append(entryJson(entry));
        bytes += entry.file.file.length;
    }
    return {{{QStringLiteral("files"), list}, {QStringLiteral("bytes"), bytes}}, table.toString()};
}

Status note(const OpenParts& parts, const Entry& entry, QLatin1String kind)
{
    SiteEvent event;
    event.kind = kind;
    event.flowGuid = entry.flowGuid;
    event.userId = parts.settings.userId;
    event.userName = loginName();
    event.subject = nameOf(entry);
    event.detail = {{QStringLiteral("file_store"), QString::fromStdString(entry.location.fileStore)},
                    {QStringLiteral("bytes"), entry.file.file.length},
                    {QStringLiteral("sha256"), QString::fromLatin1(entry.file.file.sha256)},
                    {QStringLiteral("since"), timeText(entry.file.since)}};
    return addEvent(*parts.database, event);
}

using Step = Status (DocumentStore::*)(const StoreLocation& location, const std::string& name);

/// Takes the step for one file after the other until one fails. The report tells what was done.
Report carryOut(const OpenParts& parts, const Entries& entries, Step step, QLatin1String kind, Entries& done)
{
    const StoppableVerb stoppable;
    Status outcome;
    for (const Entry& entry : entries) {
        outcome = safePoint();
        if (!outcome.ok())
            break;
        outcome = (parts.store->*step)(entry.location, entry.file.file.name);
        if (!outcome.ok())
            break;
        done.push_back(entry);
        outcome = note(parts, entry, kind);
        if (!outcome.ok())
            break;
    }
    Report report = reportOf(done);
    report.outcome = outcome;
    report.stop.done =
        QStringLiteral("%1 of %2 files were done, and are told above").arg(done.size()).arg(entries.size());
    report.stop.json = {{QStringLiteral("files"), static_cast<qint64>(done.size())},
                        {QStringLiteral("files_total"), static_cast<qint64>(entries.size())}};
    return report;
}

/// Those of the names, each of which has to be in quarantine.
Result<Entries> chosen(const Entries& entries, const QStringList& names)
{
    Entries found;
    for (const QString& name : names) {
        const auto before = found.size();
        std::copy_if(entries.begin(), entries.end(), std::back_inserter(found),
                     [&name](const Entry& entry) { return nameOf(entry) == name; });
        if (found.size() == before)
            return Status::notFound(QStringLiteral("the quarantine has no file named \"%1\"").arg(name));
    }
    return found;
}

Result<QDateTime> newestToGo(const CommandLine& line)
{
    const QString days = line.value(QStringLiteral("older-than")).value_or(QString());
    bool isNumber = false;
    const int count = days.toInt(&isNumber);
    if (!isNumber || count < 0)
        return refusedOption("older-than", days, "a number of days, 0 for all");
    return QDateTime::currentDateTimeUtc().addDays(-count);
}

} // namespace

Result<Report> quarantineListVerb(const Call& call)
{
    const auto parts = openParts(call.site);
    if (!parts.ok())
        return parts.status();
    const auto entries = listEntries(parts.value());
    return entries.ok() ? Result(reportOf(entries.value())) : entries.status();
}

Result<Report> quarantineRestoreVerb(const Call& call)
{
    const auto parts = openParts(call.site);
    if (!parts.ok())
        return parts.status();
    const auto entries = listEntries(parts.value());
    if (!entries.ok())
        return entries.status();
    QStringList names = call.line.words;
    names.removeDuplicates();
    const auto wanted = chosen(entries.value(), names);
    if (!wanted.ok())
        return wanted.status();
    Entries done;
    Report report = carryOut(parts.value(), wanted.value(), &DocumentStore::restoreQuarantined,
                             eventKind::restored, done);
    // A name that is not in quarantine is refused: those that are back are not to be named again.
    for (const Entry& entry : done)
        names.removeAll(nameOf(entry));
    report.stop.goOn = argumentsWith(call, QStringLiteral("quarantine restore"), names);
    return report;
}

Result<Report> quarantinePurgeVerb(const Call& call)
{
    const auto newest = newestToGo(call.line);
    if (!newest.ok())
        return newest.status();
    const auto parts = openParts(call.site);
    if (!parts.ok())
        return parts.status();
    auto entries = listEntries(parts.value());
    if (!entries.ok())
        return entries.status();
    entries->erase(
        std::remove_if(entries->begin(), entries->end(),
                       [&newest](const Entry& entry) { return entry.file.since > newest.value(); }),
        entries->end());
    const bool dryRun = !call.line.has(QStringLiteral("yes"));
    Entries done;
    Report report = dryRun ? reportOf(entries.value())
                           : carryOut(parts.value(), entries.value(), &DocumentStore::purgeQuarantined,
                                      eventKind::purged, done);
    report.json.insert(QStringLiteral("dry_run"), dryRun);
    if (dryRun)
        report.outcome = Status::invalidArgument(
            QStringLiteral("nothing has been removed; --yes removes what is listed, for good"));
    return report;
}

} // namespace KOZAV::Admin
