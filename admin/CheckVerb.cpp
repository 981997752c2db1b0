#include "admin/CheckDisplay.h"
#include "admin/ProgressText.h"
#include "admin/Stopping.h"
#include "admin/Verbs.h"
#include "backend/Site.h"
#include "backend/check/SiteCheck.h"
#include "terminal/PrintableText.h"
#include "terminal/TextTable.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QLocale>

#include <map>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

QString weightName(FindingWeight weight)
{
    switch (weight) {
    case FindingWeight::Damage:
        return QStringLiteral("damage");
    case FindingWeight::Leftover:
        return QStringLiteral("leftover");
    case FindingWeight::Notice:
        return QStringLiteral("notice");
    case FindingWeight::NotLookedAt:
        break;
    }
    return QStringLiteral("not-looked-at");
}

Status askForRepair(const QString& names, CheckOptions& options)
{
    for (const QString& name : names.split(QLatin1Char(','))) {
        const auto kind = findingKindNamed(name);
        if (!kind || !findingRule(*kind).isMendable)
            return Status::invalidArgument(QStringLiteral("--repair names \"%1\"; accepted are %2")
                                               .arg(name, mendableNames().join(QStringLiteral(", "))));
        options.repair.insert(*kind);
    }
    return {};
}

Status askForAge(const QString& seconds, CheckOptions& options)
{
    bool isNumber = false;
    const int age = seconds.toInt(&isNumber);
    if (!isNumber || age < 0)
        return Status::invalidArgument(
            QStringLiteral("--settle is \"%1\"; accepted is a number of seconds").arg(seconds));
    options.importAge = options.orphanAge = std::chrono::seconds(age);
    return {};
}

Result<CheckOptions> optionsOf(const Call& call)
{
    CheckOptions options;
    options.readData = call.line.has(QStringLiteral("read-data"));
    options.goOn = call.line.has(QStringLiteral("continue"));
    if (options.goOn && !options.readData)
        return Status::invalidArgument(QStringLiteral("--continue goes on with a --read-data; give both"));
    Status status;
    if (const auto names = call.line.value(QStringLiteral("repair")))
        status = askForRepair(*names, options);
    const auto settle = call.line.value(QStringLiteral("settle"));
    if (status.ok() && settle)
        status = askForAge(*settle, options);
    const auto settings = call.site.settings();
    if (status.ok())
        status = settings.status();
    if (!status.ok())
        return status;
    options.userId = settings->userId;
    options.userName = settings->userName;
    return options;
}

QJsonObject findingJson(const Finding& finding)
{
    const FindingRule& rule = findingRule(finding.kind);
    return {{QStringLiteral("kind"), QLatin1String(rule.name)},
            {QStringLiteral("weight"), weightName(rule.weight)},
            {QStringLiteral("job"), finding.job},
            {QStringLiteral("subject"), finding.subject},
            {QStringLiteral("text"), finding.text},
            {QStringLiteral("meaning"), QLatin1String(rule.meaning)},
            {QStringLiteral("mend"), finding.mended ? QString() : mendText(finding)},
            {QStringLiteral("mended"), finding.mended},
            {QStringLiteral("failure"), finding.failure}};
}

QString stateOf(const Finding& finding)
{
    if (finding.mended)
        return QStringLiteral("mended");
    if (!finding.failure.isEmpty())
        return QStringLiteral("not mended: %1").arg(finding.failure);
    return mendText(finding);
}

/// What each kind that was found means: once, below the table.
QString meaningsOf(const CheckReport& report)
{
    std::map<FindingKind, int> counts;
    for (const Finding& finding : report.findings)
        ++counts[finding.kind];
    QString lines;
    for (const auto& [kind, count] : counts) {
        const FindingRule& rule = findingRule(kind);
        lines += QStringLiteral("%1 (%2, %3): %4\n")
                     .arg(QLatin1String(rule.name), weightName(rule.weight), QString::number(count),
                          QLatin1String(rule.meaning));
    }
    return lines;
}

