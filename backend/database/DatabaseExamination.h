#pragma once

#include <QString>

#include <chrono>
#include <map>
#include <vector>

namespace KOZAV::Backend {

/// Something that is wrong with a database, or that could not be looked at.
struct DatabaseFlaw
{
    enum class Kind {
        Damaged,         ///< the engine cannot read what it has written, or one part of it denies another
        ReferenceBroken, ///< a row refers to a row that is not there
        SchemaChanged,   ///< a table, column, index or the like is missing, changed, or not of this system
        NotLookedAt      ///< not known: the account may not see it, or the look at it did not end in time
    };

    Kind kind = Kind::Damaged;
    QString subject; ///< what it is about: a table, a row, an index, or the place of the database
    QString text;    ///< what is wrong with it, for people
};

using DatabaseFlaws = std::vector<DatabaseFlaw>;

struct ExaminationOptions
{
    /// Longest time that a server is given for one table. What takes longer is NotLookedAt.
    std::chrono::milliseconds longestTable{600'000};
};

/// The objects of a schema: their names ("index job_flow_state"), each with a text that is equal for equal
/// objects.
using SchemaObjects = std::map<QString, QString>;

/// How a schema differs from what this program makes.
DatabaseFlaws compareSchemas(const SchemaObjects& ours, const SchemaObjects& found);

} // namespace KOZAV::Backend
