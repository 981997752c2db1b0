#pragma once

#include "backend/database/Database.h"

#include <QString>

#include <string>

namespace KOZAV::Backend {

// An import stores its file before it asks for its company. Where that is refused the file stays, and no row
// will ever name it: an event says so, or a check could not tell it from the remains of a crash. An import
// makes all its calls on one thread, one after the other, so what a thread stored last and has not written a
// row for is the file of the import that is refused.

/// The calling thread has stored a file; empty: it tried to and failed.
void noteStoredFile(const std::string& storedName);

/// The row of the file is written: it is not refused any more.
void noteClaimedFile(const std::string& storedName);

/// The company of the import that the calling thread is in was not found, or refused it a number: writes the
/// event, once a file. Does nothing where the thread has no file without a row. A failure is logged: the
/// operation's own outcome stays.
void tellRefusedImport(Database& database, const QString& company, const QString& reason);

} // namespace KOZAV::Backend
