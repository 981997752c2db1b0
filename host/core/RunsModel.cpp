// The model is in core, and asks the site through the door beside it on another thread. Only the answer of
// the newest reading counts. A run that could not be written is shown all the same: it is this client's own.

#include "host/core/RunsModel.h"

#include "host/core/BehindWindow.h"
#include "host/site/RunHistory.h"

#include <algorithm>

namespace KOZAV::Host {

namespace {

constexpr int runsPerPage = 100;

} // namespace

RunsModel::RunsModel(QObject* parent)
    : QAbstractListModel(parent)
{
}

void RunsModel::reload()
{
    read(0, std::max(runsPerPage, rowCount()));
}

void RunsModel::read(qint64 behind, int limit)
{
    const int reading = m_reading = ++m_readings;
    workBehindWindow(
        this,
        [behind, limit] {
            Page page;
            page.runs = keptRuns(limit, behind, page.failure);
            return page;
        },
        [this, reading, behind, limit](const Page& page) {
            if (reading != m_reading)
                return;
            m_reading = 0;
            take(page, behind, limit);
        });
}

void RunsModel::take(const Page& page, qint64 behind, int limit)
{
    m_failure = page.failure;
    if (page.runs)
        add(*page.runs, behind, limit);
    Q_EMIT loaded();
}

/// @param behind  0: in place of all that is there
void RunsModel::add(const std::vector<RunSummary>& runs, qint64 behind, int limit)
{
    m_hasMore = static_cast<int>(runs.size()) >= limit;
    if (behind != 0 && runs.empty())
        return;
    if (behind != 0) {
        beginInsertRows({}, rowCount(), rowCount() + static_cast<int>(runs.size()) - 1);
        m_runs.insert(m_runs.end(), runs.begin(), runs.end());
        endInsertRows();
        return;
    }
    beginResetModel();
    m_runs = runs;
    if (m_own && rowOf(m_own->guid) < 0)
        m_runs.insert(m_runs.begin(), *m_own);
    endResetModel();
}

void RunsModel::put(const RunSummary& run)
{
    m_own = run;
    const int row = rowOf(run.guid);
    if (row < 0) {
        beginInsertRows({}, 0, 0);
        m_runs.insert(m_runs.begin(), run);
        endInsertRows();
        return;
    }
    RunSummary& shown = m_runs[static_cast<std::size_t>(row)];
    const qint64 position = shown.position;
    shown = run;
    shown.position = position;
    Q_EMIT dataChanged(index(row), index(row));
}

int RunsModel::rowOf(const QString& guid) const
{
    const auto found = std::find_if(m_runs.begin(), m_runs.end(),
                                    [&guid](const RunSummary& run) { return run.guid == guid; });
    return found == m_runs.end() ? -1 : static_cast<int>(found - m_runs.begin());
}

int RunsModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_runs.size());
}

QVariant RunsModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::ToolTipRole))
        return {};
    const RunSummary& shown = run(index.row());
    QStringList counts;
    for (const Outcome outcome : allOutcomes) {
        if (const int number = shown.counts.of(outcome); number > 0)
            counts << tr("%1 %2", "number and outcome").arg(number).arg(outcomeText(outcome));
    }
    QStringList parts = {shown.start.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm")),
                         counts.isEmpty() ? tr("nothing to import") : counts.join(QStringLiteral(", ")),
                         shown.source};
    if (!shown.userName.isEmpty() || !shown.host.isEmpty())
        parts << QStringLiteral("%1@%2").arg(shown.userName, shown.host);
    return parts.join(QStringLiteral(" · "));
}

bool RunsModel::canFetchMore(const QModelIndex& parent) const
{
    return !parent.isValid() && m_hasMore && m_reading == 0 && m_failure.isEmpty();
}

void RunsModel::fetchMore(const QModelIndex& parent)
{
    if (canFetchMore(parent))
        read(m_runs.back().position, runsPerPage);
}

} // namespace KOZAV::Host
