#include "backend/database/Migrations.h"

#include "backend/database/Database.h"

namespace KOZAV::Backend {

namespace {

Status runStep(Database& database, const MigrationStep& step)
{
    for (const char* statement : step.statements)
        if (const auto done = database.change(statement, {}, Durability::Immediate); !done.ok())
            return done.status();
    const auto noted =
        database.change("UPDATE schema_version SET version = ?", {step.version}, Durability::Immediate);
    if (noted.ok() && noted.value() != 1)
        return Status::corrupt(QStringLiteral("the table schema_version does not hold one row"));
    return noted.status();
}

Status runMissingSteps(Database& database, const std::vector<MigrationStep>& steps)
{
    if (auto status = checkSchemaVersion(database, steps, MissingDatabase::Made); !status.ok())
        return status;
    const auto version = database.schemaVersion();
    if (!version.ok())
        return version.status();
    for (const MigrationStep& step : steps)
        if (step.version > version.value())
            if (auto status = runStep(database, step); !status.ok())
                return status;
    return {};
}

} // namespace

Status checkSchemaVersion(Database& database, const std::vector<MigrationStep>& steps,
                          MissingDatabase missing)
{
    const auto version = database.schemaVersion();
    if (!version.ok())
        return version.status();
    const int known = steps.empty() ? 0 : steps.back().version;
    if (version.value() == 0 && missing == MissingDatabase::Refused)
        return Status::configuration(QStringLiteral(
            "it holds none of our tables: name the right one in the section \"database\" of the "
            "configuration, bring a lost one back with \"zav_admin restore\", or make a new "
            "site with \"zav_admin init\""));
    if (version.value() <= known)
        return {};
    return Status::configuration(
        QStringLiteral("the database has schema version %1, this program knows up to %2: "
                       "a newer program has written it, use that one")
            .arg(version.value())
            .arg(known));
}

Status migrate(Database& database, const std::vector<MigrationStep>& steps)
{
    // Without transactions there is nothing to prove and nothing to keep together where no step is missing;
    // and who only reads is not kept waiting by a writer.
    if (database.isOnlyToRead() || !database.changesSchemaInTransactions()) {
        const auto version = database.schemaVersion();
        if (!version.ok())
            return version.status();
        if (steps.empty() || version.value() == steps.back().version)
            return {};
    }
    return database.changeSchema([&] { return runMissingSteps(database, steps); });
}

} // namespace KOZAV::Backend
