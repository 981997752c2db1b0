#include "host/WaitingJobsModel.h"

#include "services/ui/ZAV_StdCommon.h"

namespace KOZAV::Host {

void WaitingJobsModel::reload()
{
    beginResetModel();
    m_jobs = UI::ZAV_StdCommon::interface()->getInputJobList();
    endResetModel();
}

const DataLib::Model::Odbpp_Job_C& WaitingJobsModel::job(int row) const
{
    return m_jobs[static_cast<std::size_t>(row)];
}

int WaitingJobsModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_jobs.size());
}

int WaitingJobsModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : 2;
}

QVariant WaitingJobsModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || role != Qt::DisplayRole)
        return {};
    const DataLib::Model::Odbpp_Job_C& row = job(index.row());
    if (index.column() == 0)
        return row.jobId;
    return QString::fromStdString(row.jobName);
}

QVariant WaitingJobsModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    return section == 0 ? QStringLiteral("编号") : QStringLiteral("系统料号");
}

} // namespace KOZAV::Host
