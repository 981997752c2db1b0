#pragma once

#include "backend/config/Settings.h"

#include <QDir>
#include <QStringList>

#include <variant>
#include <vector>

namespace KOZAV::Backend {

/// What kind of value a key takes.
enum class SettingType {
    Choice,       ///< one of a few words
    Text,         ///< any text
    Word,         ///< a text without blanks
    Guid,         ///< lower-case hexadecimal, with hyphens and without braces
    LocationName, ///< a name that a store makes folders or collections of
    Uri,          ///< of MongoDB; may hold a password
    Path,         ///< made absolute
    Folder,       ///< a path to which names of files are appended as it stands: made to end in a separator
    Number,
    Flag
};

/// When a key must be there. Without a key of its own it says: always, or never.
struct SettingNeed
{
    bool always = false;
    const char* choice = nullptr; ///< the key that decides ...
    const char* value = nullptr;  ///< ... and its value with which the rule's key is needed
};

/// The line of a key in a new configuration file.
struct FreshLine
{
    const char* value = nullptr; ///< may begin with ${data} or be ${login}; without one it is the default
    bool inForce = false;        ///< otherwise it is a comment that proposes the value
};

struct SettingRange
{
    int smallest = 0;
    int largest = 0;
    const char* unit = nullptr;
};

/// Finds the field of the settings that a key stands for.
template <typename T>
struct SettingField
{
    T* (*in)(Settings& settings);
    const T* (*of)(const Settings& settings);
};

/// All that is known of one key of the configuration file. What is read, checked, written, shown and
/// documented of a key comes from its rule; only the default stands elsewhere, as the initial value of the
/// field.
struct SettingRule
{
    const char* key; ///< "section/key"
    SettingType type;
    const char* meaning; ///< what the value is: "the port of the server"
    std::variant<SettingField<QString>, SettingField<int>, SettingField<bool>> field;
    SettingNeed need = {};
    FreshLine fresh = {};
    QStringList choices = {};
    SettingRange range = {};

    /// What the type takes, in words: "a number from 1 to 65535".
    [[nodiscard]] QString form() const;
    /// What is accepted, in words for messages: the form, or the meaning where that says more, and when it is
    /// needed.
    [[nodiscard]] QString accepted() const;
    /// What the value is and when it is needed, as a sentence.
    [[nodiscard]] QString sentence() const;
    /// What is in force where the key is absent; empty where that is nothing.
    [[nodiscard]] QString defaultValue() const;

    [[nodiscard]] bool isPath() const { return type == SettingType::Path || type == SettingType::Folder; }
    [[nodiscard]] bool mayHoldPassword() const { return type == SettingType::Uri; }
    /// Whether the key must be there in a file that makes these settings.
    [[nodiscard]] bool isNeeded(const Settings& settings) const;

    /// Takes the value over; false, with the settings unchanged, where it is not accepted.
    /// @param folder  what relative paths are relative to
    bool take(Settings& settings, const QString& value, const QDir& folder) const;
    /// The value that the settings hold, as take() would read it.
    [[nodiscard]] QString show(const Settings& settings) const;
};

/// One rule a key, in the order of the file.
const std::vector<SettingRule>& settingRules();

/// The rule of "section/key"; none where that is no key.
const SettingRule* findSettingRule(const QString& key);

} // namespace KOZAV::Backend
