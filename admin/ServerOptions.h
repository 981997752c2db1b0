#pragma once

#include "admin/CommandLine.h"
#include "backend/Status.h"

#include <QString>

#include <utility>
#include <vector>

namespace KOZAV::Admin {

/// Keys and values of a configuration, in an order in which they can be written one by one.
using SettingValues = std::vector<std::pair<QString, QString>>;

/// The options that name the servers of a new site.
std::vector<CommandOption> serverOptions();

/// What these options say, as the configuration holds it. InvalidArgument where one is missing that another
/// one needs, or where one holds a password: what stands on a command line can be read by others.
Backend::Result<SettingValues> serverSettings(const CommandLine& line);

} // namespace KOZAV::Admin
