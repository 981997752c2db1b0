#include "host/site/FirstSite.h"

#include "backend/SiteCreation.h"
#include "backend/SitePing.h"
#include "backend/config/Redaction.h"
#include "backend/config/SettingRules.h"

namespace KOZAV::Host {

FirstSitePlan defaultSitePlan()
{
    return {Backend::defaultConfigurationPaths().constFirst(), Backend::defaultDataRoot(), {}};
}

FirstSite makeSite(const FirstSitePlan& plan)
{
    FirstSite made;
    made.configuration = plan.configuration;
    for (const auto& [key, value] : plan.values) {
        made.failure = flawOfSetting(key, value);
        if (!made.failure.isEmpty())
            return made;
    }
    const auto site = Backend::createSite({plan.configuration, plan.dataRoot, plan.values});
    if (!site.ok()) {
        made.failure = Backend::withoutPassword(site.message());
        return made;
    }
    for (const auto& part : site->parts)
        made.places << QStringLiteral("%1: %2").arg(part.name, Backend::withoutPassword(part.place));
    return made;
}

std::vector<ConnectionLook> lookAtPlan(const FirstSitePlan& plan)
{
    Backend::Settings settings;
    const QDir folder(plan.dataRoot);
    settings.database.file = folder.filePath(QStringLiteral("site.db"));
    settings.documentStore.root = folder.filePath(QStringLiteral("store"));
    for (const auto* key : {"document_store/database", "document_store/file_store"}) {
        const Backend::SettingRule* rule = Backend::findSettingRule(QLatin1String(key));
        (void)rule->take(settings, QLatin1String(rule->fresh.value), folder);
    }
    for (const auto& [key, value] : plan.values) {
        if (const QString flaw = flawOfSetting(key, value); !flaw.isEmpty())
            return {{false, false, {}, flaw}};
        (void)Backend::findSettingRule(key)->take(settings, value, folder);
    }
    return looksAt(settings);
}

QString flawOfConfiguration(const QString& path)
{
    return Backend::loadSettings(path).message();
}

} // namespace KOZAV::Host
