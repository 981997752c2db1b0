#include "host/site/SiteSettings.h"

#include "backend/Site.h"
#include "backend/SitePing.h"
#include "backend/config/Redaction.h"
#include "backend/config/SettingRules.h"
#include "backend/config/SitePlaces.h"
#include "robot_call/RobotCall.h"

#include <algorithm>

namespace KOZAV::Host {

using Backend::SettingRule;
using Backend::SettingType;
using Backend::Site;

namespace {

/// Of these two the programs that make sites and backups are the only writers.
bool isFixed(const SettingRule& rule)
{
    return QLatin1String(rule.key) == QLatin1String("site/id") ||
           QLatin1String(rule.key) == QLatin1String("site/backup");
}

SettingKind kindOf(const SettingRule& rule)
{
    if (isFixed(rule))
        return SettingKind::Fixed;
    switch (rule.type) {
    case SettingType::Choice:
        return SettingKind::Choice;
    case SettingType::Number:
        return SettingKind::Number;
    case SettingType::Flag:
        return SettingKind::Flag;
    case SettingType::Path:
        return SettingKind::File;
    case SettingType::Folder:
        return SettingKind::Folder;
    default:
        return QLatin1String(rule.key) == QLatin1String("document_store/root") ? SettingKind::Folder
                                                                               : SettingKind::Text;
    }
}

SettingEntry entryOf(const SettingRule& rule, const Backend::Settings& settings)
{
    SettingEntry entry;
    entry.key = QLatin1String(rule.key);
    entry.kind = kindOf(rule);
    entry.choices = rule.choices;
    entry.smallest = rule.range.smallest;
    entry.largest = rule.range.largest;
    entry.unit = rule.range.unit != nullptr ? QLatin1String(rule.range.unit) : QString();
    entry.meaning = QLatin1String(rule.meaning);
    entry.value = Backend::withoutPassword(rule.show(settings));
    entry.isNeeded = rule.isNeeded(settings);
    return entry;
}

/// The refusal of "zav_admin config set" for what it cannot take from a command line; a screen has eyes on it
/// as well.
QString passwordFlaw(const QString& key, const QString& value)
{
    if (!Backend::holdsPassword(value))
        return {};
    return QStringLiteral("%1 holds a password: put it into a file of its own, which "
                          "document_store/password_file names")
        .arg(key);
}

ConnectionLook connectionOf(const Backend::ServiceLook& look)
{
    const Backend::LookWords words = look.words();
    QStringList texts = {words.state,      words.engine,   words.place,
                         words.encryption, words.topology, words.latency};
    if (!look.health.ok())
        texts << look.health.message();
    texts.removeAll(QString());
    return {look.health.ok(), look.health.code() == Backend::ErrorCode::Configuration, look.service,
            Backend::withoutPassword(texts.join(QStringLiteral(", ")))};
}

} // namespace

std::vector<ConnectionLook> looksAt(const Backend::Settings& settings)
{
    return {connectionOf(Backend::lookAtRows(settings)), connectionOf(Backend::lookAtFiles(settings))};
}

std::optional<std::vector<SettingEntry>> settingEntries(QString& failure)
{
    const auto settings = Site::current().settings();
    if (!settings.ok()) {
        failure = settings.message();
        return std::nullopt;
    }
    std::vector<SettingEntry> entries;
    for (const SettingRule& rule : Backend::settingRules())
        entries.push_back(entryOf(rule, settings.value()));
    return entries;
}

QString flawOfSetting(const QString& key, const QString& value)
{
    const QString password = passwordFlaw(key, value);
    return password.isEmpty() ? Backend::checkSetting(key, value).message() : password;
}

SettingsMove moveBy(const SettingChanges& changes)
{
    const auto before = Site::current().settings();
    const auto after = Backend::settingsWith(Site::current().configurationPath(), changes);
    if (!before.ok() || !after.ok())
        return {};
    return {!Backend::isSamePlace(before->database, after->database),
            !Backend::isSamePlace(before->documentStore, after->documentStore)};
}

QString writeChanges(const SettingChanges& changes)
{
    for (const auto& [key, value] : changes) {
        if (QString flaw = passwordFlaw(key, value); !flaw.isEmpty())
            return flaw;
    }
    return Backend::writeSettings(Site::current().configurationPath(), changes).message();
}

QString warningOf(const SettingChanges& changes)
{
    const auto host = std::find_if(changes.begin(), changes.end(), [](const auto& change) {
        return change.first == QLatin1String("robot/host");
    });
    return host == changes.end() ? QString() : Robot::robotHostWarning(host->second);
}

std::vector<ConnectionLook> lookWith(const SettingChanges& changes)
{
    const auto settings = Backend::settingsWith(Site::current().configurationPath(), changes);
    if (!settings.ok())
        return {{false, false, {}, settings.message()}};
    return looksAt(settings.value());
}

} // namespace KOZAV::Host
