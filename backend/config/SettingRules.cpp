#include "backend/config/SettingRules.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace KOZAV::Backend {

namespace {

constexpr int maxPort = 65535;
constexpr int maxSeconds = 3600;
constexpr int maxBusyMs = 600000;
constexpr int maxLocationName = 120;

bool always(const Settings& /*settings*/)
{
    return true;
}

bool never(const Settings& /*settings*/)
{
    return false;
}

bool withSqlite(const Settings& settings)
{
    return settings.database.driver == QLatin1String("QSQLITE");
}

bool withServer(const Settings& settings)
{
    return settings.database.driver == QLatin1String("QMYSQL");
}

bool withLocalStore(const Settings& settings)
{
    return settings.documentStore.kind == QLatin1String("local");
}

bool withMongoDb(const Settings& settings)
{
    return settings.documentStore.kind == QLatin1String("mongodb");
}

bool hasNoSpace(const QString& value)
{
    return std::none_of(value.cbegin(), value.cend(), [](QChar c) { return c.isSpace(); });
}

/// Names that a store makes folders or collections of.
bool isLocationName(const QString& value)
{
    return value != QLatin1String(".") && value != QLatin1String("..") && value.size() <= maxLocationName &&
           !value.contains(QLatin1Char('/')) && !value.contains(QLatin1Char('\\'));
}

bool isMongoUri(const QString& value)
{
    return hasNoSpace(value) && (value.startsWith(QLatin1String("mongodb://")) ||
                                 value.startsWith(QLatin1String("mongodb+srv://")));
}

bool anyText(const QString& /*value*/)
{
    return true;
}

using Required = bool (*)(const Settings&);
using Text = QString& (*)(Settings&);
using Number = int& (*)(Settings&);
using Flag = bool& (*)(Settings&);
using Check = std::function<bool(const QString&)>;

SettingRule text(SettingKey name, Required required, Text field, Check check = anyText)
{
    return {name, required,
            [field, check = std::move(check)](Settings& settings, const QString& value, const QDir&) {
                if (check(value))
                    field(settings) = value;
                return check(value);
            },
            [field](Settings settings) { return field(settings); }};
}

SettingRule choice(SettingKey name, Text field, const QStringList& values)
{
    return text(name, never, field, [values](const QString& value) { return values.contains(value); });
}

SettingRule path(SettingKey name, Required required, Text field)
{
    return {name, required,
            [field](Settings& settings, const QString& value, const QDir& folder) {
                field(settings) = QDir::cleanPath(folder.absoluteFilePath(value));
                return true;
            },
            [field](Settings settings) { return field(settings); }};
}

/// Names of files are appended to such a path as it stands.
SettingRule prefix(SettingKey name, Text field)
{
    SettingRule rule = path(name, always, field);
    rule.take = [field, take = rule.take](Settings& settings, const QString& value, const QDir& folder) {
        take(settings, value, folder);
        if (!field(settings).endsWith(QLatin1Char('/')))
            field(settings) += QLatin1Char('/');
        return true;
    };
    return rule;
}

SettingRule number(SettingKey name, Required required, Number field, int min, int max)
{
    return {name, required,
            [field, min, max](Settings& settings, const QString& value, const QDir&) {
                bool ok = false;
                const int parsed = value.toInt(&ok);
                ok = ok && parsed >= min && parsed <= max;
                if (ok)
                    field(settings) = parsed;
                return ok;
            },
            [field](Settings settings) { return QString::number(field(settings)); }};
}

SettingRule flag(SettingKey name, Flag field)
{
    return {name, never,
            [field](Settings& settings, const QString& value, const QDir&) {
                const bool yes = value == QLatin1String("true") || value == QLatin1String("1");
                const bool no = value == QLatin1String("false") || value == QLatin1String("0");
                if (yes || no)
                    field(settings) = yes;
                return yes || no;
            },
            [field](Settings settings) {
                return field(settings) ? QStringLiteral("true") : QStringLiteral("false");
            }};
}

// The fields behind the keys.
template <auto Member>
auto& field(Settings& settings)
{
    return settings.*Member;
}

template <auto Member>
auto& database(Settings& settings)
{
    return settings.database.*Member;
}

template <auto Member>
auto& store(Settings& settings)
{
    return settings.documentStore.*Member;
}

std::vector<SettingRule> databaseRules()
{
    using D = DatabaseSettings;
    return {
        choice({"database/driver", "QSQLITE or QMYSQL"}, database<&D::driver>,
               {QStringLiteral("QSQLITE"), QStringLiteral("QMYSQL")}),
        path({"database/file", "the path of the SQLite database; needed with the driver QSQLITE"}, withSqlite,
             database<&D::file>),
        text({"database/host",
              "the name or address of the server, without blanks; needed with the driver QMYSQL"},
             withServer, database<&D::host>, hasNoSpace),
        number({"database/port", "a number from 1 to 65535"}, never, database<&D::port>, 1, maxPort),
        text({"database/name", "the name of the database on the server; needed with the driver QMYSQL"},
             withServer, database<&D::name>),
        text({"database/user", "the account on the server; needed with the driver QMYSQL"}, withServer,
             database<&D::user>),
        path({"database/password_file", "the path of a file whose first line is the password"}, never,
             database<&D::passwordFile>),
        number({"database/connect_timeout", "seconds, a number from 1 to 3600"}, never,
               database<&D::connectTimeoutSeconds>, 1, maxSeconds),
        number({"database/read_timeout", "seconds, a number from 1 to 3600"}, never,
               database<&D::readTimeoutSeconds>, 1, maxSeconds),
        number({"database/write_timeout", "seconds, a number from 1 to 3600"}, never,
               database<&D::writeTimeoutSeconds>, 1, maxSeconds),
        number({"database/busy_timeout", "milliseconds, a number from 0 to 600000"}, never,
               database<&D::busyTimeoutMs>, 0, maxBusyMs),
        path({"database/tls_ca", "the path of the certificate of the authority that signed the server's"},
             never, database<&D::tlsCaFile>),
        flag({"database/allow_plaintext", "true or false"}, database<&D::allowPlaintext>),
    };
}

std::vector<SettingRule> storeRules()
{
    using S = DocumentStoreSettings;
    return {
        choice({"document_store/kind", "local or mongodb"}, store<&S::kind>,
               {QStringLiteral("local"), QStringLiteral("mongodb")}),
        path({"document_store/root", "the path of the store's folder; needed with the kind local"},
             withLocalStore, store<&S::root>),
        text({"document_store/uri", "a URI that begins with mongodb:// or mongodb+srv://, without blanks; "
                                    "needed with the kind mongodb"},
             withMongoDb, store<&S::uri>, isMongoUri),
        path({"document_store/password_file",
              "the path of a file whose first line is the password of the URI's user"},
             never, store<&S::passwordFile>),
        text({"document_store/database", "a name of at most 120 characters, without / and \\, not . or .."},
             always, store<&S::database>, isLocationName),
        text({"document_store/file_store", "a name of at most 120 characters, without / and \\, not . or .."},
             always, store<&S::fileStore>, isLocationName),
        flag({"document_store/allow_plaintext", "true or false"}, store<&S::allowPlaintext>),
    };
}

std::vector<SettingRule> otherRules()
{
    using S = Settings;
    return {
        prefix({"cache/upload", "the path of the folder that imports are staged in"}, field<&S::uploadCache>),
        prefix({"cache/download", "the path of the folder that receives fetched files"},
               field<&S::downloadCache>),
        text({"robot/host", "the address or name of the CAM robot server, without blanks"}, always,
             field<&S::robotHost>, hasNoSpace),
        number({"robot/port", "a number from 1 to 65535"}, always, field<&S::robotPort>, 1, maxPort),
        number({"user/id", "a number from 0 to 2147483647"}, always, field<&S::userId>, 0,
               std::numeric_limits<int>::max()),
        text({"user/name", "the operator's name as it is shown"}, always, field<&S::userName>),
        text({"user/login", "the name that the operator logs in with"}, never, field<&S::userLogin>),
    };
}

} // namespace

const std::vector<SettingRule>& settingRules()
{
    static const std::vector<SettingRule> rules = [] {
        std::vector<SettingRule> all = databaseRules();
        for (const auto& part : {storeRules(), otherRules()})
            all.insert(all.end(), part.cbegin(), part.cend());
        return all;
    }();
    return rules;
}

} // namespace KOZAV::Backend
