#pragma once

#include "backend/config/Settings.h"

#include <QDir>

#include <functional>
#include <vector>

namespace KOZAV::Backend {

/// What the configuration file may say under one key, and where in the settings it goes.
struct SettingRule
{
    SettingKey name;
    /// Whether the key must be there, given the settings that the file makes.
    bool (*required)(const Settings& settings);
    /// Takes the value over; false, with the settings unchanged, where it is not accepted.
    /// @param folder  what relative paths are relative to
    std::function<bool(Settings& settings, const QString& value, const QDir& folder)> take;
    std::function<QString(const Settings& settings)> show;
};

/// One rule a key, in the order of the file.
const std::vector<SettingRule>& settingRules();

} // namespace KOZAV::Backend
