#pragma once

#include "admin/CommandLine.h"
#include "backend/SiteCreation.h"
#include "backend/Status.h"

#include <vector>

namespace KOZAV::Admin {

// The options of "init" that name the servers of a new site. What an option takes, and which of them go
// together, the rule of its configuration key says.

/// The options, in the order of the help.
std::vector<CommandOption> serverOptions();

/// What these options say, as the configuration holds it: paths absolute, and driver or kind of the servers
/// named. InvalidArgument where one is missing that another one needs, where one is empty, or where one holds
/// a password: what stands on a command line can be read by others.
Backend::Result<Backend::SettingValues> serverSettings(const CommandLine& line);

/// InvalidArgument where a value from the command line holds a password; name is what it was given for.
Backend::Status refusePassword(const QString& name, const QString& value);

} // namespace KOZAV::Admin
