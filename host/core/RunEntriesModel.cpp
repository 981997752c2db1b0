#include "host/core/RunEntriesModel.h"

#include "host/core/Reasons.h"

#include <QLocale>

#include <algorithm>

namespace KOZAV::Host {

namespace {

/// Why an entry is what it is: its reason, or else its first warning.
Remark whyOf(const BatchReportRow& row)
{
    if (!row.reasonCode.isEmpty() || !row.reason.isEmpty() || row.warnings.empty())
        return {row.reasonCode, row.reason};
    return row.warnings.front();
}

bool wasStored(const BatchReportRow& row)
{
    return !row.storedName.isEmpty();
}

QString momentText(const QDateTime& time)
{
    return time.isValid() ? time.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) : QString();
}

} // namespace

RunEntriesModel::RunEntriesModel(QObject* parent)
    : QAbstractTableModel(parent)
{
}

void RunEntriesModel::setRun(const RunRecord& run)
{
    beginResetModel();
    m_run = run;
    endResetModel();
}

void RunEntriesModel::amendRun(const RunRecord& run)
{
    if (run.rows.size() != m_run.rows.size())
        return setRun(run);
    m_run = run;
    if (rowCount() > 0)
        Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount - 1));
}

QString RunEntriesModel::explained(const QString& code, const QString& particulars)
{
    QStringList lines;
    if (const QString meaning = reasonText(code); !meaning.isEmpty())
        lines << meaning;
    if (const QString advice = reasonAdvice(code); !advice.isEmpty())
        lines << tr("What to do: %1").arg(advice);
    if (!particulars.isEmpty())
        lines << particulars;
    return lines.join(QLatin1Char('\n'));
}

QString RunEntriesModel::explanation(int row) const
{
    const BatchReportRow& entry = m_run.rows[static_cast<std::size_t>(row)];
    QStringList parts = {
        QStringLiteral("%1/%2: %3").arg(entry.company, entry.entry, outcomeText(outcomeOf(entry)))};
    // A refuted job has the warning that refutes it as its reason, too.
    if (!entry.reasonCode.isEmpty() || !entry.reason.isEmpty())
        parts << explained(entry.reasonCode, entry.reason);
    for (const Remark& warning : entry.warnings) {
        const QString text = explained(warning.code, warning.text);
        if (!parts.contains(text))
            parts << text;
    }
    if (!entry.sourcePath.isEmpty())
        parts << tr("Source: %1").arg(entry.sourcePath);
    if (wasStored(entry))
        parts << tr("Stored as: %1").arg(entry.storedName);
    return parts.join(QLatin1Char('\n'));
}

QString RunEntriesModel::facts() const
{
    QStringList parts = {tr("Source: %1").arg(m_run.source),
                         tr("From %1 to %2").arg(momentText(m_run.start), momentText(m_run.end))};
    if (!m_run.userName.isEmpty() || !m_run.host.isEmpty())
        parts << tr("By %1 on %2").arg(m_run.userName, m_run.host);
    for (const Remark& remark : m_run.remarks)
        parts << explained(remark.code, remark.text);
    return parts.join(QLatin1Char('\n'));
}

int RunEntriesModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_run.rows.size());
}

int RunEntriesModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QString RunEntriesModel::text(const BatchReportRow& row, int column)
{
    switch (column) {
    case OutcomeColumn:
        return outcomeText(outcomeOf(row));
    case Company:
        return row.company;
    case Job:
        return row.entry;
    case GeneratedName:
        return row.generatedName;
    case Size:
        return wasStored(row) ? QLocale().formattedDataSize(row.bytes) : QString();
    case Duration:
        return wasStored(row) ? tr("%1 s").arg(QLocale().toString(row.seconds, 'f', 1)) : QString();
    case Reason: {
        const Remark why = whyOf(row);
        const QString meaning = reasonText(why.code);
        return meaning.isEmpty() ? why.text : meaning;
    }
    case Advice:
        return reasonAdvice(whyOf(row).code);
    default:
        return {};
    }
}

QVariant RunEntriesModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    const BatchReportRow& row = m_run.rows[static_cast<std::size_t>(index.row())];
    const bool isNumber = index.column() == Size || index.column() == Duration;
    switch (role) {
    case Qt::DisplayRole:
        return text(row, index.column());
    case Qt::TextAlignmentRole:
        return isNumber ? QVariant(int(Qt::AlignRight | Qt::AlignVCenter)) : QVariant();
    case OutcomeRole:
        return static_cast<int>(outcomeOf(row));
    case SortRole:
        if (index.column() == OutcomeColumn)
            return static_cast<int>(outcomeOf(row));
        if (isNumber)
            return index.column() == Size ? QVariant(row.bytes) : QVariant(row.seconds);
        return text(row, index.column());
    case SearchRole:
        return QStringList({row.company, row.entry, row.generatedName, row.storedName, row.reason,
                            text(row, Reason), row.sourcePath})
            .join(QLatin1Char('\n'));
    default:
        return {};
    }
}

QVariant RunEntriesModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case OutcomeColumn:
        return tr("Outcome");
    case Company:
        return tr("Company");
    case Job:
        return tr("Job");
    case GeneratedName:
        return tr("Generated name");
    case Size:
        return tr("Size");
    case Duration:
        return tr("Time");
    case Reason:
        return tr("Reason");
    case Advice:
        return tr("What to do");
    default:
        return {};
    }
}

RunEntriesFilter::RunEntriesFilter(RunEntriesModel& entries, QObject* parent)
    : QSortFilterProxyModel(parent)
{
    setSortRole(RunEntriesModel::SortRole);
    setSortLocaleAware(true);
    setDynamicSortFilter(true);
    setSourceModel(&entries);
}

void RunEntriesFilter::setOutcome(std::optional<Outcome> outcome)
{
    m_outcome = outcome;
    invalidateFilter();
}

void RunEntriesFilter::setSearch(const QString& text)
{
    m_search = text.trimmed();
    invalidateFilter();
}

QString RunEntriesFilter::copyOf(const QModelIndexList& rows) const
{
    std::vector<int> numbers;
    for (const QModelIndex& index : rows)
        numbers.push_back(index.row());
    std::sort(numbers.begin(), numbers.end());
    const auto line = [](const QStringList& cells) {
        // A cell is one line of one column.
        return QStringList(cells)
                   .replaceInStrings(QStringLiteral("\n"), QStringLiteral(" "))
                   .replaceInStrings(QStringLiteral("\t"), QStringLiteral(" "))
                   .join(QLatin1Char('\t')) +
               QLatin1Char('\n');
    };
    QStringList cells;
    for (int column = 0; column < columnCount(); ++column)
        cells << headerData(column, Qt::Horizontal).toString();
    QString copied = line(cells);
    for (const int row : numbers) {
        cells.clear();
        for (int column = 0; column < columnCount(); ++column)
            cells << index(row, column).data().toString();
        copied += line(cells);
    }
    return copied;
}

bool RunEntriesFilter::filterAcceptsRow(int row, const QModelIndex& parent) const
{
    const QModelIndex entry = sourceModel()->index(row, 0, parent);
    if (m_outcome && entry.data(RunEntriesModel::OutcomeRole).toInt() != static_cast<int>(*m_outcome))
        return false;
    return m_search.isEmpty() ||
           entry.data(RunEntriesModel::SearchRole).toString().contains(m_search, Qt::CaseInsensitive);
}

} // namespace KOZAV::Host
