#include "admin/ServerOptions.h"
#include "admin/Verbs.h"
#include "backend/Site.h"
#include "backend/config/Redaction.h"
#include "backend/config/SettingRules.h"
#include "robot_call/RobotCall.h"
#include "terminal/PrintableText.h"
#include "terminal/TextTable.h"

#include <QFileInfo>
#include <QJsonArray>

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

Result<QString> shownValue(const QString& path, const QString& key)
{
    auto value = readSetting(path, key);
    if (!value.ok())
        return value;
    return withoutPassword(value.value());
}

Result<Report> reportKey(const QString& path, const QString& key)
{
    const auto value = shownValue(path, key);
    if (!value.ok())
        return value.status();
    return Report{{{QStringLiteral("key"), key}, {QStringLiteral("value"), value.value()}},
                  printable(value.value()) + QLatin1Char('\n')};
}

Result<Report> reportAll(const QString& path)
{
    TextTable table({QStringLiteral("KEY"), QStringLiteral("VALUE")});
    QJsonObject values;
    for (const SettingRule& setting : settingRules()) {
        const QString key = QString::fromLatin1(setting.key);
        const auto value = shownValue(path, key);
        if (!value.ok())
            return value.status();
        values.insert(key, value.value());
        table.addRow({key, value.value()});
    }
    return Report{{{QStringLiteral("file"), path}, {QStringLiteral("settings"), values}}, table.toString()};
}

QString needText(const SettingNeed& need)
{
    if (need.always)
        return QStringLiteral("always");
    return need.choice == nullptr
               ? QString()
               : QStringLiteral("%1 = %2").arg(QLatin1String(need.choice), QLatin1String(need.value));
}

QString whereAbsent(const SettingRule& rule)
{
    if (rule.need.always)
        return QStringLiteral("required");
    if (rule.need.choice != nullptr)
        return QStringLiteral("required with %1").arg(QLatin1String(rule.need.value));
    return rule.defaultValue().isEmpty() ? QStringLiteral("-") : rule.defaultValue();
}

} // namespace

Result<Report> configGetVerb(const Call& call)
{
    const auto settings = call.site.settings();
    if (!settings.ok())
        return settings.status();
    const QString path = call.site.configurationPath();
    return call.line.words.isEmpty() ? reportAll(path) : reportKey(path, call.line.words.first());
}

/// Of no file: what any of them may say.
Result<Report> configListVerb(const Call& /*call*/)
{
    TextTable table({QStringLiteral("KEY"), QStringLiteral("ACCEPTED"), QStringLiteral("WHERE ABSENT"),
                     QStringLiteral("MEANING")});
    QJsonArray keys;
    for (const SettingRule& rule : settingRules()) {
        const QString key = QLatin1String(rule.key);
        table.addRow({key, rule.form(), whereAbsent(rule), rule.sentence()});
        keys.append(QJsonObject{{QStringLiteral("key"), key},
                                {QStringLiteral("accepted"), rule.form()},
                                {QStringLiteral("required"), needText(rule.need)},
                                {QStringLiteral("default"), rule.defaultValue()},
                                {QStringLiteral("meaning"), rule.sentence()}});
    }
    return Report{{{QStringLiteral("keys"), keys}}, table.toString()};
}

Result<Report> configSetVerb(const Call& call)
{
    const QString& key = call.line.words.at(0);
    const QString path = call.site.configurationPath();
    if (const auto refused = refusePassword(key, call.line.words.at(1)); !refused.ok())
        return refused;
    // A broken file may be mended by the very key that is set, so it is not loaded here.
    if (!QFileInfo::exists(path))
        return call.site.settings().status();
    const auto written = writeSetting(path, key, call.line.words.at(1));
    if (!written.ok())
        return written;
    const auto value = readSetting(path, key);
    if (!value.ok())
        return value.status();
    const QString shown = withoutPassword(value.value());
    Report report{{{QStringLiteral("key"), key}, {QStringLiteral("value"), shown}},
                  QStringLiteral("%1 = %2\n").arg(key, printable(shown))};
    const QString warning =
        key == QStringLiteral("robot/host") ? Robot::robotHostWarning(value.value()) : QString();
    if (!warning.isEmpty()) {
        report.json.insert(QStringLiteral("warning"), warning);
        report.text += QStringLiteral("warning: %1\n").arg(printable(warning));
    }
    return report;
}

} // namespace KOZAV::Admin
