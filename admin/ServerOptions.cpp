#include "admin/ServerOptions.h"

#include "backend/config/Redaction.h"
#include "backend/config/SettingRules.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace KOZAV::Admin {

using namespace Backend;

namespace {

struct ServerOption
{
    const char* name;
    const char* valueName;
    const char* key;
};

/// The options of one server; the first is the one that the others belong to.
struct Server
{
    const char* plaintextKey;
    std::vector<ServerOption> options;
};

constexpr const char* allowPlaintext = "allow-plaintext";

const std::vector<Server>& servers()
{
    static const std::vector<Server> all = {
        {"database/allow_plaintext",
         {{"database-host", "HOST", "database/host"},
          {"database-port", "PORT", "database/port"},
          {"database-name", "NAME", "database/name"},
          {"database-user", "USER", "database/user"},
          {"database-password-file", "FILE", "database/password_file"},
          {"database-tls-ca", "FILE", "database/tls_ca"}}},
        {"document_store/allow_plaintext",
         {{"mongodb-uri", "URI", "document_store/uri"},
          {"mongodb-password-file", "FILE", "document_store/password_file"}}},
    };
    return all;
}

const SettingRule& ruleOf(const ServerOption& option)
{
    return *findSettingRule(QLatin1String(option.key));
}

QString helpOf(const ServerOption& option)
{
    const SettingRule& rule = ruleOf(option);
    const QString help = QLatin1String(rule.meaning);
    return rule.defaultValue().isEmpty() ? help : help + QStringLiteral("; otherwise ") + rule.defaultValue();
}

QString dashed(const char* name)
{
    return QStringLiteral("--") + QLatin1String(name);
}

CommandOption commandOption(const ServerOption& option)
{
    CommandOption made{QLatin1String(option.name), QLatin1String(option.valueName), helpOf(option)};
    made.kind = ruleOf(option).isPath() ? Terminal::ValueKind::File : Terminal::ValueKind::Text;
    return made;
}

bool has(const CommandLine& line, const char* name)
{
    return line.has(QLatin1String(name));
}

/// What a path on the command line is relative to is not what one in the file is relative to.
QString settingOf(const SettingRule& rule, const QString& value)
{
    return rule.isPath() ? QDir::cleanPath(QFileInfo(value).absoluteFilePath()) : value;
}

/// The options that were given belong to a server that was named, and all are there that it needs.
Status checkServer(const CommandLine& line, const Server& server)
{
    const ServerOption& leader = server.options.front();
    const bool named = has(line, leader.name);
    for (const ServerOption& option : server.options) {
        const bool given = has(line, option.name);
        if (given && !named)
            return Status::invalidArgument(
                QStringLiteral("%1 needs %2").arg(dashed(option.name), dashed(leader.name)));
        if (!given && named && ruleOf(option).need.choice != nullptr)
            return Status::invalidArgument(
                QStringLiteral("%1 needs %2").arg(dashed(leader.name), dashed(option.name)));
    }
    return {};
}

Status takeServer(const CommandLine& line, const Server& server, SettingValues& values)
{
    for (const ServerOption& option : server.options) {
        const std::optional<QString> value = line.value(QLatin1String(option.name));
        if (!value)
            continue;
        if (value->isEmpty())
            return Status::invalidArgument(QStringLiteral("%1 is empty").arg(dashed(option.name)));
        if (auto refused = refusePassword(dashed(option.name), *value); !refused.ok())
            return refused;
        values.emplace_back(QLatin1String(option.key), settingOf(ruleOf(option), *value));
    }
    return {};
}

bool namesServer(const CommandLine& line, const Server& server)
{
    return has(line, server.options.front().name);
}

Status checkPlaintext(const CommandLine& line)
{
    const auto named = [&line](const Server& server) { return namesServer(line, server); };
    if (!has(line, allowPlaintext) || std::any_of(servers().cbegin(), servers().cend(), named))
        return {};
    QStringList leaders;
    for (const Server& server : servers())
        leaders << dashed(server.options.front().name);
    return Status::invalidArgument(
        QStringLiteral("%1 needs %2").arg(dashed(allowPlaintext), leaders.join(QStringLiteral(" or "))));
}

} // namespace

Status refusePassword(const QString& name, const QString& value)
{
    if (!holdsPassword(value))
        return {};
    return Status::invalidArgument(
        QStringLiteral("%1 holds a password, and a command line can be read by others: put the "
                       "password into a file of its own, which document_store/password_file names "
                       "(--mongodb-password-file FILE), and leave it out of the URI")
            .arg(name));
}

std::vector<CommandOption> serverOptions()
{
    std::vector<CommandOption> all;
    for (const Server& server : servers())
        for (const ServerOption& option : server.options)
            all.push_back(commandOption(option));
    all.push_back({QLatin1String(allowPlaintext),
                   {},
                   QStringLiteral("let credentials go over a connection that is not encrypted")});
    return all;
}

Result<SettingValues> serverSettings(const CommandLine& line)
{
    if (const auto checked = checkPlaintext(line); !checked.ok())
        return checked;
    SettingValues values;
    for (const Server& server : servers()) {
        if (const auto checked = checkServer(line, server); !checked.ok())
            return checked;
        if (const auto taken = takeServer(line, server, values); !taken.ok())
            return taken;
    }
    for (const Server& server : servers())
        if (namesServer(line, server) && has(line, allowPlaintext))
            values.emplace_back(QLatin1String(server.plaintextKey), QStringLiteral("true"));
    // Driver and kind come last: a file that names them needs all the rest.
    for (const Server& server : servers()) {
        const SettingNeed& need = ruleOf(server.options.front()).need;
        if (namesServer(line, server))
            values.emplace_back(QLatin1String(need.choice), QLatin1String(need.value));
    }
    return values;
}

} // namespace KOZAV::Admin
