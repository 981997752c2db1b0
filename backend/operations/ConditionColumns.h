#pragma once

#include "backend/Status.h"

#include <QString>
#include <QVariantList>

#include <map>
#include <string>
#include <vector>

namespace KOZAV::Backend {

/// One column that conditions of a select operation may name.
struct ConditionColumn
{
    enum class Kind { Text, Integer };
    const char* name;
    Kind kind;
};

/// The condition maps of a select operation, matched against the columns that it knows.
struct Conditions
{
    unsigned columns = 0;    ///< bit n is set where column n has a condition
    QVariantList values;     ///< of the columns with a condition, in their order
    bool satisfiable = true; ///< false where no row can hold all conditions
};

/// InvalidArgument where a map names a column that is not in the list. Names are only compared: which text is
/// sent to the database is chosen by Conditions::columns. A text condition on an integer column that is not a
/// plain decimal number, and two different values for one column, hold for no row.
Result<Conditions> matchConditions(const std::vector<ConditionColumn>& columns,
                                   const std::map<std::string, std::string>& textConditions,
                                   const std::map<std::string, int>& intConditions);

/// The conditions in words, for messages.
QString describeConditions(const std::map<std::string, std::string>& textConditions,
                           const std::map<std::string, int>& intConditions);

} // namespace KOZAV::Backend
