#pragma once

#include "admin/Command.h"

namespace KOZAV::Admin {

/// Makes a site: configuration, database, document store and cache folders, whatever of it is missing.
class InitCommand final : public Command
{
public:
    [[nodiscard]] QString verb() const override { return QStringLiteral("init"); }
    [[nodiscard]] QString summary() const override;
    [[nodiscard]] std::vector<CommandOption> options() const override;
    Backend::Result<Report> run(const CommandLine& line, Workplace& workplace) const override;
};

} // namespace KOZAV::Admin
