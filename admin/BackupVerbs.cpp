#include "admin/MigrationDisplay.h"
#include "admin/ServerOptions.h"
#include "admin/Stopping.h"
#include "admin/Verbs.h"
#include "backend/Site.h"
#include "backend/migrate/FileRestore.h"
#include "backend/migrate/SiteBackup.h"
#include "backend/migrate/SiteRestore.h"
#include "terminal/PrintableText.h"
#include "terminal/TextTable.h"

#include <QJsonArray>
#include <QLocale>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

constexpr int mostRaised = 1'000'000;

QString kindName(FileLoss::Kind kind)
{
    switch (kind) {
    case FileLoss::Kind::Missing:
        return QStringLiteral("file-missing");
    case FileLoss::Kind::Damaged:
        return QStringLiteral("file-damaged");
    case FileLoss::Kind::Conflict:
        break;
    }
    return QStringLiteral("other-content");
}

QJsonObject lossJson(const FileLoss& loss)
{
    return {{QStringLiteral("kind"), kindName(loss.kind)},
            {QStringLiteral("job"), loss.file.job},
            {QStringLiteral("file_store"), QString::fromStdString(loss.file.fileStore)},
            {QStringLiteral("stored_name"), QString::fromStdString(loss.file.name)},
            {QStringLiteral("kept"), loss.kept},
            {QStringLiteral("text"), loss.text}};
}

QJsonArray lossesJson(const std::vector<FileLoss>& losses)
{
    QJsonArray list;
    for (const FileLoss& loss : losses)
        list.append(lossJson(loss));
    return list;
}

QString lossTable(const std::vector<FileLoss>& losses, const QString& keptText)
{
    if (losses.empty())
        return {};
    TextTable table({QStringLiteral("FILE"), QStringLiteral("JOB"), QStringLiteral("FINDING"),
                     QStringLiteral("WHAT WAS FOUND")});
    for (const FileLoss& loss : losses)
        table.addRow({QString::fromStdString(loss.file.name), loss.file.job, kindName(loss.kind),
                      loss.kept ? QStringLiteral("%1; %2").arg(loss.text, keptText) : loss.text});
    return table.toString();
}

QJsonArray tablesJson(const std::vector<TableCount>& tables)
{
    QJsonArray list;
    for (const TableCount& count : tables)
        list.append(QJsonObject{{QStringLiteral("table"), QLatin1String(count.table->name)},
                                {QStringLiteral("rows"), count.rows},
                                {QStringLiteral("sha256"), QString::fromLatin1(count.sha256)}});
    return list;
}

QJsonObject filesJson(const FileCount& files, const FileCount& copied)
{
    return {{QStringLiteral("files"), files.files},
            {QStringLiteral("bytes"), files.bytes},
            {QStringLiteral("copied"), copied.files},
            {QStringLiteral("copied_bytes"), copied.bytes}};
}

QString copiedText(const FileCount& files, const FileCount& copied, const std::vector<TableCount>& tables)
{
    qint64 rows = 0;
    for (const TableCount& count : tables)
        rows += count.rows;
    const QLocale locale = QLocale::c();
    return QStringLiteral("%1 rows; %2 stored files of %3, of which %4 of %5 were copied\n")
        .arg(QString::number(rows), QString::number(files.files), locale.formattedDataSize(files.bytes, 1),
             QString::number(copied.files), locale.formattedDataSize(copied.bytes, 1));
}

ExitCode exitCodeOf(const std::vector<FileLoss>& losses)
{
    return losses.empty() ? ExitCode::Success : ExitCode::Findings;
}

Report backupReport(const BackupReport& backup)
{
    Report report;
    report.json = {{QStringLiteral("folder"), backup.folder},
                   {QStringLiteral("site"), backup.identity},
                   {QStringLiteral("moment"), backup.moment},
                   {QStringLiteral("files"), filesJson(backup.files, backup.copied)},
                   {QStringLiteral("lost"), lossesJson(backup.losses)},
                   {QStringLiteral("tables"), tablesJson(backup.tables)}};
    report.text = QStringLiteral("backup of the site %1 in %2, as it was at %3\n")
                      .arg(backup.identity, printable(backup.folder), backup.moment) +
                  copiedText(backup.files, backup.copied, backup.tables) +
                  lossTable(backup.losses, QStringLiteral("the backup has it from an earlier run"));
    report.success = exitCodeOf(backup.losses);
    return report;
}

