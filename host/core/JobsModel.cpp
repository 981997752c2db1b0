#include "host/core/JobsModel.h"

#include <QLocale>

namespace KOZAV::Host {

JobsModel::JobsModel(JobReader& reader, QObject* parent)
    : JobListModel(reader, {}, parent)
{
}

int JobsModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant JobsModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    switch (section) {
    case Company:
        return tr("Company");
    case Job:
        return tr("Job");
    case GeneratedName:
        return tr("Generated name");
    case StoredName:
        return tr("Stored file");
    case Size:
        return tr("Size");
    case Time:
        return tr("Imported");
    case State:
        return tr("State");
    case Batch:
        return tr("Batch");
    default:
        return {};
    }
}

/// Generated names begin with the company's code: their order has the jobs of one company together.
std::optional<JobQuery::Order> JobsModel::orderOf(int column) const
{
    switch (column) {
    case Company:
    case GeneratedName:
        return JobQuery::Order::GeneratedName;
    case Job:
        return JobQuery::Order::JobName;
    case Time:
        return JobQuery::Order::Time;
    case State:
        return JobQuery::Order::State;
    case Batch:
        return JobQuery::Order::Batch;
    default:
        return std::nullopt;
    }
}

QVariant JobsModel::cell(const ListedJob& job, int column, int role) const
{
    if (role == Qt::TextAlignmentRole)
        return int(Qt::AlignVCenter | (column == Size ? Qt::AlignRight : Qt::AlignLeft));
    return role == Qt::DisplayRole || role == Qt::ToolTipRole ? QVariant(text(job, column)) : QVariant();
}

QString JobsModel::text(const ListedJob& job, int column)
{
    switch (column) {
    case Company:
        return job.company;
    case Job:
        return job.jobName;
    case GeneratedName:
        return job.generatedName;
    case StoredName:
        return job.storedName;
    case Size:
        return job.storedLength < 0 ? QStringLiteral("—") : QLocale().formattedDataSize(job.storedLength);
    case Time:
        return job.importedAt.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    case State:
        return stateText(job.state, job.complete);
    case Batch:
        return job.batchNumber == 0 ? QString() : QString::number(job.batchNumber);
    default:
        return {};
    }
}

} // namespace KOZAV::Host
