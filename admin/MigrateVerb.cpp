#include "admin/MigrationDisplay.h"
#include "admin/Stopping.h"
#include "admin/Verbs.h"
#include "backend/Site.h"
#include "backend/config/SitePlaces.h"
#include "backend/migrate/SiteMigration.h"
#include "terminal/PrintableText.h"
#include "terminal/TextTable.h"

#include <QJsonArray>
#include <QLocale>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

QJsonObject siteJson(const Settings& settings)
{
    return {{QStringLiteral("rows"), placeOf(settings.database)},
            {QStringLiteral("files"), placeOf(settings.documentStore)}};
}

QString siteText(const Settings& settings)
{
    return QStringLiteral("rows in %1, files in %2")
        .arg(printable(placeOf(settings.database)), printable(placeOf(settings.documentStore)));
}

QJsonObject filesJson(const MigrationReport& report)
{
    return {{QStringLiteral("files"), report.files.files},
            {QStringLiteral("bytes"), report.files.bytes},
            {QStringLiteral("copied"), report.copiedFiles.files},
            {QStringLiteral("copied_bytes"), report.copiedFiles.bytes},
            {QStringLiteral("only_in_target"), report.otherFiles}};
}

QJsonObject tableJson(const TableCount& count)
{
    return {{QStringLiteral("table"), QLatin1String(count.table->name)},
            {QStringLiteral("rows"), count.rows},
            {QStringLiteral("copied"), count.missing},
            {QStringLiteral("updated"), count.outdated},
            {QStringLiteral("sha256"), QString::fromLatin1(count.sha256)}};
}

QString countTable(const MigrationReport& report, bool dryRun)
{
    TextTable table({QStringLiteral("PART"), QStringLiteral("IN SOURCE"),
                     dryRun ? QStringLiteral("TO COPY") : QStringLiteral("COPIED"),
                     dryRun ? QStringLiteral("TO UPDATE") : QStringLiteral("UPDATED"),
                     QStringLiteral("PRESENT")});
    table.alignRight({1, 2, 3, 4});
    const auto add = [&table](const QString& part, qint64 all, qint64 copied, qint64 updated) {
        table.addRow({part, QString::number(all), QString::number(copied), QString::number(updated),
                      QString::number(all - copied - updated)});
    };
    add(QStringLiteral("stored files"), report.files.files, report.copiedFiles.files, 0);
    for (const TableCount& count : report.tables)
        add(QLatin1String(count.table->name), count.rows, count.missing, count.outdated);
    return table.toString();
}

QString conclusion(const MigrationReport& report, bool dryRun)
{
    const QLocale locale = QLocale::c();
    QString text = QStringLiteral("stored files: %1, %2 %3\n")
                       .arg(locale.formattedDataSize(report.files.bytes, 1),
                            locale.formattedDataSize(report.copiedFiles.bytes, 1),
                            dryRun ? QStringLiteral("to copy") : QStringLiteral("copied"));
    if (report.otherFiles > 0)
        text += QStringLiteral("the target holds %1 stored files that the source does not have\n")
                    .arg(report.otherFiles);
    return text + (dryRun ? QStringLiteral("nothing was changed\n")
                          : QStringLiteral("verified: the target holds every row and every stored file of "
                                           "the source\n"));
}

Report reportOf(const MigrationReport& report, const Settings& source, const Settings& target, bool dryRun)
{
    QJsonArray tables;
    for (const TableCount& count : report.tables)
        tables.append(tableJson(count));
    Report shown;
    shown.json = {{QStringLiteral("source"), siteJson(source)}, {QStringLiteral("target"), siteJson(target)},
                  {QStringLiteral("dry_run"), dryRun},          {QStringLiteral("verified"), !dryRun},
                  {QStringLiteral("files"), filesJson(report)}, {QStringLiteral("tables"), tables}};
    shown.text = QStringLiteral("from %1\nto   %2\n").arg(siteText(source), siteText(target)) +
                 countTable(report, dryRun) + conclusion(report, dryRun);
    return shown;
}

} // namespace

Result<Report> migrateVerb(const Call& call)
{
    const QString other = call.line.options.value(QStringLiteral("to"));
    if (other.isEmpty())
        return Status::invalidArgument(QStringLiteral("--to is empty; accepted is a configuration file"));
    const auto source = call.site.settings();
    if (!source.ok())
        return source.status();
    // One of its parts may be empty beside the other: it is to be filled now.
    Site otherSite(other, Site::Use::Mending);
    const auto target = otherSite.settings();
    if (!target.ok())
        return target.status();

    MigrationOptions options;
    options.dryRun = call.line.has(QStringLiteral("dry-run"));
    options.outdatedRows =
        call.line.has(QStringLiteral("update")) ? OutdatedRows::Update : OutdatedRows::Refuse;
    const StoppableVerb stoppable;
    CopyProgress progress(call);
    const auto report = migrateSite(call.site, otherSite, options, progress.observer());
    if (!report.ok())
        return StoppableVerb::ended(report.status(), progress.stop());
    return reportOf(report.value(), source.value(), target.value(), options.dryRun);
}

} // namespace KOZAV::Admin
