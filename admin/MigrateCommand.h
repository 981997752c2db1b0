#pragma once

#include "admin/Command.h"

namespace KOZAV::Admin {

/// Copies the whole site to another one, on whatever engines both are.
class MigrateCommand final : public Command
{
public:
    [[nodiscard]] QString verb() const override { return QStringLiteral("migrate"); }
    [[nodiscard]] QString summary() const override;
    [[nodiscard]] std::vector<CommandOption> options() const override;
    Backend::Result<Report> run(const CommandLine& line, Workplace& workplace) const override;
};

} // namespace KOZAV::Admin
