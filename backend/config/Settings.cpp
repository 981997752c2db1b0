#include "backend/config/Settings.h"

#include "backend/config/IniDocument.h"
#include "backend/config/Redaction.h"
#include "backend/config/SettingRules.h"
#include "backend/config/SitePlaces.h"
#include "backend/io/File.h"
#include "backend/io/PrivateFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>
#include <tuple>

namespace KOZAV::Backend {

namespace {

constexpr qint64 maxFileBytes = 1024LL * 1024;

QString inHome(QStandardPaths::StandardLocation location)
{
    return QStandardPaths::writableLocation(location) + QStringLiteral("/zav_import");
}

/// The keys of the section of key, or of the whole file where there is no such section.
QString keysNear(const QString& key)
{
    const QString section = key.section(QLatin1Char('/'), 0, 0) + QLatin1Char('/');
    QStringList near;
    QStringList all;
    for (const SettingRule& rule : settingRules()) {
        all << QLatin1String(rule.key);
        if (all.last().startsWith(section))
            near << all.last();
    }
    return (near.isEmpty() ? all : near).join(QStringLiteral(", "));
}

Status unknownKey(ErrorCode code, const QString& key)
{
    return {code, QStringLiteral("%1 is not a known key; accepted are %2").arg(key, keysNear(key))};
}

Status broken(const QString& problem)
{
    return Status::configuration(problem);
}

bool holdsControlCharacter(const QString& value)
{
    return std::any_of(value.cbegin(), value.cend(), [](QChar c) {
        return c.category() == QChar::Other_Control || c.category() == QChar::Separator_Line ||
               c.category() == QChar::Separator_Paragraph;
    });
}

/// Empty if the value has been taken over.
QString problemOf(const SettingRule& rule, const QString& value, const QDir& folder, Settings& settings)
{
    if (value.isEmpty())
        return QStringLiteral("is empty");
    if (holdsControlCharacter(value) || !value.isValidUtf16())
        return QStringLiteral("holds a control character or half of a character");
    if (!rule.take(settings, value, folder))
        return QStringLiteral("is \"%1\"").arg(withoutPassword(value));
    return {};
}

Status takeEntry(const IniDocument::Entry& entry, const QDir& folder, Settings& settings)
{
    const auto at = [&entry](const QString& problem) {
        return broken(QStringLiteral("line %1: %2").arg(entry.line).arg(problem));
    };
    const SettingRule* rule = findSettingRule(entry.key);
    if (rule == nullptr)
        return at(unknownKey(ErrorCode::Configuration, entry.key).message());
    const QString problem = problemOf(*rule, entry.value, folder, settings);
    if (problem.isEmpty())
        return {};
    return at(QStringLiteral("%1 %2; accepted is %3").arg(entry.key, problem, rule->accepted()));
}

Status checkWhole(const IniDocument& document, const Settings& settings)
{
    for (const SettingRule& rule : settingRules()) {
        const auto same = [&rule](const auto& entry) { return entry.key == QLatin1String(rule.key); };
        const auto& entries = document.entries();
        if (rule.isNeeded(settings) && std::none_of(entries.cbegin(), entries.cend(), same))
            return broken(QStringLiteral("%1 is missing; accepted is %2")
                              .arg(QLatin1String(rule.key), rule.accepted()));
    }
    const DatabaseSettings& database = settings.database;
    if (database.driver == QLatin1String("QMYSQL") && !isLoopback(database.host) &&
        database.tlsCaFile.isEmpty() && !database.allowPlaintext)
        return broken(
            QStringLiteral("database/tls_ca is missing; the server \"%1\" is not on this machine and needs "
                           "it, or database/allow_plaintext = true")
                .arg(database.host));
    return {};
}

Result<Settings> interpret(const IniDocument& document, const QDir& folder)
{
    Settings settings;
    for (const IniDocument::Entry& entry : document.entries()) {
        const auto status = takeEntry(entry, folder, settings);
        if (!status.ok())
            return status;
    }
    const auto whole = checkWhole(document, settings);
    if (!whole.ok())
        return whole;
    settings.database.readOnly = !settings.backupMoment.isEmpty();
    return settings;
}

Result<Settings> parseSettings(const QByteArray& bytes, const QString& path)
{
    const auto document = IniDocument::parse(bytes);
    const QDir folder(QFileInfo(path).absolutePath());
    Result<Settings> settings =
        document.ok() ? interpret(document.value(), folder) : Result<Settings>(document.status());
    if (settings.ok())
        return settings;
    return broken(QStringLiteral("configuration file \"%1\": %2").arg(path, settings.message()));
}

const char* const freshHead = R"(; Configuration of the job import: rows, stored files, robot and operator.
; Relative paths are relative to the folder of this file. A text with a comma, a semicolon or a double quote stands
; in double quotes; a backslash is written twice. Changes are seen at once, without a new start.
)";

QString freshValue(const SettingRule& rule, const QString& dataRoot, const QString& userName)
{
    if (rule.fresh.value == nullptr)
        return rule.defaultValue();
    const QString value = QLatin1String(rule.fresh.value);
    const QLatin1String data("${data}");
    if (value.startsWith(data))
        return dataRoot + value.mid(data.size());
    return value == QLatin1String("${login}") ? userName : value;
}

/// Text of a new configuration file: working defaults with all data under dataRoot, and every other key in a
/// comment that proposes a value.
QByteArray freshText(const QString& dataRoot, const QString& userName)
{
    QString text = QString::fromLatin1(freshHead);
    QString section;
    for (const SettingRule& rule : settingRules()) {
        const QString key = QLatin1String(rule.key);
        if (section != key.section(QLatin1Char('/'), 0, 0)) {
            section = key.section(QLatin1Char('/'), 0, 0);
            text += QStringLiteral("\n[%1]\n").arg(section);
        }
        text += QStringLiteral("; %1\n").arg(rule.sentence());
        text += (rule.fresh.inForce ? QString() : QStringLiteral(";")) + key.section(QLatin1Char('/'), 1) +
                QStringLiteral(" = ") + encodeIniValue(freshValue(rule, dataRoot, userName)) +
                QLatin1Char('\n');
    }
    return text.toUtf8();
}

Result<QByteArray> readText(const QString& path)
{
    const auto bytes = readSmallFile(QFile::encodeName(path).toStdString(), maxFileBytes);
    if (bytes.ok())
        return QByteArray::fromStdString(bytes.value());
    return broken(QStringLiteral("configuration file \"%1\": %2").arg(path, bytes.message()));
}

/// What a configuration file would be with other values for some keys, where it is usable then.
struct ChangedFile
{
    QByteArray text;
    Settings settings;
};

Result<ChangedFile> withSettings(const QString& path, const SettingValues& values)
{
    for (const auto& [key, value] : values)
        if (findSettingRule(key) == nullptr)
            return unknownKey(ErrorCode::InvalidArgument, key);
    const auto before = readText(path);
    if (!before.ok())
        return before.status();
    auto document = IniDocument::parse(before.value());
    if (!document.ok())
        return parseSettings(before.value(), path).status();

    QStringList keys;
    for (const auto& [key, value] : values) {
        document->setValue(key, value);
        keys << key;
    }
    const QByteArray after = document->toBytes();
    const auto settings = parseSettings(after, path);
    if (settings.ok())
        return ChangedFile{after, settings.value()};
    const bool wasBroken = !parseSettings(before.value(), path).ok();
    return Status(
        wasBroken ? ErrorCode::Configuration : ErrorCode::InvalidArgument,
        QStringLiteral("%1 is not changed: %2").arg(keys.join(QStringLiteral(", ")), settings.message()));
}

bool showsPassword(const Settings& settings)
{
    const auto& rules = settingRules();
    return std::any_of(rules.cbegin(), rules.cend(), [&settings](const SettingRule& rule) {
        return rule.mayHoldPassword() && holdsPassword(rule.show(settings));
    });
}

bool othersMayRead(const QString& path)
{
    const auto info = fileInfo(QFile::encodeName(path).toStdString(), LastLink::ItsTarget);
    return info.ok() && info->othersMayRead();
}

} // namespace

