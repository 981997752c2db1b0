#include "admin/Application.h"
#include "admin/Verbs.h"
#include "backend/Site.h"
#include "backend/config/Redaction.h"
#include "backend/config/SitePlaces.h"
#include "backend/database/Database.h"
#include "backend/store/DocumentStore.h"
#include "robot_call/RobotCall.h"
#include "terminal/PrintableText.h"
#include "terminal/TextTable.h"

#include <QJsonArray>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

/// What a look at one service gave.
struct Look
{
    QString service;
    QString place; ///< by the configuration
    Result<ServiceHealth> health;
};

/// A server may answer whoever asks: what counts is that the stored files can be looked for and the mark be
/// read.
Result<ServiceHealth> lookAtFiles(const Settings& settings, Site& site)
{
    const auto store = site.documentStore();
    if (!store.ok())
        return store.status();
    const StoreLocation location = storeLocation(settings.documentStore);
    if (const auto mark = store.value()->siteMark(location); !mark.ok())
        return mark.status();
    if (const auto files = store.value()->findSome(location, {"ping"}); !files.ok())
        return files.status();
    return store.value()->health();
}

QString encryptionText(const ServiceHealth& health)
{
    if (!health.remote)
        return QStringLiteral("local");
    return health.encryption.isEmpty() ? QStringLiteral("no") : health.encryption;
}

QString latencyText(double milliseconds)
{
    return QStringLiteral("%1 ms").arg(milliseconds, 0, 'f', milliseconds < 1 ? 3 : 1);
}

QString orDash(const QString& text)
{
    return text.isEmpty() ? QStringLiteral("-") : text;
}

QStringList tableRow(const Look& look)
{
    const QString none = QStringLiteral("-");
    if (!look.health.ok())
        return {look.service, QStringLiteral("failed"), none, look.place, none, none, none};
    const ServiceHealth& health = look.health.value();
    return {look.service,
            QStringLiteral("reachable"),
            health.engine,
            health.place,
            encryptionText(health),
            orDash(health.topology),
            latencyText(health.latencyMs)};
}

QJsonObject jsonOf(const Look& look)
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

Report reportOf(const std::vector<Look>& looks)
{
    TextTable table({QStringLiteral("SERVICE"), QStringLiteral("STATE"), QStringLiteral("ENGINE"),
                     QStringLiteral("PLACE"), QStringLiteral("ENCRYPTED"), QStringLiteral("TOPOLOGY"),
                     QStringLiteral("LATENCY")});
    table.alignRight({6});
    QJsonArray services;
    QString reasons;
    Report report;
    for (const Look& look : looks) {
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
    const std::vector<Look> looks = {
        {QStringLiteral("rows"), placeOf(settings->database), Database::probe(settings->database)},
        {QStringLiteral("files"), placeOf(settings->documentStore),
         lookAtFiles(settings.value(), call.site)}};
    Report report = reportOf(looks);
    warnOfRobotHost(settings.value(), report);
    return report;
}

} // namespace KOZAV::Admin
