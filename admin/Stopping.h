#pragma once

#include "admin/Verbs.h"
#include "backend/SafePoint.h"
#include "terminal/Interruption.h"

namespace KOZAV::Admin {

/// While it lives, the signals that end a program have the verb's work stop at its next safe point; a second
/// one ends the program at once. For verbs that take their time and leave something to go on with.
class StoppableVerb final
{
public:
    StoppableVerb();

    /// What becomes of a verb whose work has failed: the failure, or, where it was stopped, a report that
    /// says nothing but that.
    static Backend::Result<Report> ended(const Backend::Status& failure, Stop stop);

private:
    Terminal::Interruption m_interruption;
    Backend::StoppableWork m_work;
};

/// The arguments of the call with other operands, or with operands in the place of a batch.
QStringList argumentsWith(const Call& call, const QString& verb, const QStringList& operands);

/// What is told where a verb was stopped: what was done, and the command that goes on.
/// @param arguments  that the program was called with
QByteArray stopText(const Stop& stop, const QStringList& arguments, bool json);

} // namespace KOZAV::Admin
