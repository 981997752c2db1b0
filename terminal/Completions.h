#pragma once

#include "terminal/CommandDescription.h"

#include <QByteArray>

namespace KOZAV::Terminal {

// What shells read to complete a command line: verbs, options of the verb that was typed, files, folders and
// choices. Nothing is run and nothing is opened for it. Each is UTF-8, the content of one file.

/// For bash with bash-completion, as completions/PROGRAM.
QByteArray bashCompletion(const CommandDescription& program);
/// For zsh, as _PROGRAM in a folder of fpath.
QByteArray zshCompletion(const CommandDescription& program);
/// For fish, as vendor_completions.d/PROGRAM.fish.
QByteArray fishCompletion(const CommandDescription& program);

} // namespace KOZAV::Terminal
