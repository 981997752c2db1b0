#include "admin/Application.h"
#include "admin/Verbs.h"
#include "backend/Site.h"
#include "backend/SitePing.h"
#include "backend/config/Redaction.h"
#include "robot_call/RobotCall.h"
#include "terminal/PrintableText.h"
#include "terminal/TextTable.h"

#include <QJsonArray>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

QString orDash(const QString& text)
{
    return text.isEmpty() ? QStringLiteral("-") : text;
}

QStringList tableRow(const ServiceLook& look)
{
    const LookWords words = look.words();
    return {look.service,
            words.state,
            orDash(words.engine),
            words.place,
            orDash(words.encryption),
            orDash(words.topology),
            orDash(words.latency)};
}

QJsonObject jsonOf(const ServiceLook& look)
{
    QJsonObject object{{QStringLiteral("service"), look.service},
                       {QStringLiteral("reachable"), look.health.ok()}};
    if (!look.health.ok()) {
        object.insert(QStringLiteral("place"), look.place);
        object.insert(QStringLiteral("error"), withoutPassword(look.health.message()));
        object.insert(QStringLiteral("code"), static_cast<int>(exitCodeOf(look.health.code())));
        return object;
    }
    const ServiceHealth& health = look.health.value();
    object.insert(QStringLiteral("engine"), health.engine);
    object.insert(QStringLiteral("place"), withoutPassword(health.place));
    object.insert(QStringLiteral("remote"), health.remote);
    object.insert(QStringLiteral("encryption"), health.encryption);
    object.insert(QStringLiteral("topology"), health.topology);
    object.insert(QStringLiteral("latency_ms"), health.latencyMs);
    return object;
}

Report reportOf(const std::vector<ServiceLook>& looks)
{
    TextTable table({QStringLiteral("SERVICE"), QStringLiteral("STATE"), QStringLiteral("ENGINE"),
                     QStringLiteral("PLACE"), QStringLiteral("ENCRYPTED"), QStringLiteral("TOPOLOGY"),
                     QStringLiteral("LATENCY")});
    table.alignRight({6});
    QJsonArray services;
    QString reasons;
    Report report;
    for (const ServiceLook& look : looks) {
        table.addRow(tableRow(look));
        services.append(jsonOf(look));
        if (look.health.ok())
            continue;
        reasons += QStringLiteral("%1: %2\n").arg(look.service, printable(look.health.message()));
        if (report.outcome.ok())
            report.outcome = look.health.status();
    }
    report.json.insert(QStringLiteral("services"), services);
    report.text = withoutPassword(table.toString() + reasons);
    return report;
}

void warnOfRobotHost(const Settings& settings, Report& report)
{
    const QString warning = Robot::robotHostWarning(settings.robotHost);
    report.json.insert(QStringLiteral("warnings"), warning.isEmpty() ? QJsonArray() : QJsonArray({warning}));
    if (!warning.isEmpty())
        report.text += QStringLiteral("warning: %1\n").arg(printable(warning));
}

} // namespace

Result<Report> pingVerb(const Call& call)
{
    const auto settings = call.site.settings();
    if (!settings.ok())
        return settings.status();
    // Both are looked at, whatever comes of the first.
    const std::vector<ServiceLook> looks = {lookAtRows(settings.value()),
                                            lookAtFiles(settings.value(), call.site.documentStore())};
    Report report = reportOf(looks);
    warnOfRobotHost(settings.value(), report);
    return report;
}

} // namespace KOZAV::Admin
