#include "backend/database/DatabaseExamination.h"

#include "backend/database/Connection.h"
#include "backend/database/Database.h"
#include "backend/database/Dialect.h"

#include <algorithm>

// An examination has a connection of its own. A server may be silent for minutes while it checks a table, for
// which the time-outs of the site's connection are far too short; and a database that open() refuses because
// it is damaged is the one that has to be examined.
//
// What the engine finds damaged is a flaw and no failure. A failure is what keeps it from looking at all.

namespace KOZAV::Backend {

namespace {

DatabaseSettings patient(DatabaseSettings settings, const ExaminationOptions& options)
{
    // The server ends a look that takes too long first, and its answer tells that it did.
    constexpr std::chrono::seconds margin(15);
    const auto longest = std::chrono::duration_cast<std::chrono::seconds>(options.longestTable) + margin;
    settings.readTimeoutSeconds = std::max(settings.readTimeoutSeconds, static_cast<int>(longest.count()));
    return settings;
}

/// Connects to a database of ours that is there, in whatever state.
Status reach(Connection& connection)
{
    if (auto status = connection.dialect().prepare(connection.settings(), MissingDatabase::Refused);
        !status.ok())
        return status;
    if (auto status = connection.open(); !status.ok())
        return status;
    return connection.dialect().identify(connection.handle());
}

Status examineOver(Connection& connection, const ExaminationOptions& options, DatabaseFlaws& flaws)
{
    if (auto status = reach(connection); !status.ok())
        return status;
    return connection.dialect().examine(connection.handle(), options, flaws);
}

Status readOver(Connection& connection)
{
    if (auto status = reach(connection); !status.ok())
        return status;
    return connection.dialect().readThrough(connection.handle());
}

/// Waits for no disk: nobody's write is held up by it.
Status noteReading(Connection& connection)
{
    if (auto status = connection.use(Durability::Deferred); !status.ok())
        return status;
    return connection.execute("UPDATE site SET checked_time = ? WHERE id = 1", {rowTime()},
                              Connection::Purpose::Write, [](QSqlQuery&) { return Status(); });
}

} // namespace

DatabaseFlaws compareSchemas(const SchemaObjects& ours, const SchemaObjects& found)
{
    using Kind = DatabaseFlaw::Kind;
    DatabaseFlaws flaws;
    for (const auto& [name, form] : ours) {
        const auto there = found.find(name);
        if (there == found.end())
            flaws.push_back({Kind::SchemaChanged, name, QStringLiteral("it is missing")});
        else if (there->second != form)
            flaws.push_back({Kind::SchemaChanged, name,
                             QStringLiteral("it is not as this system makes it: \"%1\" instead of \"%2\"")
                                 .arg(there->second, form)});
    }
    for (const auto& [name, form] : found)
        if (ours.count(name) == 0)
            flaws.push_back(
                {Kind::SchemaChanged, name, QStringLiteral("this system has made no such thing")});
    return flaws;
}

Result<DatabaseFlaws> Database::examine(const DatabaseSettings& settings, const ExaminationOptions& options)
{
    auto dialect = Dialect::forDriver(settings.driver);
    if (!dialect.ok())
        return dialect.status();
    Connection connection(std::move(dialect.value()), patient(settings, options));
    DatabaseFlaws flaws;
    const auto examined = examineOver(connection, options, flaws);
    if (examined.code() == ErrorCode::Corrupt)
        flaws.push_back({DatabaseFlaw::Kind::Damaged, connection.place(), examined.message()});
    else if (!examined.ok())
        return examined.in(QStringLiteral("cannot examine the database %1").arg(connection.place()));
    return flaws;
}

Status Database::readThrough(const DatabaseSettings& settings)
{
    auto dialect = Dialect::forDriver(settings.driver);
    if (!dialect.ok())
        return dialect.status();
    if (settings.driver != QLatin1String("QSQLITE"))
        return {};
    Connection connection(std::move(dialect.value()), settings);
    const auto read = readOver(connection);
    return connection.located(read.ok() ? noteReading(connection) : read);
}

} // namespace KOZAV::Backend
