#pragma once

#include "backend/Status.h"

#include <QSqlDriver>
#include <QVariantList>

namespace KOZAV::Backend {

/// The text of a statement with its values in the places of the question marks, quoted by the driver: what Qt
/// does itself for engines without prepared statements. No literal of the text may hold a question mark.
/// Internal where there are more or fewer places than values.
Result<QString> boundText(const QSqlDriver& driver, const char* sql, const QVariantList& values);

} // namespace KOZAV::Backend
