#pragma once

#include "admin/CommandLine.h"
#include "backend/Status.h"

#include <QJsonObject>
#include <QString>

#include <vector>

namespace KOZAV::Admin {

class Workplace;

/// What a command has to say, in both forms.
struct Report
{
    QJsonObject json;
    QString text; ///< lines, each ended; names in it are printable
    /// A failure that the report tells of: it is shown all the same, and the exit code is that of the
    /// failure.
    Backend::Status outcome = {};
};

/// A word that a command takes behind its verb.
struct Operand
{
    QString name;
    bool required = true;
};

/// One verb of zav_admin.
class Command
{
public:
    Command() = default;
    virtual ~Command();
    Q_DISABLE_COPY(Command)

    /// One or two words, such as "jobs" or "company add".
    [[nodiscard]] virtual QString verb() const = 0;
    [[nodiscard]] virtual QString summary() const = 0;
    /// Options of this verb. An option of the same name takes a value in all verbs or in none.
    [[nodiscard]] virtual std::vector<CommandOption> options() const { return {}; }
    [[nodiscard]] virtual std::vector<Operand> operands() const { return {}; }

    /// @param line  options that this verb has, required ones present; words are the operands
    virtual Backend::Result<Report> run(const CommandLine& line, Workplace& workplace) const = 0;
};

/// How the verb is called: "get JOB FILE [--force]".
QString usageOf(const Command& command);

} // namespace KOZAV::Admin
