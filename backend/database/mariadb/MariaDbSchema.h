#pragma once

#include "backend/database/Migrations.h"

#include <vector>

namespace KOZAV::Backend {

/// The tables of a site in the words of MariaDB. The engine commits each statement that makes a table by
/// itself, so every step can be run again where it was interrupted.
const std::vector<MigrationStep>& mariaDbMigrations();

/// One reference between rows, and how the rows are counted that refer to nothing.
struct MariaDbReference
{
    const char* table;
    const char* countSql;
};

const std::vector<MariaDbReference>& mariaDbReferences();

} // namespace KOZAV::Backend