QString conclusion(const CheckReport& report)
{
    const QLocale locale = QLocale::c();
    QString text = QStringLiteral("looked at %1 jobs, %2 stored files (%3)")
                       .arg(report.jobs)
                       .arg(report.files)
                       .arg(locale.formattedDataSize(report.bytes, 1));
    if (report.filesRead > 0)
        text += QStringLiteral(", %1 of them read (%2)")
                    .arg(report.filesRead)
                    .arg(locale.formattedDataSize(report.bytesRead, 1));
    if (!report.wentOnFrom.isEmpty())
        text += QStringLiteral(", going on with the reading of %1").arg(report.wentOnFrom);
    text += QLatin1Char('\n');
    text +=
        report.isClean() ? QStringLiteral("the site is whole\n") : QStringLiteral("the site is not clean\n");
    if (!report.recorded.ok())
        text += QStringLiteral("the check could not be written down: %1\n")
                    .arg(printable(report.recorded.message()));
    return text;
}

QString findingTable(const CheckReport& report)
{
    TextTable table({QStringLiteral("FINDING"), QStringLiteral("JOB"), QStringLiteral("SUBJECT"),
                     QStringLiteral("WHAT"), QStringLiteral("MENDED BY")});
    for (const Finding& finding : report.findings)
        table.addRow({QLatin1String(findingRule(finding.kind).name),
                      finding.job.isEmpty() ? QStringLiteral("-") : finding.job, finding.subject,
                      finding.text, stateOf(finding)});
    return report.findings.empty() ? QString() : table.toString() + QLatin1Char('\n') + meaningsOf(report);
}

Report reportOf(const CheckReport& report)
{
    QJsonArray findings;
    QJsonObject counts;
    for (const Finding& finding : report.findings) {
        findings.append(findingJson(finding));
        const QString name = QLatin1String(findingRule(finding.kind).name);
        counts[name] = counts[name].toInt() + 1;
    }
    Report shown;
    shown.json = {{QStringLiteral("clean"), report.isClean()},
                  {QStringLiteral("jobs"), report.jobs},
                  {QStringLiteral("files"), report.files},
                  {QStringLiteral("bytes"), report.bytes},
                  {QStringLiteral("files_read"), report.filesRead},
                  {QStringLiteral("bytes_read"), report.bytesRead},
                  {QStringLiteral("went_on_from"), report.wentOnFrom},
                  {QStringLiteral("recorded"), report.recorded.ok()},
                  {QStringLiteral("counts"), counts},
                  {QStringLiteral("findings"), findings}};
    shown.text = findingTable(report) + conclusion(report);
    shown.success = report.isClean() ? ExitCode::Success : ExitCode::Findings;
    return shown;
}

/// How far the check came; what of a reading is done need not be done again.
Stop stopAt(const CheckProgress& progress, const Call& call)
{
    Stop stop;
    stop.json = {{QStringLiteral("files"), progress.files},
                 {QStringLiteral("files_total"), progress.filesTotal},
                 {QStringLiteral("bytes"), progress.bytes},
                 {QStringLiteral("bytes_total"), progress.bytesTotal}};
    stop.done = progress.filesTotal == 0
                    ? QStringLiteral("the stored files had not been looked at yet")
                    : QStringLiteral("%1 stored files were looked at, and no finding is told")
                          .arg(countText(progress.files, progress.filesTotal));
    if (progress.phase == CheckProgress::Phase::Repair)
        stop.done = QStringLiteral("not everything that was found and named is mended");
    const QString goOn = QStringLiteral("continue");
    if (call.line.has(QStringLiteral("read-data")) && !call.line.has(goOn))
        stop.goOn = QStringList(call.arguments) << QStringLiteral("--") + goOn;
    return stop;
}

} // namespace

Result<Report> checkVerb(const Call& call)
{
    const auto options = optionsOf(call);
    if (!options.ok())
        return options.status();
    QElapsedTimer clock;
    clock.start();
    QIODevice* device = progressDevice(call);
    CheckDisplay display(device, ProgressLine::viewOf(device), [&clock] { return clock.elapsed(); });
    const StoppableVerb stoppable;
    CheckProgress last;
    const auto report =
        checkSite(call.site, options.value(), [&display, &last](const CheckProgress& progress) {
            last = progress;
            display.show(progress);
        });
    if (!report.ok())
        return StoppableVerb::ended(report.status(), stopAt(last, call));
    return reportOf(report.value());
}

} // namespace KOZAV::Admin
