#include "backend/records/RowTransfer.h"

#include "backend/SafePoint.h"
#include "backend/database/Database.h"

#include <algorithm>
#include <limits>

// A row leaves one engine and enters another one as values that mean the same on both: numbers, texts and
// NULL. What an engine gives in a type of its own is turned into these or refused, so that a digest over the
// rows is equal on every engine for equal rows, and a comparison of two sites compares what they hold.
//
// The list of tables below is the schema as far as rows are concerned, in an order in which every reference
// leads to a row that is there already. One cannot be had so: original files and flows refer to each other.
// Such a column is a LaterReference, which is left NULL at first and written once the other table has its
// rows. An Identity column tells whether two rows under one number are the same row at different times.
//
// Rows go in by many to a statement; where the engine refuses one for what it holds, they are tried again one
// by one, so that the message names it.

namespace KOZAV::Backend {

namespace {

constexpr int rowsPerStatement = 32;
constexpr int rowsPerRead = 1000;

using Type = ColumnType;
using Role = ColumnRole;

std::vector<TransferTable> makeTables()
{
    return {
        {"company",
         {{"id", Type::Number, Role::Identity},
          {"code", Type::Text, Role::Identity},
          {"name", Type::Text},
          {"job_count", Type::Number},
          {"batch_number", Type::Number},
          {"created_time", Type::Text, Role::Identity},
          {"updated_user_id", Type::Number},
          {"updated_time", Type::Text}}},
        {"orig_file",
         {{"id", Type::Number, Role::Identity},
          {"guid", Type::Text, Role::Identity},
          {"job_name", Type::Text},
          {"stored_name", Type::Text},
          {"suffix", Type::Text},
          {"company_code", Type::Text},
          {"file_type", Type::Number},
          {"user_id", Type::Number},
          {"user_name", Type::Text},
          {"source_path", Type::Text},
          {"flow_guid", Type::Text, Role::LaterReference},
          {"created_time", Type::Text, Role::Identity},
          {"stored_length", Type::Number},
          {"stored_sha256", Type::Text},
          {"content_length", Type::Number},
          {"content_sha256", Type::Text}}},
        {"job_flow",
         {{"id", Type::Number, Role::Identity},
          {"guid", Type::Text, Role::Identity},
          {"job_name", Type::Text},
          {"ko_serial_name", Type::Text, Role::Identity},
          {"flow_no", Type::Text},
          {"user_id", Type::Number},
          {"state", Type::Number},
          {"sub_state", Type::Number},
          {"state_user_id", Type::Number},
          {"state_time", Type::Text},
          {"orig_file_guid", Type::Text},
          {"last_import_orig_file_guid", Type::Text},
          {"upload_batch_number", Type::Number},
          {"pre_import_user_id", Type::Number},
          {"pre_import_flag", Type::Number},
          {"pre_import_note", Type::Text},
          {"check_user_id", Type::Number},
          {"check_user_name", Type::Text},
          {"check_flag", Type::Number},
          {"check_note", Type::Text},
          {"pre_import_or_check_time", Type::Text},
          {"created_time", Type::Text, Role::Identity}}},
        {"job_compress",
         {{"id", Type::Number, Role::Identity},
          {"flow_guid", Type::Text, Role::Identity},
          {"company_name", Type::Text},
          {"company_code", Type::Text},
          {"company_id", Type::Number},
          {"job_name", Type::Text},
          {"stored_name", Type::Text},
          {"suffix", Type::Text},
          {"remark", Type::Text},
          {"file_store", Type::Text},
          {"user_id", Type::Number},
          {"job_number", Type::Number},
          {"resource", Type::Text},
          {"customer2", Type::Text},
          {"customer3", Type::Text},
          {"created_time", Type::Text, Role::Identity}}},
        {"pre_file",
         {{"id", Type::Number, Role::Identity},
          {"guid", Type::Text, Role::Identity},
          {"flow_guid", Type::Text, Role::Identity},
          {"job_name", Type::Text},
          {"first_text", Type::Text},
          {"second_text", Type::Text},
          {"third_text", Type::Text},
          {"user_id", Type::Number},
          {"user_name", Type::Text},
          {"created_time", Type::Text, Role::Identity}}},
        {"event",
         {{"id", Type::Number, Role::Identity},
          {"guid", Type::Text, Role::Identity},
          {"kind", Type::Text, Role::Identity},
          {"run_guid", Type::Text},
          {"flow_guid", Type::Text},
          {"user_id", Type::Number},
          {"user_name", Type::Text},
          {"host", Type::Text},
          {"subject", Type::Text},
          {"outcome", Type::Text},
          {"reason", Type::Text},
          {"detail", Type::Text},
          {"created_time", Type::Text, Role::Identity}}},
    };
}

// The texts of the statements are put together from the names above, never from values.

QStringList columnNames(const TransferTable& table)
{
    QStringList names;
    for (const TransferColumn& column : table.columns)
        names << QString::fromLatin1(column.name);
    return names;
}

QByteArray statement(const QStringList& parts)
{
    return parts.join(QLatin1Char(' ')).toLatin1();
}

QByteArray selectText(const TransferTable& table)
{
    return statement({QStringLiteral("SELECT"), columnNames(table).join(QStringLiteral(", ")),
                      QStringLiteral("FROM"), QString::fromLatin1(table.name),
                      QStringLiteral("WHERE id > ? ORDER BY id LIMIT ?")});
}

QByteArray insertText(const TransferTable& table, int rows)
{
    QStringList marks;
    for (std::size_t i = 0; i < table.columns.size(); ++i)
        marks << QStringLiteral("?");
    const QString oneRow = QLatin1Char('(') + marks.join(QLatin1Char(',')) + QLatin1Char(')');
    QStringList allRows;
    for (int i = 0; i < rows; ++i)
        allRows << oneRow;
    return statement({QStringLiteral("INSERT"), QStringLiteral("INTO"), QString::fromLatin1(table.name),
                      QLatin1Char('(') + columnNames(table).join(QStringLiteral(", ")) + QLatin1Char(')'),
                      QStringLiteral("VALUES"), allRows.join(QStringLiteral(", "))});
}

QByteArray updateText(const TransferTable& table)
{
    const QStringList values = columnNames(table).mid(1);
    return statement({QStringLiteral("UPDATE"), QString::fromLatin1(table.name), QStringLiteral("SET"),
                      values.join(QStringLiteral(" = ?, ")), QStringLiteral("= ? WHERE id = ?")});
}

/// Engines give numbers and texts in types of their own; invalid where the value is no such thing at all.
QVariant numberOf(const QVariant& value)
{
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::Short:
        return value.toLongLong();
    default:
        return {};
    }
}

QVariant textOf(const QVariant& value)
{
    if (value.userType() == QMetaType::QString)
        return value;
    if (value.userType() != QMetaType::QByteArray)
        return {};
    const QByteArray bytes = value.toByteArray();
    const QString text = QString::fromUtf8(bytes);
    return text.toUtf8() == bytes ? QVariant(text) : QVariant();
}

Result<TransferRow> rowOf(const TransferTable& table, const QSqlQuery& query)
{
    TransferRow row;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        const TransferColumn& column = table.columns[i];
        const QVariant value = query.value(static_cast<int>(i));
        const QVariant read = column.type == Type::Number ? numberOf(value) : textOf(value);
        if (!read.isValid() && !value.isNull())
            return Status::corrupt(
                QStringLiteral("the value of %1 in row %2 of %3 is no %4")
                    .arg(QLatin1String(column.name), query.value(0).toString(), QLatin1String(table.name),
                         column.type == Type::Number ? QStringLiteral("number") : QStringLiteral("text")));
        row << (value.isNull() ? QVariant() : read);
    }
    return row;
}

