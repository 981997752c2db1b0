#include "host/WaitingJobsView.h"

#include "host/Theme.h"
#include "services/ui/ZAV_StdCommon.h"

#include <QAbstractTableModel>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>

#include <vector>

namespace KOZAV::Host {

/// The jobs that wait for import, oldest first.
class WaitingJobsView::Model final : public QAbstractTableModel
{
public:
    using QAbstractTableModel::QAbstractTableModel;

    void reload();
    [[nodiscard]] const DataLib::Model::Odbpp_Job_C& job(int row) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    std::vector<DataLib::Model::Odbpp_Job_C> m_jobs;
};

void WaitingJobsView::Model::reload()
{
    beginResetModel();
    m_jobs = UI::ZAV_StdCommon::interface()->getInputJobList();
    endResetModel();
}

const DataLib::Model::Odbpp_Job_C& WaitingJobsView::Model::job(int row) const
{
    return m_jobs[static_cast<std::size_t>(row)];
}

int WaitingJobsView::Model::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_jobs.size());
}

int WaitingJobsView::Model::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : 2;
}

QVariant WaitingJobsView::Model::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || role != Qt::DisplayRole)
        return {};
    const DataLib::Model::Odbpp_Job_C& row = job(index.row());
    if (index.column() == 0)
        return row.jobId;
    return QString::fromStdString(row.jobName);
}

QVariant WaitingJobsView::Model::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QAbstractTableModel::headerData(section, orientation, role);
    return section == 0 ? QStringLiteral("编号") : QStringLiteral("系统料号");
}

WaitingJobsView::WaitingJobsView(QWidget* parent)
    : QWidget(parent)
    , m_jobs(new Model(this))
    , m_table(new QTableView(this))
    , m_count(new QLabel(this))
    , m_open(new QPushButton(QStringLiteral("打开料号导入(&O)"), this))
{
    m_table->setModel(m_jobs);
    m_table->setAccessibleName(QStringLiteral("等待导入的料号"));
    applyTableLook(*m_table, {70, 160});

    auto* row = new QHBoxLayout;
    row->addWidget(m_count, 1);
    auto* refresh = new QPushButton(QStringLiteral("刷新(&R)"), this);
    row->addWidget(refresh);
    row->addWidget(m_open);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_table);
    layout->addLayout(row);

    connect(m_table, &QTableView::activated, this, &WaitingJobsView::openSelected);
    connect(m_open, &QPushButton::clicked, this, &WaitingJobsView::openSelected);
    connect(refresh, &QPushButton::clicked, this, &WaitingJobsView::reload);
    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &WaitingJobsView::showSelection);
    connect(m_jobs, &QAbstractItemModel::modelReset, this, &WaitingJobsView::showSelection);
    showSelection();
}

void WaitingJobsView::reload()
{
    m_jobs->reload();
    m_count->setText(QStringLiteral("共 %1 个料号").arg(m_jobs->rowCount()));
}

void WaitingJobsView::showSelection()
{
    m_open->setEnabled(m_table->selectionModel()->hasSelection());
}

void WaitingJobsView::openSelected()
{
    const QModelIndex index = m_table->currentIndex();
    if (index.isValid())
        Q_EMIT openRequested(m_jobs->job(index.row()));
}

} // namespace KOZAV::Host
