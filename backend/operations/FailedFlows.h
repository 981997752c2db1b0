#pragma once

#include "backend/Operation.h"
#include "backend/Status.h"

#include <QString>

namespace KOZAV::Backend {

class Database;

// What becomes of the job flow of an import that fails after the flow was made: it is taken into the state of
// failed imports, at once or as soon as the rows can be written again. A flow that is complete, was voided or
// has gone on stays as it is. What a program that ends before that leaves behind, a check mends.

/// A flow, and the user in whose name it is taken off.
struct FailedFlow
{
    QString guid;
    int userId = 0;
};

/// Takes the flow off the list of waiting jobs. Where the rows cannot be written now it is remembered: the
/// next operation of any thread that reaches them does it.
/// @return the reason; where it is not done yet, with a word of that
Status withdrawFlow(Operation& call, const FailedFlow& flow, const Status& reason);

/// Remembers a flow that may have been made, though its import was told otherwise, to be taken off.
void withdrawLater(const FailedFlow& flow);

/// Takes off what is remembered of this database; costs nothing where that is none. To be called when the
/// rows have answered.
void withdrawPendingFlows(Database& database);

} // namespace KOZAV::Backend