Status located(const TransferTable& table, const TransferRow& first, const Status& status)
{
    if (status.ok())
        return {};
    return status.in(rowText(table, first));
}

Status insertPiece(Database& database, const TransferTable& table, const TransferRow* rows, int count)
{
    QVariantList values;
    for (int i = 0; i < count; ++i)
        values += rows[i];
    const auto inserted =
        database.change(insertText(table, count).constData(), values, Durability::Immediate);
    if (inserted.ok() && inserted.value() != count)
        return Status::internal(QStringLiteral("%1 of %2 rows were inserted into %3")
                                    .arg(inserted.value())
                                    .arg(count)
                                    .arg(QLatin1String(table.name)));
    return inserted.status();
}

Status insertInPieces(Database& database, const TransferTable& table, const std::vector<TransferRow>& rows,
                      int pieceRows)
{
    return database.transaction([&] {
        const auto size = static_cast<int>(rows.size());
        for (int at = 0; at < size;) {
            const int count = size - at >= pieceRows ? pieceRows : 1;
            const TransferRow* first = rows.data() + at;
            if (const auto status = insertPiece(database, table, first, count); !status.ok())
                return count == 1 ? located(table, *first, status) : status;
            at += count;
        }
        return Status();
    });
}

/// Whether it is one of the rows that was refused, for what it holds.
bool isAboutARow(ErrorCode code)
{
    return code == ErrorCode::InvalidArgument || code == ErrorCode::AlreadyExists ||
           code == ErrorCode::NotFound;
}

bool sameValue(const QVariant& one, const QVariant& other)
{
    return one.isValid() == other.isValid() && one == other;
}

} // namespace

const std::vector<TransferTable>& transferTables()
{
    static const std::vector<TransferTable> tables = makeTables();
    return tables;
}

qint64 rowNumber(const TransferRow& row)
{
    return row.at(0).toLongLong();
}

QString rowText(const TransferTable& table, const TransferRow& row)
{
    return QStringLiteral("row %1 of %2 (%3 \"%4\")")
        .arg(QString::number(rowNumber(row)), QLatin1String(table.name), QLatin1String(table.columns[1].name),
             row.at(1).toString());
}

