#include "backend/Site.h"
#include "backend/check/CheckContext.h"
#include "backend/database/Database.h"
#include "backend/records/SiteIdentity.h"
#include "backend/store/DocumentStore.h"
#include "backend/store/StoreNames.h"

#include <QStringList>

// Configuration, database and document store of a site hold one identity. Where they differ nothing can be
// said here about which of them is the right one. A part that holds none gets that of the others.

namespace KOZAV::Backend {

namespace {

/// A part of the site, and the identity that it holds; empty for none.
struct Part
{
    const char* name;
    QString identity;
    std::function<Status(const QString& identity)> set;
};

std::vector<Part> partsOf(CheckContext& context, const QString& inRows, const QString& inStore)
{
    return {{"configuration", context.settings.siteId,
             [&context](const QString& identity) {
                 return writeSetting(context.site.configurationPath(), QStringLiteral("site/id"), identity);
             }},
            {"database", inRows,
             [&context](const QString& identity) { return setSiteIdentity(*context.database, identity); }},
            {"document store", inStore, [&context](const QString& identity) {
                 return context.store.setSiteMark(storeLocation(context.settings.documentStore), identity);
             }}};
}

void addMissing(CheckContext& context, const Part& part, const QString& identity)
{
    Finding finding;
    finding.kind = FindingKind::IdentityMissing;
    finding.subject = QLatin1String(part.name);
    finding.text = QStringLiteral("the %1 holds no identity").arg(QLatin1String(part.name));
    if (identity.isEmpty()) {
        finding.text = QStringLiteral("no part of the site holds an identity");
        finding.mend =
            QStringLiteral("any program that works on the site, such as zav_admin company list, gives "
                           "it one after it has compared rows and stored files");
    } else {
        finding.repair = [set = part.set, identity] { return set(identity); };
    }
    context.add(std::move(finding));
}

} // namespace

Status checkIdentity(CheckContext& context)
{
    const auto inRows = siteIdentity(*context.database);
    if (!inRows.ok())
        return inRows.status();
    const auto inStore = context.store.siteMark(storeLocation(context.settings.documentStore));
    if (!inStore.ok())
        return asFinding(context, FindingKind::IdentityMissing, QStringLiteral("document store"),
                         inStore.status());
    const std::vector<Part> parts = partsOf(context, inRows.value(), inStore.value());
    QString identity;
    QStringList told;
    bool differ = false;
    for (const Part& part : parts) {
        if (part.identity.isEmpty())
            continue;
        differ = differ || (!identity.isEmpty() && part.identity != identity);
        identity = part.identity;
        told << QStringLiteral("%1: %2").arg(QLatin1String(part.name), part.identity);
    }
    if (differ) {
        context.add(FindingKind::IdentityDiffers, QStringLiteral("site"), told.join(QStringLiteral(", ")));
        return {};
    }
    for (const Part& part : parts) {
        if (part.identity.isEmpty())
            addMissing(context, part, identity);
        if (identity.isEmpty())
            break; // one finding says it of all
    }
    return {};
}

} // namespace KOZAV::Backend
