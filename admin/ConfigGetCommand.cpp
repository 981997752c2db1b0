#include "admin/ConfigGetCommand.h"

#include "admin/Workplace.h"
#include "backend/config/Redaction.h"
#include "backend/config/SettingRules.h"
#include "terminal/PrintableText.h"
#include "terminal/TextTable.h"

namespace KOZAV::Admin {

using namespace Backend;
using namespace Terminal;

namespace {

Result<QString> shownValue(const QString& path, const QString& key)
{
    Result<QString> value = readSetting(path, key);
    if (!value.ok())
        return value;
    return withoutPassword(value.value());
}

Result<Report> reportKey(const QString& path, const QString& key)
{
    const Result<QString> value = shownValue(path, key);
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
        const Result<QString> value = shownValue(path, key);
        if (!value.ok())
            return value.status();
        values.insert(key, value.value());
        table.addRow({key, value.value()});
    }
    return Report{{{QStringLiteral("file"), path}, {QStringLiteral("settings"), values}}, table.toString()};
}

} // namespace

QString ConfigGetCommand::summary() const
{
    return QStringLiteral("show what is in force: one key, or all; passwords are not shown");
}

std::vector<Operand> ConfigGetCommand::operands() const
{
    return {{QStringLiteral("KEY"), false}};
}

Result<Report> ConfigGetCommand::run(const CommandLine& line, Workplace& workplace) const
{
    const Result<Settings> settings = workplace.settings();
    if (!settings.ok())
        return settings.status();
    const QString& path = workplace.configurationPath();
    return line.words.isEmpty() ? reportAll(path) : reportKey(path, line.words.first());
}

} // namespace KOZAV::Admin