Report restoreReport(const RestoreReport& restored, const RestoreRequest& request)
{
    Report report;
    report.json = {{QStringLiteral("configuration"), request.site.configuration},
                   {QStringLiteral("site"), restored.identity},
                   {QStringLiteral("moment"), restored.moment},
                   {QStringLiteral("rows"), restored.rows},
                   {QStringLiteral("documents"), restored.documents},
                   {QStringLiteral("raised_counters"), request.raiseCounters},
                   {QStringLiteral("files"), filesJson(restored.files, restored.copied)},
                   {QStringLiteral("lost"), lossesJson(restored.losses)},
                   {QStringLiteral("tables"), tablesJson(restored.tables)}};
    report.text =
        QStringLiteral("restored the site %1, as it was at %2\nrows in %3, files in %4\n")
            .arg(restored.identity, restored.moment, printable(restored.rows),
                 printable(restored.documents)) +
        copiedText(restored.files, restored.copied, restored.tables) +
        QStringLiteral("the job count of every company was raised by %1\n").arg(request.raiseCounters) +
        lossTable(restored.losses, QStringLiteral("the store has it"));
    report.success = exitCodeOf(restored.losses);
    return report;
}

/// Only a person knows how many jobs came after the backup.
Result<int> raisedCounters(const CommandLine& line)
{
    const QString given = line.options.value(QStringLiteral("raise-counters"));
    bool isNumber = false;
    const int number = given.toInt(&isNumber);
    if (!isNumber || number < 0 || number > mostRaised)
        return Status::invalidArgument(
            QStringLiteral("--raise-counters is \"%1\"; accepted is a number from 0 to %2")
                .arg(given)
                .arg(mostRaised));
    return number;
}

} // namespace

Result<Report> backupVerb(const Call& call)
{
    const StoppableVerb stoppable;
    CopyProgress progress(call);
    const auto backup = backupSite(call.site, call.line.words.at(0), progress.observer());
    if (backup.ok())
        return backupReport(backup.value());
    Stop stop = progress.stop();
    stop.done += QStringLiteral("; the last complete backup is as it was");
    return StoppableVerb::ended(backup.status(), stop);
}

Result<Report> restoreVerb(const Call& call)
{
    const auto raised = raisedCounters(call.line);
    if (!raised.ok())
        return raised.status();
    const auto servers = serverSettings(call.line);
    if (!servers.ok())
        return servers.status();
    RestoreRequest request;
    request.folder = call.line.words.at(0);
    request.site = {call.site.configurationPath(),
                    call.line.value(QStringLiteral("data-root")).value_or(QString()), servers.value()};
    request.raiseCounters = raised.value();
    const StoppableVerb stoppable;
    CopyProgress progress(call);
    const auto restored = restoreSite(request, progress.observer());
    return restored.ok() ? Result<Report>(restoreReport(restored.value(), request))
                         : StoppableVerb::ended(restored.status(), progress.stop());
}

Result<Report> restoreFilesVerb(const Call& call)
{
    FileRestoreOptions options;
    options.readData = call.line.has(QStringLiteral("read-data"));
    const StoppableVerb stoppable;
    CopyProgress progress(call);
    const auto restored = restoreFiles(call.site, call.line.words.at(0), options, progress.observer());
    if (!restored.ok())
        return StoppableVerb::ended(restored.status(), progress.stop());
    Report report;
    report.json = {{QStringLiteral("site"), restored->identity},
                   {QStringLiteral("moment"), restored->moment},
                   {QStringLiteral("files"), filesJson(restored->files, restored->copied)},
                   {QStringLiteral("quarantined"), QJsonArray::fromStringList(restored->quarantined)},
                   {QStringLiteral("lost"), lossesJson(restored->losses)}};
    report.text =
        QStringLiteral(
            "%1 stored files were brought back from the backup of %2; %3 damaged ones are in quarantine\n")
            .arg(restored->copied.files)
            .arg(restored->moment)
            .arg(restored->quarantined.size()) +
        lossTable(restored->losses, QString());
    report.success = exitCodeOf(restored->losses);
    return report;
}

} // namespace KOZAV::Admin
