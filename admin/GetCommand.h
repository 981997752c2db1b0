#pragma once

#include "admin/Command.h"

namespace KOZAV::Admin {

/// Fetches the stored file of a job.
class GetCommand final : public Command
{
public:
    [[nodiscard]] QString verb() const override { return QStringLiteral("get"); }
    [[nodiscard]] QString summary() const override;
    [[nodiscard]] std::vector<CommandOption> options() const override;
    [[nodiscard]] std::vector<Operand> operands() const override;
    Backend::Result<Report> run(const CommandLine& line, Workplace& workplace) const override;
};

} // namespace KOZAV::Admin
