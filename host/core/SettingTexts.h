#pragma once

#include <QString>

namespace KOZAV::Host {

/// What a key of the configuration means, in the language of the client; a text of ours that is not
/// translated stays English.
/// @param meaning  as SettingEntry has it
[[nodiscard]] QString settingMeaning(const QString& meaning);

/// Whether the catalogues have a place for that meaning.
[[nodiscard]] bool isTranslatable(const QString& meaning);

/// "seconds", "milliseconds", "days", in the language of the client.
[[nodiscard]] QString settingUnit(const QString& unit);

} // namespace KOZAV::Host