bool DatabaseSettings::operator==(const DatabaseSettings& other) const
{
    const auto fields = [](const DatabaseSettings& s) {
        return std::tie(s.driver, s.file, s.host, s.port, s.name, s.user, s.passwordFile,
                        s.connectTimeoutSeconds, s.readTimeoutSeconds, s.writeTimeoutSeconds, s.busyTimeoutMs,
                        s.tlsCaFile, s.allowPlaintext, s.readOnly, s.onlyToRead);
    };
    return fields(*this) == fields(other);
}

bool DocumentStoreSettings::operator==(const DocumentStoreSettings& other) const
{
    const auto fields = [](const DocumentStoreSettings& s) {
        return std::tie(s.kind, s.root, s.uri, s.passwordFile, s.database, s.fileStore, s.allowPlaintext,
                        s.onlyToRead);
    };
    return fields(*this) == fields(other);
}

QString configurationPath(const QString& explicitPath)
{
    if (!explicitPath.isEmpty())
        return QFileInfo(explicitPath).absoluteFilePath();
    const QString named = qEnvironmentVariable("ZAV_CONFIG");
    if (!named.isEmpty())
        return QFileInfo(named).absoluteFilePath();
    const QStringList places = defaultConfigurationPaths();
    const auto there = std::find_if(places.cbegin(), places.cend(),
                                    [](const QString& place) { return QFileInfo::exists(place); });
    return there == places.cend() ? places.first() : *there;
}

