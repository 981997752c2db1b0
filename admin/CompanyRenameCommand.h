#pragma once

#include "admin/Command.h"

namespace KOZAV::Admin {

/// Gives a customer company another name.
class CompanyRenameCommand final : public Command
{
public:
    [[nodiscard]] QString verb() const override { return QStringLiteral("company rename"); }
    [[nodiscard]] QString summary() const override;
    [[nodiscard]] std::vector<CommandOption> options() const override;
    Backend::Result<Report> run(const CommandLine& line, Workplace& workplace) const override;
};

} // namespace KOZAV::Admin
