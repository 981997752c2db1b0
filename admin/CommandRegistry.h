#pragma once

#include "admin/Command.h"

#include <memory>
#include <vector>

namespace KOZAV::Admin {

/// All verbs, in the order of the help.
const std::vector<std::unique_ptr<Command>>& commands();

/// The options that every verb takes.
const std::vector<CommandOption>& commonOptions();

/// Finds the command whose verb the words begin with and takes the verb off them; none where there is no such
/// verb.
const Command* takeCommand(QStringList& words);

} // namespace KOZAV::Admin
