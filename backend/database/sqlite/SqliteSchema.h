#pragma once

#include "backend/database/Migrations.h"

#include <vector>

namespace KOZAV::Backend {

/// "KOZA" in the header of a database file: what tells this system's files from others.
constexpr int sqliteApplicationId = 0x4B4F5A41;

/// The schema of docs/schema.md, step by step.
const std::vector<MigrationStep>& sqliteMigrations();

} // namespace KOZAV::Backend
