#include "admin/CommandRegistry.h"

#include "admin/CompanyAddCommand.h"
#include "admin/CompanyListCommand.h"
#include "admin/CompanyRenameCommand.h"
#include "admin/ConfigGetCommand.h"
#include "admin/ConfigSetCommand.h"
#include "admin/GetCommand.h"
#include "admin/InitCommand.h"
#include "admin/JobsCommand.h"
#include "admin/MigrateCommand.h"
#include "admin/PingCommand.h"

namespace KOZAV::Admin {

namespace {

std::vector<std::unique_ptr<Command>> makeCommands()
{
    std::vector<std::unique_ptr<Command>> all;
    all.push_back(std::make_unique<InitCommand>());
    all.push_back(std::make_unique<PingCommand>());
    all.push_back(std::make_unique<CompanyAddCommand>());
    all.push_back(std::make_unique<CompanyListCommand>());
    all.push_back(std::make_unique<CompanyRenameCommand>());
    all.push_back(std::make_unique<JobsCommand>());
    all.push_back(std::make_unique<GetCommand>());
    all.push_back(std::make_unique<ConfigGetCommand>());
    all.push_back(std::make_unique<ConfigSetCommand>());
    all.push_back(std::make_unique<MigrateCommand>());
    return all;
}

} // namespace

const std::vector<std::unique_ptr<Command>>& commands()
{
    static const std::vector<std::unique_ptr<Command>> all = makeCommands();
    return all;
}

const std::vector<CommandOption>& commonOptions()
{
    static const std::vector<CommandOption> options = {
        {QStringLiteral("config"), QStringLiteral("FILE"),
         QStringLiteral("configuration file; otherwise $ZAV_CONFIG, otherwise the one in the user's folder")},
        {QStringLiteral("json"), {}, QStringLiteral("one JSON document instead of text")},
        {QStringLiteral("help"), {}, QStringLiteral("show this help, or the help of a verb")},
        {QStringLiteral("version"), {}, QStringLiteral("show the version")},
    };
    return options;
}

const Command* takeCommand(QStringList& words)
{
    for (const auto& command : commands()) {
        const QStringList verb = command->verb().split(QLatin1Char(' '));
        if (words.mid(0, verb.size()) == verb) {
            words = words.mid(verb.size());
            return command.get();
        }
    }
    return nullptr;
}

} // namespace KOZAV::Admin
