#include "host/WaitingJobsView.h"

#include "host/Theme.h"
#include "host/WaitingJobsModel.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>

namespace KOZAV::Host {

WaitingJobsView::WaitingJobsView(QWidget* parent)
    : QWidget(parent)
    , m_jobs(new WaitingJobsModel(this))
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
