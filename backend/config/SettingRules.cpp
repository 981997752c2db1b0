#include "backend/config/SettingRules.h"

#include <QUuid>

#include <algorithm>
#include <limits>

namespace KOZAV::Backend {

namespace {

constexpr int maxPort = 65535;
constexpr int maxSeconds = 3600;
constexpr int maxCompanyWait = 86400;
constexpr int maxKeepDays = 36500;
constexpr int maxBusyMs = 600000;
constexpr int maxLocationName = 120;

template <typename Owner, typename T>
T memberType(T Owner::*member);

template <auto Member>
using FieldOf = SettingField<decltype(memberType(Member))>;

template <auto Member>
constexpr FieldOf<Member> database()
{
    return {[](Settings& settings) { return &(settings.database.*Member); },
            [](const Settings& settings) { return &(settings.database.*Member); }};
}

template <auto Member>
constexpr FieldOf<Member> store()
{
    return {[](Settings& settings) { return &(settings.documentStore.*Member); },
            [](const Settings& settings) { return &(settings.documentStore.*Member); }};
}

template <auto Member>
constexpr FieldOf<Member> other()
{
    return {[](Settings& settings) { return &(settings.*Member); },
            [](const Settings& settings) { return &(settings.*Member); }};
}

constexpr SettingNeed optional = {};
constexpr SettingNeed always = {true};
constexpr SettingNeed withSqlite = {false, "database/driver", "QSQLITE"};
constexpr SettingNeed withServer = {false, "database/driver", "QMYSQL"};
constexpr SettingNeed withLocalStore = {false, "document_store/kind", "local"};
constexpr SettingNeed withMongoDb = {false, "document_store/kind", "mongodb"};

constexpr FreshLine written(const char* value)
{
    return {value, true};
}

constexpr FreshLine proposed(const char* value)
{
    return {value, false};
}

constexpr FreshLine writtenDefault = {nullptr, true};
constexpr FreshLine proposedDefault = {nullptr, false};

SettingRule choice(const char* key, const char* meaning, SettingField<QString> field, const char* first,
                   const char* second)
{
    SettingRule rule{key, SettingType::Choice, meaning, field, optional, writtenDefault};
    rule.choices = QStringList{QString::fromLatin1(first), QString::fromLatin1(second)};
    return rule;
}

SettingRule number(const char* key, const char* meaning, SettingField<int> field, SettingRange range,
                   SettingNeed need = optional, FreshLine fresh = proposedDefault)
{
    SettingRule rule{key, SettingType::Number, meaning, field, need, fresh};
    rule.range = range;
    return rule;
}

std::vector<SettingRule> databaseRules()
{
    using D = DatabaseSettings;
    using Type = SettingType;
    return {
        choice(
            "database/driver",
            "the engine of the rows: QSQLITE, a file on this machine, or QMYSQL, a MariaDB or MySQL server",
            database<&D::driver>(), "QSQLITE", "QMYSQL"),
        {"database/file", Type::Path, "the path of the SQLite database", database<&D::file>(), withSqlite,
         written("${data}/site.db")},
        {"database/host", Type::Word, "the name or address of the MariaDB or MySQL server, without blanks",
         database<&D::host>(), withServer, proposed("127.0.0.1")},
        number("database/port", "the port of the server", database<&D::port>(), {1, maxPort}),
        {"database/name", Type::Text, "the name of the database on the server", database<&D::name>(),
         withServer, proposed("zav_import")},
        {"database/user", Type::Text, "the account on the server", database<&D::user>(), withServer,
         proposed("zav_import")},
        {"database/password_file", Type::Path, "the path of a file whose first line is the password",
         database<&D::passwordFile>(), optional, proposed("database.password")},
        number("database/connect_timeout", "the longest wait for a connection to the server",
               database<&D::connectTimeoutSeconds>(), {1, maxSeconds, "seconds"}),
        number("database/read_timeout", "the longest wait for an answer of the server",
               database<&D::readTimeoutSeconds>(), {1, maxSeconds, "seconds"}),
        number("database/write_timeout", "the longest wait for the server to take what is sent",
               database<&D::writeTimeoutSeconds>(), {1, maxSeconds, "seconds"}),
        number("database/busy_timeout", "the longest wait for another writer of the SQLite database",
               database<&D::busyTimeoutMs>(), {0, maxBusyMs, "milliseconds"}),
        {"database/tls_ca", Type::Path,
         "the path of the certificate of the authority that signed the server's", database<&D::tlsCaFile>(),
         optional, proposed("ca.pem")},
        {"database/allow_plaintext", Type::Flag,
         "whether a server on another machine, which otherwise needs tls_ca, may be spoken to without "
         "encryption",
         database<&D::allowPlaintext>(), optional, proposedDefault},
    };
}

std::vector<SettingRule> storeRules()
{
    using S = DocumentStoreSettings;
    using Type = SettingType;
    return {
        choice("document_store/kind",
               "the kind of the store: local, a folder, or mongodb, GridFS on a MongoDB server",
               store<&S::kind>(), "local", "mongodb"),
        {"document_store/root", Type::Path, "the path of the store's folder", store<&S::root>(),
         withLocalStore, written("${data}/store")},
        {"document_store/uri", Type::Uri, "the connection to the MongoDB server", store<&S::uri>(),
         withMongoDb, proposed("mongodb://127.0.0.1:27017/")},
        {"document_store/password_file", Type::Path,
         "the path of a file whose first line is the password of the URI's user", store<&S::passwordFile>(),
         optional, proposed("document-store.password")},
        {"document_store/database", Type::LocationName,
         "the first of the two names of where stored files lie, with either kind: mongoDbName",
         store<&S::database>(), always, written("zav_import")},
        {"document_store/file_store", Type::LocationName, "the second of these names: mongoFsName",
         store<&S::fileStore>(), always, written("odbpp")},
        {"document_store/allow_plaintext", Type::Flag,
         "whether a server on another machine, which otherwise needs TLS, may be spoken to without "
         "encryption",
         store<&S::allowPlaintext>(), optional, proposedDefault},
    };
}

std::vector<SettingRule> otherRules()
{
    using S = Settings;
    using Type = SettingType;
    return {
        {"cache/upload", Type::Folder, "the path of the folder that imports are staged in",
         other<&S::uploadCache>(), always, written("${data}/upload")},
        {"cache/download", Type::Folder, "the path of the folder that receives fetched files",
         other<&S::downloadCache>(), always, written("${data}/download")},
        number("import/patience",
               "how long a batch import waits for a server that does not answer, before it gives up",
               other<&S::importPatienceSeconds>(), {0, maxSeconds, "seconds"}),
        number("import/company_wait", "how long a batch import waits for a company that another import holds",
               other<&S::companyWaitSeconds>(), {0, maxCompanyWait, "seconds"}),
        number("history/keep_days", "how long the results of imports are kept with the site, or 0 for ever",
               other<&S::historyKeepDays>(), {0, maxKeepDays, "days"}),
        {"robot/host", Type::Word, "the address or name of the CAM robot server, without blanks",
         other<&S::robotHost>(), always, written("127.0.0.1")},
        number("robot/port", "the port of the CAM robot server", other<&S::robotPort>(), {1, maxPort}, always,
               written("9098")),
        number("user/id", "the number of the operator, which rows carry", other<&S::userId>(),
               {0, std::numeric_limits<int>::max()}, always, written("1")),
        {"user/name", Type::Text, "the operator's name as it is shown", other<&S::userName>(), always,
         written("${login}")},
        {"user/login", Type::Text, "the name that the operator logs in with", other<&S::userLogin>(),
         optional, written("${login}")},
        {"site/id", Type::Guid,
         "the identity of the site, written by zav_admin init; its database and its store have the same",
         other<&S::siteId>(), optional, proposed("00000000-0000-0000-0000-000000000000")},
        {"site/backup", Type::Text,
         "the moment of the rows, written by zav_admin backup: nothing is imported into a backup",
         other<&S::backupMoment>(), optional, proposed("2026-01-01T00:00:00.000Z")},
    };
}

bool hasNoSpace(const QString& value)
{
    return std::none_of(value.cbegin(), value.cend(), [](QChar c) { return c.isSpace(); });
}

bool isLocationName(const QString& value)
{
    return value != QLatin1String(".") && value != QLatin1String("..") && value.size() <= maxLocationName &&
           !value.contains(QLatin1Char('/')) && !value.contains(QLatin1Char('\\'));
}

bool isGuid(const QString& value)
{
    const QUuid guid = QUuid::fromString(value);
    return !guid.isNull() && guid.toString(QUuid::WithoutBraces) == value;
}

bool isMongoUri(const QString& value)
{
    return hasNoSpace(value) && (value.startsWith(QLatin1String("mongodb://")) ||
                                 value.startsWith(QLatin1String("mongodb+srv://")));
}

bool take(const SettingRange& range, const QString& value, int& field)
{
    bool ok = false;
    const int number = value.toInt(&ok);
    if (!ok || number < range.smallest || number > range.largest)
        return false;
    field = number;
    return true;
}

bool take(const QString& value, bool& field)
{
    const bool yes = value == QLatin1String("true") || value == QLatin1String("1");
    const bool no = value == QLatin1String("false") || value == QLatin1String("0");
    if (yes || no)
        field = yes;
    return yes || no;
}

bool isAcceptedText(const SettingRule& rule, const QString& value)
{
    switch (rule.type) {
    case SettingType::Choice:
        return rule.choices.contains(value);
    case SettingType::Word:
        return hasNoSpace(value);
    case SettingType::Guid:
        return isGuid(value);
    case SettingType::LocationName:
        return isLocationName(value);
    case SettingType::Uri:
        return isMongoUri(value);
    default:
        return true;
    }
}

QString takenText(const SettingRule& rule, const QString& value, const QDir& folder)
{
    if (!rule.isPath())
        return value;
    const QString path = QDir::cleanPath(folder.absoluteFilePath(value));
    const bool open = rule.type == SettingType::Folder && !path.endsWith(QLatin1Char('/'));
    return open ? path + QLatin1Char('/') : path;
}

/// "; needed with the driver QMYSQL", where a choice decides.
QString needText(const SettingNeed& need)
{
    if (need.choice == nullptr)
        return {};
    const QString choice = QString::fromLatin1(need.choice).section(QLatin1Char('/'), 1);
    return QStringLiteral("; needed with the %1 %2").arg(choice, QLatin1String(need.value));
}

} // namespace

QString SettingRule::form() const
{
    switch (type) {
    case SettingType::Choice:
        return choices.join(QStringLiteral(" or "));
    case SettingType::Text:
        return QStringLiteral("a text");
    case SettingType::Word:
        return QStringLiteral("a text without blanks");
    case SettingType::Guid:
        return QStringLiteral("a GUID in lower case, without braces");
    case SettingType::LocationName:
        return QStringLiteral("a name of at most %1 characters, without / and \\, not . or ..")
            .arg(maxLocationName);
    case SettingType::Uri:
        return QStringLiteral("a URI that begins with mongodb:// or mongodb+srv://, without blanks");
    case SettingType::Path:
    case SettingType::Folder:
        return QStringLiteral("a path");
    case SettingType::Number:
        return (range.unit != nullptr ? QLatin1String(range.unit) + QStringLiteral(", ") : QString()) +
               QStringLiteral("a number from %1 to %2").arg(range.smallest).arg(range.largest);
    case SettingType::Flag:
        break;
    }
    return QStringLiteral("true or false");
}

QString SettingRule::accepted() const
{
    const bool meaningSaysMore = type == SettingType::Text || type == SettingType::Word || isPath();
    return (meaningSaysMore ? QString::fromLatin1(meaning) : form()) + needText(need);
}

QString SettingRule::sentence() const
{
    const QString unit =
        range.unit == nullptr ? QString() : QStringLiteral(", in ") + QLatin1String(range.unit);
    QString text = QLatin1String(meaning) + unit + needText(need) + QLatin1Char('.');
    text[0] = text.at(0).toUpper();
    return text;
}

QString SettingRule::defaultValue() const
{
    return need.always ? QString() : show(Settings());
}

bool SettingRule::isNeeded(const Settings& settings) const
{
    if (need.choice == nullptr)
        return need.always;
    const SettingRule* choice = findSettingRule(QLatin1String(need.choice));
    return choice->show(settings) == QLatin1String(need.value);
}

bool SettingRule::take(Settings& settings, const QString& value, const QDir& folder) const
{
    if (const auto* number = std::get_if<SettingField<int>>(&field))
        return Backend::take(range, value, *number->in(settings));
    if (const auto* flag = std::get_if<SettingField<bool>>(&field))
        return Backend::take(value, *flag->in(settings));
    if (!isAcceptedText(*this, value))
        return false;
    *std::get<SettingField<QString>>(field).in(settings) = takenText(*this, value, folder);
    return true;
}

QString SettingRule::show(const Settings& settings) const
{
    if (const auto* number = std::get_if<SettingField<int>>(&field))
        return QString::number(*number->of(settings));
    if (const auto* flag = std::get_if<SettingField<bool>>(&field))
        return *flag->of(settings) ? QStringLiteral("true") : QStringLiteral("false");
    return *std::get<SettingField<QString>>(field).of(settings);
}

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

const SettingRule* findSettingRule(const QString& key)
{
    const auto& rules = settingRules();
    const auto same = [&key](const SettingRule& rule) { return key == QLatin1String(rule.key); };
    const auto found = std::find_if(rules.cbegin(), rules.cend(), same);
    return found == rules.cend() ? nullptr : &*found;
}

} // namespace KOZAV::Backend
