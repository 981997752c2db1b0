#pragma once

#include "backend/Status.h"

#include <vector>

namespace KOZAV::Backend {

class Database;
enum class MissingDatabase;

/// The statements that lead from the schema before to this version. The first step makes the table
/// schema_version with its one row; the number there is raised with each step.
///
/// A step that was released never changes: sites have it. A change of the schema is a step behind the others,
/// of every engine and with the same number.
struct MigrationStep
{
    int version;
    std::vector<const char*> statements;
};

/// Fails with Configuration where the database has a newer schema than the last step, or has none of our
/// tables and that is to be refused. Changes nothing.
Status checkSchemaVersion(Database& database, const std::vector<MigrationStep>& steps,
                          MissingDatabase missing);

/// Runs the steps that the database does not have yet. With an engine that changes its schema in
/// transactions: all of them or none, and it takes the write lock in any case, and so proves that the
/// database can be written.
Status migrate(Database& database, const std::vector<MigrationStep>& steps);

} // namespace KOZAV::Backend
