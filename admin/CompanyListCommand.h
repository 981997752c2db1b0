#pragma once

#include "admin/Command.h"

namespace KOZAV::Admin {

/// Lists the customer companies.
class CompanyListCommand final : public Command
{
public:
    [[nodiscard]] QString verb() const override { return QStringLiteral("company list"); }
    [[nodiscard]] QString summary() const override;
    Backend::Result<Report> run(const CommandLine& line, Workplace& workplace) const override;
};

} // namespace KOZAV::Admin
