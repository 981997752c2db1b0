#pragma once

#include "admin/Command.h"

namespace KOZAV::Admin {

/// Adds a customer company.
class CompanyAddCommand final : public Command
{
public:
    [[nodiscard]] QString verb() const override { return QStringLiteral("company add"); }
    [[nodiscard]] QString summary() const override;
    [[nodiscard]] std::vector<CommandOption> options() const override;
    Backend::Result<Report> run(const CommandLine& line, Workplace& workplace) const override;
};

} // namespace KOZAV::Admin
