#pragma once

#include "backend/Status.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <vector>

namespace KOZAV::Backend {

class Database;

/// One run of the file import panel as the table of events keeps it, without its entries. Times are as the
/// rows have them (rowTime()).
struct ImportRunSummary
{
    QString guid;   ///< key of the run
    QString source; ///< the batch directory or the single source
    QString startTime;
    QString endTime;
    QJsonObject counts; ///< entries of each outcome, by its name
    QJsonArray remarks; ///< what belongs to no single entry
    int entryCount = 0;
    int userId = 0;
    QString userName;
    QString host;        ///< machine that it ran on; filled in where it is empty
    qint64 position = 0; ///< of a run that was read: where a list goes on behind it
};

/// The same with what became of each entry: objects that mean nothing here.
struct ImportRun : ImportRunSummary
{
    QJsonArray entries;
};

/// Writes down a run that has ended, durably, in one transaction: an event of the kind eventKind::run, and
/// its entries as events of the kind eventKind::runRows, many in each. A run whose key is there already is
/// replaced, so that it can be told anew when more is known of it, and that a write can be repeated.
Status addImportRun(Database& database, const ImportRun& run);

/// The summaries, newest first.
/// @param limit   at most so many
/// @param behind  position of the last run of the page before; 0: from the newest on
Result<std::vector<ImportRunSummary>> listImportRuns(Database& database, int limit, qint64 behind = 0);

/// NotFound where there is no such run.
Result<ImportRun> readImportRun(Database& database, const QString& guid);

/// Removes the oldest runs, where they were written before a moment: at most a hundred, so that it costs who
/// writes the next run next to nothing. @return how many
Result<int> removeImportRuns(Database& database, const QDateTime& before);

} // namespace KOZAV::Backend