QStringList defaultConfigurationPaths()
{
    return {inHome(QStandardPaths::GenericConfigLocation) + QStringLiteral("/zav.ini"),
            QStringLiteral("/etc/zav_import/zav.ini")};
}

QString defaultDataRoot()
{
    return inHome(QStandardPaths::GenericDataLocation);
}

Result<Settings> loadSettings(const QString& path)
{
    const auto bytes = readText(path);
    if (!bytes.ok())
        return bytes.status();
    auto settings = parseSettings(bytes.value(), path);
    // Also a comment or a line that cannot be used may hold one.
    const bool secret =
        holdsPassword(QString::fromUtf8(bytes.value())) || (settings.ok() && showsPassword(settings.value()));
    if (secret && othersMayRead(path))
        return broken(
            QStringLiteral("configuration file \"%1\" holds a password and other users may read it: "
                           "make it readable for its owner alone (chmod 600), or put the password "
                           "into the file that document_store/password_file names")
                .arg(path));
    return settings;
}

Status createDefaultSettings(const QString& path, const QString& dataRoot)
{
    const QString root =
        dataRoot.isEmpty() ? defaultDataRoot() : QDir::cleanPath(QFileInfo(dataRoot).absoluteFilePath());
    const QByteArray text = freshText(root, loginName());
    const auto settings = parseSettings(text, path);
    if (!settings.ok())
        return Status::invalidArgument(settings.message());
    const auto folder = makePrivateFolder(QFileInfo(path).absolutePath());
    if (!folder.ok())
        return folder.status();
    return writePrivateFile(path, text, ExistingTarget::Keep);
}

Status makeFolders(const Settings& settings)
{
    for (const QString& folder : {settings.uploadCache, settings.downloadCache}) {
        const auto made = makePrivateFolder(folder);
        if (!made.ok())
            return made.status();
    }
    return {};
}

Result<QString> readSetting(const QString& path, const QString& key)
{
    const SettingRule* rule = findSettingRule(key);
    if (rule == nullptr)
        return unknownKey(ErrorCode::InvalidArgument, key);
    const auto settings = loadSettings(path);
    if (!settings.ok())
        return settings.status();
    return rule->show(settings.value());
}

Status writeSetting(const QString& path, const QString& key, const QString& value)
{
    return writeSettings(path, {{key, value}});
}

Status writeSettings(const QString& path, const SettingValues& values)
{
    const auto changed = withSettings(path, values);
    return changed.ok() ? writePrivateFile(path, changed->text, ExistingTarget::Replace) : changed.status();
}

Result<Settings> settingsWith(const QString& path, const SettingValues& values)
{
    const auto changed = withSettings(path, values);
    return changed.ok() ? Result(changed->settings) : changed.status();
}

Status checkSetting(const QString& key, const QString& value)
{
    const SettingRule* rule = findSettingRule(key);
    if (rule == nullptr)
        return unknownKey(ErrorCode::InvalidArgument, key);
    Settings settings;
    const QString problem = problemOf(*rule, value, QDir::root(), settings);
    if (problem.isEmpty())
        return {};
    return Status::invalidArgument(
        QStringLiteral("%1 %2; accepted is %3").arg(key, problem, rule->accepted()));
}

Status writeSiteId(const QString& path, const QString& identity)
{
    const auto changed = withSettings(path, {{QStringLiteral("site/id"), identity}});
    return changed.ok() ? replaceOwnFile(path, changed->text) : changed.status();
}

} // namespace KOZAV::Backend
