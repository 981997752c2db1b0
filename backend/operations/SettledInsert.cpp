#include "backend/operations/SettledInsert.h"

namespace KOZAV::Backend {

namespace {

Result<bool> isThere(Database& database, const KeyedRow& row)
{
    bool found = false;
    const Status asked = database.query(row.findSql, {row.key}, [&found](const QSqlQuery& /*row*/) {
        found = true;
        return false;
    });
    return asked.ok() ? Result<bool>(found) : Result<bool>(asked);
}

} // namespace

Status insertSettled(Database& database, const KeyedRow& row, Durability durability)
{
    const auto insert = [&] { return database.insert(row.insertSql, row.values, durability).status(); };
    Status first = insert();
    if (first.code() != ErrorCode::OutcomeUnknown)
        return first;
    const Result<bool> arrived = isThere(database, row);
    if (!arrived.ok())
        return first;
    if (arrived.value())
        return {};
    Status second = insert();
    if (second.code() != ErrorCode::AlreadyExists)
        return second;
    // The first one may have been carried out after the question.
    const Result<bool> late = isThere(database, row);
    return late.ok() && late.value() ? Status() : second;
}

} // namespace KOZAV::Backend
