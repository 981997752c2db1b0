#pragma once

#include <QString>
#include <QStringList>

#include <optional>
#include <utility>
#include <vector>

namespace KOZAV::Backend {
struct Settings;
} // namespace KOZAV::Backend

namespace KOZAV::Host {

enum class SettingKind { Text, Number, Choice, Flag, File, Folder, Fixed };

/// One key of the configuration file, as a person sets it.
struct SettingEntry
{
    QString key; ///< "section/key"
    SettingKind kind = SettingKind::Text;
    QStringList choices; ///< of a Choice
    int smallest = 0;    ///< of a Number
    int largest = 0;
    QString unit;    ///< of a Number, in English; may be empty
    QString meaning; ///< what the value is, in English (SettingTexts translates it)
    QString value;   ///< in force; "***" stands for a password in it
    bool isNeeded = false;
};

/// Keys and their new values.
using SettingChanges = std::vector<std::pair<QString, QString>>;

// The configuration is that of the site that the services work on.

/// All keys in the order of the file; nothing, and the reason, where the file cannot be used.
[[nodiscard]] std::optional<std::vector<SettingEntry>> settingEntries(QString& failure);

/// What "zav_admin config set" would refuse of one value, whatever else the file says; empty where nothing.
[[nodiscard]] QString flawOfSetting(const QString& key, const QString& value);

/// What of the site these changes would have looked for elsewhere.
struct SettingsMove
{
    bool rows = false;
    bool files = false;
};
[[nodiscard]] SettingsMove moveBy(const SettingChanges& changes);

/// Writes all of the changes or none, as "zav_admin config set" does. @return why they were not written;
/// empty where they were
[[nodiscard]] QString writeChanges(const SettingChanges& changes);

/// What is to be known of the changes although they can be written; empty where nothing is.
[[nodiscard]] QString warningOf(const SettingChanges& changes);

/// What a look at one part of a site gave, in the words of "zav_admin ping".
struct ConnectionLook
{
    bool isReachable = false;
    bool isNew = false; ///< it answers, or there is room for it, but it is no site's yet
    QString service;    ///< "rows" or "files"
    QString text;       ///< what was found
};

/// Looks at rows and files as the configuration would name them with these changes. On any thread; as slow as
/// the time-outs allow.
[[nodiscard]] std::vector<ConnectionLook> lookWith(const SettingChanges& changes);

/// The same of settings that are in no file.
[[nodiscard]] std::vector<ConnectionLook> looksAt(const Backend::Settings& settings);

} // namespace KOZAV::Host
