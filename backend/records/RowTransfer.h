#pragma once

#include "backend/Status.h"
#include "backend/io/Sha256.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariantList>

#include <vector>

namespace KOZAV::Backend {

class Database;

/// The rows of a whole site as values that mean the same on every engine: for bringing them from one to
/// another.

enum class ColumnType { Number, Text };

enum class ColumnRole {
    Plain,
    Identity,      ///< never changes once the row is there
    LaterReference ///< to a row of a table that is brought later: NULL until that row is there
};

struct TransferColumn
{
    const char* name;
    ColumnType type;
    ColumnRole role = ColumnRole::Plain;
};

struct TransferTable
{
    const char* name;
    std::vector<TransferColumn> columns; ///< "id" first, the key that the system gave behind it
};

/// Every table that holds rows of a site, each behind those that its rows refer to.
const std::vector<TransferTable>& transferTables();

/// The values of one row, in the order of the table's columns: qint64, QString, or invalid for NULL.
using TransferRow = QVariantList;

qint64 rowNumber(const TransferRow& row);

/// Which row it is, in words for messages.
QString rowText(const TransferTable& table, const TransferRow& row);

/// How the row that a target has under a number relates to the source's.
enum class RowLikeness {
    Same,
    Unlinked, ///< the same but for later references, which the target's does not have yet
    Outdated, ///< the same row at another time
    Other
};
RowLikeness compareRows(const TransferTable& table, const TransferRow& source, const TransferRow& target);

/// At most limit rows with numbers above the given one, in the order of their numbers. Corrupt where a value
/// is not of its column's type.
Result<std::vector<TransferRow>> readRows(Database& database, const TransferTable& table, qint64 afterNumber,
                                          int limit);

/// The number of rows of all tables.
Result<qint64> countRows(Database& database);

/// Inserts rows under the numbers that they have, in one durable transaction. The engine gives higher numbers
/// to rows that come later.
Status insertRows(Database& database, const TransferTable& table, const std::vector<TransferRow>& rows);

/// Gives the rows with these numbers these values, in one durable transaction.
Status updateRows(Database& database, const TransferTable& table, const std::vector<TransferRow>& rows);

/// The row without its later references.
TransferRow withoutLaterReferences(const TransferTable& table, TransferRow row);

bool hasLaterReferences(const TransferTable& table);

/// The file stores that rows name, each once.
Result<QStringList> fileStoresInRows(Database& database);

/// How many rows a table has, and a SHA-256 over their values in the order of their numbers. Equal on every
/// engine for equal rows.
struct TableDigest
{
    qint64 rows = 0;
    QByteArray sha256;

    bool operator==(const TableDigest& other) const { return rows == other.rows && sha256 == other.sha256; }
    bool operator!=(const TableDigest& other) const { return !(*this == other); }
};

class RowDigest final
{
public:
    explicit RowDigest(const TransferTable& table);

    /// To be called in the order of the rows' numbers.
    void add(const TransferRow& row);
    /// Ends the calculation.
    [[nodiscard]] TableDigest result();

private:
    void add(const QByteArray& kind, const QByteArray& content);

    Sha256 m_hash;
    qint64 m_rows = 0;
};

Result<TableDigest> digestOfTable(Database& database, const TransferTable& table);

} // namespace KOZAV::Backend
