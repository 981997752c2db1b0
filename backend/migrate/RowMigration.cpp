#include "backend/migrate/RowMigration.h"

#include "backend/SafePoint.h"
#include "backend/database/Database.h"

#include <limits>

// Source and target are walked side by side, in the order of the rows' numbers and a batch at a time, so that
// memory does not grow with the site. Every row of the source has one of three fates: the target lacks it and
// it is inserted; the target has it as it is, or as it was at another time; or the target has another row in
// its place, and the whole migration ends. A row that only the target has ends it too: the two sites have
// parted.
//
// There are three passes over the same walk. Look writes nothing, and finds every refusal before anything is
// copied. Bring writes rows without their references to rows of tables that come later; Link writes those
// references once all rows are there. Each batch is a transaction of its own, and a run that was interrupted
// anywhere is continued by the next one, which finds the rows that are there already.
//
// While the source is read its digest is taken; verify() reads both sides anew and compares. The source may
// be in use: it is read in a snapshot, and what changed in it since is told as such and not as damage of the
// target.

namespace KOZAV::Backend {

namespace {

constexpr int rowsPerBatch = 512;
constexpr qint64 beforeAll = std::numeric_limits<qint64>::min();

std::vector<TableCount> noTables()
{
    std::vector<TableCount> tables;
    for (const TransferTable& table : transferTables()) {
        TableCount count;
        count.table = &table;
        tables.push_back(count);
    }
    return tables;
}

Status onlyInTarget(const TransferTable& table, const TransferRow& row)
{
    return Status::alreadyExists(
        QStringLiteral("the target holds rows that the source does not have: %1; it is another "
                       "site's, or is in use already")
            .arg(rowText(table, row)));
}

Status anotherRow(const TransferTable& table, const TransferRow& source, const TransferRow& target)
{
    return Status::alreadyExists(QStringLiteral("the target has %1 in the place of %2: it is another site's")
                                     .arg(rowText(table, target), rowText(table, source)));
}

Status outdatedRow(const TransferTable& table, const TransferRow& source)
{
    return Status::alreadyExists(
        QStringLiteral("the target has %1 with other content than the source; where it was copied "
                       "before and has changed in the source since, --update brings it up to date")
            .arg(rowText(table, source)));
}

Status sourceChanged(const TransferTable& table)
{
    return Status::changedWhileRead(
        QStringLiteral("the source changed while it was copied: rows of %1 are new or have other "
                       "content; run again, with --update where rows have other content")
            .arg(QLatin1String(table.name)));
}

} // namespace

RowMigration::RowMigration(Database& source, Database& target, OutdatedRows outdated, ProgressMeter& meter)
    : m_source(source)
    , m_target(target)
    , m_outdated(outdated)
    , m_meter(meter)
    , m_tables(noTables())
{
}

Status RowMigration::check()
{
    m_tables = noTables();
    qint64 rows = 0;
    for (TableCount& count : m_tables) {
        if (auto looked = walk(count, Pass::Look); !looked.ok())
            return looked;
        rows += count.rows;
    }
    m_meter.expectRows(rows);
    return {};
}

Status RowMigration::copy()
{
    m_tables = noTables();
    for (TableCount& count : m_tables)
        if (auto brought = walk(count, Pass::Bring); !brought.ok())
            return brought;
    for (const TableCount& count : m_tables) {
        TableCount unused = count;
        if (!hasLaterReferences(*count.table))
            continue;
        if (auto linked = walk(unused, Pass::Link); !linked.ok())
            return linked;
    }
    return {};
}

/// Goes through a table of the source and, beside it, that of the target.
Status RowMigration::walk(TableCount& count, Pass pass)
{
    const TransferTable& table = *count.table;
    RowDigest digest(table);
    qint64 last = beforeAll;
    for (;;) {
        if (auto goOn = safePoint(); !goOn.ok())
            return goOn;
        const auto source = readRows(m_source, table, last, rowsPerBatch);
        if (!source.ok())
            return source.status();
        if (source->empty())
            break;
        const auto target = readRows(m_target, table, last, rowsPerBatch);
        if (!target.ok())
            return target.status();
        Batch batch;
        if (auto compared = compareBatch(count, pass, source.value(), target.value(), batch); !compared.ok())
            return compared;
        if (auto written = write(table, pass, batch); !written.ok())
            return written;
        for (const TransferRow& row : source.value())
            digest.add(row);
        last = rowNumber(source->back());
        if (pass != Pass::Link)
            m_meter.addRows(static_cast<qint64>(source->size()));
    }
    const TableDigest content = digest.result();
    count.rows = content.rows;
    count.sha256 = content.sha256;
    return refuseRowsBehind(table, last);
}

/// Both are in the order of their numbers; the target's may reach beyond the source's.
Status RowMigration::compareBatch(TableCount& count, Pass pass, const std::vector<TransferRow>& source,
                                  const std::vector<TransferRow>& target, Batch& batch) const
{
    auto there = target.begin();
    for (const TransferRow& row : source) {
        if (there != target.end() && rowNumber(*there) < rowNumber(row))
            return onlyInTarget(*count.table, *there);
        if (there == target.end() || rowNumber(*there) > rowNumber(row)) {
            ++count.missing;
            batch.missing.push_back(withoutLaterReferences(*count.table, row));
        } else if (auto compared = compareRow(count, pass, row, *there++, batch); !compared.ok()) {
            return compared;
        }
    }
    return {};
}

Status RowMigration::compareRow(TableCount& count, Pass pass, const TransferRow& source,
                                const TransferRow& target, Batch& batch) const
{
    const TransferTable& table = *count.table;
    switch (compareRows(table, source, target)) {
    case RowLikeness::Same:
        return {};
    case RowLikeness::Other:
        return anotherRow(table, source, target);
    case RowLikeness::Unlinked:
        if (pass == Pass::Link)
            batch.outdated.push_back(source);
        return {};
    case RowLikeness::Outdated:
        break;
    }
    if (m_outdated == OutdatedRows::Refuse)
        return outdatedRow(table, source);
    ++count.outdated;
    // What it refers to may not be there yet.
    batch.outdated.push_back(pass == Pass::Link ? source : withoutLaterReferences(table, source));
    return {};
}

Status RowMigration::write(const TransferTable& table, Pass pass, const Batch& batch)
{
    if (pass == Pass::Look)
        return {};
    // In the last pass every row is there, unless somebody has removed it meanwhile: verify() tells.
    if (pass == Pass::Bring && !batch.missing.empty())
        if (auto inserted = insertRows(m_target, table, batch.missing); !inserted.ok())
            return inserted;
    return batch.outdated.empty() ? Status() : updateRows(m_target, table, batch.outdated);
}

Status RowMigration::refuseRowsBehind(const TransferTable& table, qint64 last)
{
    const auto behind = readRows(m_target, table, last, 1);
    if (!behind.ok())
        return behind.status();
    return behind->empty() ? Status() : onlyInTarget(table, behind->front());
}

Status RowMigration::verify()
{
    for (const TableCount& count : m_tables) {
        const auto source = digestOfTable(m_source, *count.table);
        if (!source.ok())
            return source.status();
        if (source.value() != TableDigest{count.rows, count.sha256})
            return sourceChanged(*count.table);
        if (auto target = verifyTargetTable(count); !target.ok())
            return target;
    }
    return {};
}

Status RowMigration::verifyTarget()
{
    for (const TableCount& count : m_tables)
        if (auto verified = verifyTargetTable(count); !verified.ok())
            return verified;
    return {};
}

Status RowMigration::verifyTargetTable(const TableCount& count)
{
    const auto target = digestOfTable(m_target, *count.table);
    if (!target.ok())
        return target.status();
    if (target.value() != TableDigest{count.rows, count.sha256})
        return Status::corrupt(
            QStringLiteral("the target's rows of %1 are not those that were written: somebody "
                           "else has changed them, or the engine has")
                .arg(QLatin1String(count.table->name)));
    m_meter.addRows(count.rows);
    return {};
}

} // namespace KOZAV::Backend
