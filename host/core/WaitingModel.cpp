#include "host/core/WaitingModel.h"

namespace KOZAV::Host {

namespace {

JobQuery waitingJobs()
{
    JobQuery query;
    query.state = FlowState(0, 0);
    query.onlyComplete = true;
    query.descending = false;
    return query;
}

} // namespace

WaitingModel::WaitingModel(JobReader& reader, QObject* parent)
    : JobListModel(reader, waitingJobs(), parent)
{
    showFailedRequests();
}

void WaitingModel::search(const QString& generatedName)
{
    JobQuery searched = query();
    searched.generatedName = generatedName;
    setQuery(searched);
}

int WaitingModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant WaitingModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    switch (section) {
    case Number:
        return tr("No.");
    case GeneratedName:
        return tr("Generated name");
    case Company:
        return tr("Company");
    case Note:
        return tr("Note");
    default:
        return {};
    }
}

std::optional<JobQuery::Order> WaitingModel::orderOf(int column) const
{
    switch (column) {
    case Number:
        return JobQuery::Order::Time;
    case GeneratedName:
    case Company:
        return JobQuery::Order::GeneratedName;
    default:
        return std::nullopt;
    }
}

QVariant WaitingModel::cell(const ListedJob& job, int column, int role) const
{
    const bool failed = !job.failedRequest.isEmpty();
    if (role == Qt::ToolTipRole && failed)
        return tr("The request to the robot failed: %1").arg(job.failedRequest);
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole)
        return {};
    switch (column) {
    case Number:
        return job.jobId;
    case GeneratedName:
        return job.generatedName;
    case Company:
        return job.company;
    case Note:
        return failed ? tr("Request failed") : QString();
    default:
        return {};
    }
}

} // namespace KOZAV::Host
