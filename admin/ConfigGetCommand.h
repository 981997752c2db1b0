#pragma once

#include "admin/Command.h"

namespace KOZAV::Admin {

/// Shows what the configuration says.
class ConfigGetCommand final : public Command
{
public:
    [[nodiscard]] QString verb() const override { return QStringLiteral("config get"); }
    [[nodiscard]] QString summary() const override;
    [[nodiscard]] std::vector<Operand> operands() const override;
    Backend::Result<Report> run(const CommandLine& line, Workplace& workplace) const override;
};

} // namespace KOZAV::Admin
