#pragma once

#include "backend/database/Database.h"

namespace KOZAV::Backend {

/// One row that is told apart from all others by a key that this program made.
struct KeyedRow
{
    const char* insertSql;
    QVariantList values;
    const char* findSql; ///< selects the row by its key, the one value
    QVariant key;
};

/// Inserts a row. Where the answer is lost the database is asked for the row, and the insert repeated if it
/// is not there: the key keeps it from being there twice. OutcomeUnknown only where nobody can be asked.
Status insertSettled(Database& database, const KeyedRow& row, Durability durability);

} // namespace KOZAV::Backend
