#pragma once

#include "backend/Status.h"
#include "terminal/CommandDescription.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace KOZAV::Admin {

using Terminal::CommandOption;

/// A command line taken apart: options may stand before, between and behind the other words.
struct CommandLine
{
    QStringList words; ///< what is no option, in order
    QMap<QString, QString> options;

    [[nodiscard]] bool has(const QString& option) const { return options.contains(option); }
    [[nodiscard]] std::optional<QString> value(const QString& option) const;
};

/// Takes the arguments apart (without the program's name). "--name value" and "--name=value"; "--" ends the
/// options. InvalidArgument names what is wrong with an option.
/// @param known  each name once
Backend::Result<CommandLine> parseCommandLine(const QStringList& arguments,
                                              const std::vector<CommandOption>& known);

} // namespace KOZAV::Admin
