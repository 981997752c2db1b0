#pragma once

#include "backend/Operation.h"
#include "backend/database/Database.h"
#include "backend/io/FileCopy.h"
#include "backend/operations/HeldRows.h"
#include "backend/store/DocumentStore.h"

#include <QVariantList>

#include <optional>
#include <string>

namespace KOZAV::Backend {

/// The values of one statement, in its order, from the arguments of a service operation. The first argument
/// that cannot be stored as it is is remembered: status() is to be asked before the values are used.
class RowValues final
{
public:
    /// @param what  the argument in words, for the failure
    RowValues& text(const char* what, const std::string& utf8);
    RowValues& text(const QString& value);
    RowValues& number(int value);
    /// The current time.
    RowValues& time();
    /// Length and SHA-256, or NULL for both.
    RowValues& content(const std::optional<ContentDigest>& content);

    [[nodiscard]] const Status& status() const { return m_status; }
    [[nodiscard]] const QVariantList& list() const { return m_values; }

private:
    QVariantList m_values;
    Status m_status;
};

/// Inserts a row. Where the answer is lost the database is asked for the row, and the insert repeated if it
/// is not there: the key keeps it from being there twice. OutcomeUnknown only where nobody can be asked.
Status insertRow(Operation& call, const KeyedRow& row, const RowValues& values, Durability durability);

/// Inserts the row that completes an import, and with it, as one, what is held back of the import (HeldRows).
Status insertLastRow(Operation& call, const KeyedRow& row, const RowValues& values);

/// Holds a row back on the road of an import, until its last one. Refuses values only for what values can
/// be refused for.
Status holdRow(Operation& call, const KeyedRow& row, const RowValues& values);

/// The same for an update of the job flow that the import has made, whose last bound value is the flow key.
Status holdFlowChange(Operation& call, const char* sql, const RowValues& values);

/// Sends what is still held back where an import ends without its last row. A failure is logged.
void sendHeldRows();

/// Fails unless the site's document store holds a file of that name: to be asked before a row that points at
/// it. Where this thread has just stored it the store is not asked again.
/// @param fileStore  where it lies; the configured file store where none is given
Result<StoredFile> requireStoredFile(Operation& call, const std::string& storedName,
                                     const std::optional<std::string>& fileStore = {});

/// What its row keeps of a stored file; nothing where the store does not know its hash, as of a file that
/// another program stored.
std::optional<ContentDigest> contentOf(const StoredFile& file);

/// Runs an UPDATE of one job-flow row whose last bound value is the flow key. NotFound where no row has that
/// key or the update refers to an original file that does not exist; InvalidArgument for an empty key.
/// Repeated where its answer is lost: the update has to set values that do not depend on the row.
Status changeFlow(Operation& call, const char* sql, RowValues values, const std::string& flowGuid,
                  Durability durability);

/// A new identifier for a row or a stored file.
QString newGuid();

} // namespace KOZAV::Backend
