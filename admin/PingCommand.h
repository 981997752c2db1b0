#pragma once

#include "admin/Command.h"

namespace KOZAV::Admin {

/// Looks whether rows and stored files of the site can be reached, and what they run on.
class PingCommand final : public Command
{
public:
    [[nodiscard]] QString verb() const override { return QStringLiteral("ping"); }
    [[nodiscard]] QString summary() const override;
    Backend::Result<Report> run(const CommandLine& line, Workplace& workplace) const override;
};

} // namespace KOZAV::Admin