RowLikeness compareRows(const TransferTable& table, const TransferRow& source, const TransferRow& target)
{
    RowLikeness likeness = RowLikeness::Same;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        const QVariant& there = target.at(static_cast<int>(i));
        if (sameValue(source.at(static_cast<int>(i)), there))
            continue;
        if (table.columns[i].role == Role::Identity)
            return RowLikeness::Other;
        const bool unlinked = table.columns[i].role == Role::LaterReference && !there.isValid();
        likeness = unlinked ? std::max(likeness, RowLikeness::Unlinked) : RowLikeness::Outdated;
    }
    return likeness;
}

Result<std::vector<TransferRow>> readRows(Database& database, const TransferTable& table, qint64 afterNumber,
                                          int limit)
{
    std::vector<TransferRow> rows;
    Status odd;
    const auto status =
        database.query(selectText(table).constData(), {afterNumber, limit}, [&](const QSqlQuery& query) {
            auto row = rowOf(table, query);
            odd = row.status();
            if (row.ok())
                rows.push_back(std::move(row.value()));
            return row.ok();
        });
    for (const Status& outcome : {status, odd})
        if (!outcome.ok())
            return outcome;
    return rows;
}

Result<qint64> countRows(Database& database)
{
    qint64 rows = 0;
    for (const TransferTable& table : transferTables()) {
        const QByteArray sql = statement({QStringLiteral("SELECT"), QStringLiteral("COUNT(*)"),
                                          QStringLiteral("FROM"), QString::fromLatin1(table.name)});
        const auto counted = database.value(sql.constData());
        if (!counted.ok())
            return counted.status();
        rows += counted->toLongLong();
    }
    return rows;
}

Status insertRows(Database& database, const TransferTable& table, const std::vector<TransferRow>& rows)
{
    const auto inserted = insertInPieces(database, table, rows, rowsPerStatement);
    // Once more one by one, so that the message names the row.
    return isAboutARow(inserted.code()) ? insertInPieces(database, table, rows, 1) : inserted;
}

Status updateRows(Database& database, const TransferTable& table, const std::vector<TransferRow>& rows)
{
    return database.transaction([&] {
        for (const TransferRow& row : rows) {
            const QVariantList values = row.mid(1) << row.at(0);
            const auto changed =
                database.change(updateText(table).constData(), values, Durability::Immediate);
            if (!changed.ok())
                return located(table, row, changed.status());
        }
        return Status();
    });
}

TransferRow withoutLaterReferences(const TransferTable& table, TransferRow row)
{
    for (std::size_t i = 0; i < table.columns.size(); ++i)
        if (table.columns[i].role == Role::LaterReference)
            row[static_cast<int>(i)] = QVariant();
    return row;
}

bool hasLaterReferences(const TransferTable& table)
{
    return std::any_of(table.columns.begin(), table.columns.end(),
                       [](const TransferColumn& column) { return column.role == Role::LaterReference; });
}

Result<QStringList> fileStoresInRows(Database& database)
{
    QStringList names;
    const auto status =
        database.query("SELECT DISTINCT file_store FROM job_compress", {}, [&names](const QSqlQuery& row) {
            names << row.value(0).toString();
            return true;
        });
    return status.ok() ? Result(names) : status;
}

RowDigest::RowDigest(const TransferTable& table)
{
    add("T", table.name);
    for (const TransferColumn& column : table.columns)
        add("C", column.name);
}

void RowDigest::add(const QByteArray& kind, const QByteArray& content)
{
    // With its length ahead no content can be taken for another one and a part of the next.
    const QByteArray head = kind + QByteArray::number(content.size()) + ':';
    m_hash.add(head.constData(), head.size());
    m_hash.add(content.constData(), content.size());
}

void RowDigest::add(const TransferRow& row)
{
    ++m_rows;
    for (const QVariant& value : row) {
        if (!value.isValid())
            add("N", {});
        else if (value.userType() == QMetaType::LongLong)
            add("I", QByteArray::number(value.toLongLong()));
        else
            add("S", value.toString().toUtf8());
    }
}

TableDigest RowDigest::result()
{
    return {m_rows, m_hash.result()};
}

Result<TableDigest> digestOfTable(Database& database, const TransferTable& table)
{
    RowDigest digest(table);
    qint64 last = std::numeric_limits<qint64>::min();
    for (;;) {
        if (auto goOn = safePoint(); !goOn.ok())
            return goOn;
        const auto rows = readRows(database, table, last, rowsPerRead);
        if (!rows.ok())
            return rows.status();
        for (const TransferRow& row : rows.value())
            digest.add(row);
        if (rows->size() < static_cast<std::size_t>(rowsPerRead))
            return digest.result();
        last = rowNumber(rows->back());
    }
}

} // namespace KOZAV::Backend
