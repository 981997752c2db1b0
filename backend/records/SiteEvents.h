#pragma once

#include "backend/Status.h"

#include <QJsonObject>
#include <QLatin1String>
#include <QSet>
#include <QString>

#include <optional>
#include <vector>

namespace KOZAV::Backend {

class Database;

/// What happened at a site beside its rows: who did it, when, and why. An event is written once and never
/// changed.
struct SiteEvent
{
    QString guid;
    QString kind;     ///< one of eventKind
    QString runGuid;  ///< key of the run that it belongs to; empty for none
    QString flowGuid; ///< key of the job that it is about; empty for none
    int userId = 0;
    QString userName;
    QString host;        ///< machine that it happened on
    QString subject;     ///< what it is about, for people
    QString outcome;     ///< how it ended, for people
    QString reason;      ///< why, as the user gave it
    QJsonObject detail;  ///< further values of the kind
    QString createdTime; ///< as the rows have it (rowTime())
};

/// The kinds of event, and what their details hold.
namespace eventKind {

/// A job was voided: {"state", "sub_state"} as they were before, {"stored_name", "file_store"}.
inline const QLatin1String jobVoided("void");
/// That was taken back: {"state", "sub_state"} as they are again.
inline const QLatin1String jobUnvoided("unvoid");
/// An import was refused by its company after its file was stored: {"stored_name"}. The subject is the
/// company.
inline const QLatin1String refused("refused");
/// An import was found not to have stored what was to be imported, and its job was taken off the waiting
/// list: {"state", "sub_state"} as they were before, {"stored_name"}.
inline const QLatin1String failedImport("failed-import");
/// A job was to go to the CAM robot: {"origin", "host", "port", "document", "probe", "requested"}, and what
/// became of that as outcome (RobotRequests.h).
inline const QLatin1String robot("robot");
/// A job that was handed to the robot is on the waiting list again: {"state", "sub_state"} as they were
/// before.
inline const QLatin1String requeued("requeue");
/// A company got another name: {"code", "before"}, the name that it had. The subject is the new one.
inline const QLatin1String companyRenamed("company-rename");
/// A check of the site has ended: the number of findings of each kind, by its name.
inline const QLatin1String checked("check");
/// A stored file was moved into quarantine, back from it, or removed there.
inline const QLatin1String quarantined("quarantine");
inline const QLatin1String restored("restore");
inline const QLatin1String purged("purge");
/// A finding of a check was mended.
inline const QLatin1String repaired("repair");
/// The site was backed up: {"moment" of the rows, "files", "bytes", "copied", "copied_bytes", "lost"}.
inline const QLatin1String backedUp("backup");
/// The site was made of a backup: {"moment" of its rows, "raised_counters", "files", "lost"}.
inline const QLatin1String broughtBack("site-restore");
/// A run of the file import panel has ended: {"start", "end", "counts", "remarks", "entry_count"}; and what
/// became of its entries: {"entries"}, many in each event, which belong to the run by its key
/// (ImportRuns.h).
inline const QLatin1String run("run");
inline const QLatin1String runRows("run-rows");

} // namespace eventKind

/// All given conditions must hold.
struct EventFilter
{
    std::optional<QString> kind;
    std::optional<QString> flowGuid;
    std::optional<QString> runGuid;
    int limit = 0; ///< at most so many; 0: all
};

/// Writes an event, durably, or with the transaction that it is called in. Key, host and time are filled in
/// where they are empty. NotFound where there is no job of that key.
Status addEvent(Database& database, SiteEvent event);

/// Newest first.
Result<std::vector<SiteEvent>> listEvents(Database& database, const EventFilter& filter = {});

/// The stored files of refused imports, by name: what eventKind::refused tells.
Result<QSet<QString>> refusedFiles(Database& database);

} // namespace KOZAV::Backend
