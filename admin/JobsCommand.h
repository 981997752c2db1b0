#pragma once

#include "admin/Command.h"

namespace KOZAV::Admin {

/// Lists the imported jobs.
class JobsCommand final : public Command
{
public:
    [[nodiscard]] QString verb() const override { return QStringLiteral("jobs"); }
    [[nodiscard]] QString summary() const override;
    [[nodiscard]] std::vector<CommandOption> options() const override;
    Backend::Result<Report> run(const CommandLine& line, Workplace& workplace) const override;
};

} // namespace KOZAV::Admin
