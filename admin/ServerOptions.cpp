#include "admin/ServerOptions.h"

#include "backend/config/Redaction.h"

#include <QDir>
#include <QFileInfo>

namespace KOZAV::Admin {

using namespace Backend;

namespace {

struct ServerOption
{
    const char* name;
    const char* valueName;
    const char* key;
    bool isPath;
    const char* help;
};

constexpr const char* host = "database-host";
constexpr const char* uri = "mongodb-uri";
constexpr const char* allowPlaintext = "allow-plaintext";

constexpr ServerOption databaseOptions[] = {
    {host, "HOST", "database/host", false, "MariaDB or MySQL server for the rows of a new site"},
    {"database-port", "PORT", "database/port", false, "its port; otherwise 3306"},
    {"database-name", "NAME", "database/name", false, "the database on it, made where it is missing"},
    {"database-user", "USER", "database/user", false, "the account on it"},
    {"database-password-file", "FILE", "database/password_file", true,
     "file whose first line is the account's password"},
    {"database-tls-ca", "FILE", "database/tls_ca", true,
     "certificate of the authority that signed the server's"},
};

constexpr ServerOption storeOptions[] = {
    {uri, "URI", "document_store/uri", false,
     "MongoDB server for the stored files of a new site, without a password"},
    {"mongodb-password-file", "FILE", "document_store/password_file", true,
     "file whose first line is the password of the URI's user"},
};

Status misused(const QString& message)
{
    return Status::invalidArgument(message);
}

QString optionText(const char* name)
{
    return QStringLiteral("--") + QLatin1String(name);
}

bool has(const CommandLine& line, const char* name)
{
    return line.has(QLatin1String(name));
}

/// What a path on the command line is relative to is not what one in the file is relative to.
QString settingOf(const ServerOption& option, const QString& value)
{
    return option.isPath ? QDir::cleanPath(QFileInfo(value).absoluteFilePath()) : value;
}

template <std::size_t Count>
Status take(const CommandLine& line, const ServerOption (&options)[Count], SettingValues& values)
{
    const char* leader = options[0].name;
    for (const ServerOption& option : options) {
        const std::optional<QString> value = line.value(QLatin1String(option.name));
        if (!value)
            continue;
        if (!has(line, leader))
            return misused(QStringLiteral("%1 needs %2").arg(optionText(option.name), optionText(leader)));
        if (value->isEmpty())
            return misused(QStringLiteral("%1 is empty").arg(optionText(option.name)));
        values.emplace_back(QLatin1String(option.key), settingOf(option, *value));
    }
    return {};
}

Status requireWithHost(const CommandLine& line)
{
    for (const char* needed : {"database-name", "database-user"})
        if (has(line, host) && !has(line, needed))
            return misused(QStringLiteral("%1 needs %2").arg(optionText(host), optionText(needed)));
    if (has(line, allowPlaintext) && !has(line, host) && !has(line, uri))
        return misused(QStringLiteral("%1 needs %2 or %3")
                           .arg(optionText(allowPlaintext), optionText(host), optionText(uri)));
    return {};
}

Status refusePassword(const CommandLine& line)
{
    if (!holdsPassword(line.options.value(QLatin1String(uri))))
        return {};
    return misused(
        QStringLiteral("--mongodb-uri holds a password, and a command line can be read by others: put the "
                       "password into a file of its own, which document_store/password_file names "
                       "(--mongodb-password-file FILE), and leave it out of the URI"));
}

} // namespace

std::vector<CommandOption> serverOptions()
{
    std::vector<CommandOption> all;
    const auto add = [&all](const ServerOption& option) {
        all.push_back(
            {QLatin1String(option.name), QLatin1String(option.valueName), QLatin1String(option.help)});
    };
    for (const ServerOption& option : databaseOptions)
        add(option);
    for (const ServerOption& option : storeOptions)
        add(option);
    all.push_back({QLatin1String(allowPlaintext),
                   {},
                   QStringLiteral("let credentials go over a connection that is not encrypted")});
    return all;
}

Result<SettingValues> serverSettings(const CommandLine& line)
{
    SettingValues values;
    for (const Status& status : {refusePassword(line), requireWithHost(line),
                                 take(line, databaseOptions, values), take(line, storeOptions, values)})
        if (!status.ok())
            return status;
    // Driver and kind come last: a file that names them needs all the rest.
    const bool plaintext = has(line, allowPlaintext);
    const QString yes = QStringLiteral("true");
    if (has(line, host) && plaintext)
        values.emplace_back(QStringLiteral("database/allow_plaintext"), yes);
    if (has(line, uri) && plaintext)
        values.emplace_back(QStringLiteral("document_store/allow_plaintext"), yes);
    if (has(line, host))
        values.emplace_back(QStringLiteral("database/driver"), QStringLiteral("QMYSQL"));
    if (has(line, uri))
        values.emplace_back(QStringLiteral("document_store/kind"), QStringLiteral("mongodb"));
    return values;
}

} // namespace KOZAV::Admin
