#pragma once

#include "backend/Status.h"
#include "backend/migrate/MigrationProgress.h"
#include "backend/records/RowTransfer.h"

#include <vector>

namespace KOZAV::Backend {

class Database;

/// What a migration does with a row that the target has as it was at another time.
enum class OutdatedRows { Refuse, Update };

/// One table on its way.
struct TableCount
{
    const TransferTable* table = nullptr;
    qint64 rows = 0;     ///< of the source
    qint64 missing = 0;  ///< in the target
    qint64 outdated = 0; ///< in the target
    QByteArray sha256;   ///< over the rows, once they were copied
};

/// The rows of a site on their way to another: under the numbers, keys and times that they have.
///
/// A row that the target has and the source does not, or that is another row under the same number, is
/// AlreadyExists: the target is another site's, or is in use.
class RowMigration final
{
public:
    RowMigration(Database& source, Database& target, OutdatedRows outdated, ProgressMeter& meter);

    /// Compares what the target has with the source and counts what is to be done. Changes nothing.
    Status check();

    /// Brings what is missing, in transactions of a few hundred rows. The source should show the rows of one
    /// moment.
    Status copy();

    /// Compares number and content of all rows on both sides. ChangedWhileRead where the source has others
    /// than were copied, Corrupt where only the target has.
    Status verify();

    /// The same for the target alone: the source may have gone on.
    Status verifyTarget();

    /// Of the last check() or copy().
    [[nodiscard]] const std::vector<TableCount>& tables() const { return m_tables; }

private:
    enum class Pass { Look, Bring, Link };
    /// What is to be written of one batch.
    struct Batch
    {
        std::vector<TransferRow> missing;
        std::vector<TransferRow> outdated;
    };

    Status walk(TableCount& count, Pass pass);
    Status compareBatch(TableCount& count, Pass pass, const std::vector<TransferRow>& source,
                        const std::vector<TransferRow>& target, Batch& batch) const;
    Status compareRow(TableCount& count, Pass pass, const TransferRow& source, const TransferRow& target,
                      Batch& batch) const;
    Status write(const TransferTable& table, Pass pass, const Batch& batch);
    Status refuseRowsBehind(const TransferTable& table, qint64 last);
    Status verifyTargetTable(const TableCount& count);

    Database& m_source;
    Database& m_target;
    OutdatedRows m_outdated;
    ProgressMeter& m_meter;
    std::vector<TableCount> m_tables;
};

} // namespace KOZAV::Backend
