#include "admin/ServerOptions.h"
#include "admin/Verbs.h"
#include "backend/Site.h"
#include "backend/SiteCreation.h"
#include "terminal/TextTable.h"

#include <QJsonArray>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

Report reportOf(const CreatedSite& site)
{
    TextTable table({QStringLiteral("PART"), QStringLiteral("STATE"), QStringLiteral("PLACE")});
    QJsonArray parts;
    for (const CreatedSite::Part& part : site.parts) {
        table.addRow({part.name, part.made ? QStringLiteral("made") : QStringLiteral("present"), part.place});
        parts.append(QJsonObject{{QStringLiteral("part"), part.name},
                                 {QStringLiteral("path"), part.place},
                                 {QStringLiteral("made"), part.made}});
    }
    return {{{QStringLiteral("site"), site.identity}, {QStringLiteral("parts"), parts}},
            table.toString() + QStringLiteral("site %1\n").arg(site.identity)};
}

} // namespace

Result<Report> initVerb(const Call& call)
{
    const std::optional<QString> dataRoot = call.line.value(QStringLiteral("data-root"));
    if (dataRoot && dataRoot->isEmpty())
        return Status::invalidArgument(QStringLiteral("--data-root is empty; accepted is a folder"));
    const auto servers = serverSettings(call.line);
    if (!servers.ok())
        return servers.status();
    const auto site = createSite({call.site.configurationPath(), dataRoot.value_or(QString()),
                                  servers.value(), call.line.has(QStringLiteral("for-migrate"))});
    return site.ok() ? Result<Report>(reportOf(site.value())) : Result<Report>(site.status());
}

} // namespace KOZAV::Admin
