#include "host/WaitingJobsView.h"

#include "host/JobTable.h"
#include "host/core/JobReader.h"
#include "host/core/WaitingModel.h"

#include <QHBoxLayout>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>

namespace KOZAV::Host {

namespace {

constexpr int searchTypingMs = 200;

} // namespace

WaitingJobsView::WaitingJobsView(JobReader& reader, QWidget* parent)
    : QWidget(parent)
    , m_jobs(new WaitingModel(reader, this))
    , m_table(new JobTable(*m_jobs, QStringLiteral("waiting"), this))
    , m_search(new QLineEdit(this))
    , m_count(new QLabel(this))
    , m_open(new QPushButton(this))
{
    m_table->setObjectName(QStringLiteral("waitingTable"));
    m_table->setAccessibleName(tr("Jobs that wait for import"));
    m_table->setColumns({60, 110, 90, 80}, {});
    m_table->showOrder(WaitingModel::Number, Qt::AscendingOrder);
    m_table->restoreColumns();
    m_table->setEmptyText(tr("Reading …"));
    m_search->setObjectName(QStringLiteral("searchWaiting"));
    m_search->setPlaceholderText(tr("Generated name begins with"));
    m_search->setAccessibleName(m_search->placeholderText());
    m_search->setToolTip(tr("Upper and lower case are different."));
    m_search->setClearButtonEnabled(true);
    m_count->setObjectName(QStringLiteral("waitingCount"));
    m_count->setWordWrap(true);
    m_typing.setSingleShot(true);
    m_typing.setInterval(searchTypingMs);

    auto* row = new QHBoxLayout;
    row->addWidget(m_count, 1);
    auto* refreshNow = new QPushButton(tr("&Refresh"), this);
    row->addWidget(refreshNow);
    row->addWidget(m_open);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_search);
    layout->addWidget(m_table, 1);
    layout->addLayout(row);

    connect(m_search, &QLineEdit::textChanged, &m_typing, qOverload<>(&QTimer::start));
    connect(&m_typing, &QTimer::timeout, this, [this] { m_jobs->search(m_search->text()); });
    connect(m_table, &QTableView::activated, this, &WaitingJobsView::openSelected);
    connect(m_open, &QPushButton::clicked, this, &WaitingJobsView::openSelected);
    connect(refreshNow, &QPushButton::clicked, this, &WaitingJobsView::refresh);
    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &WaitingJobsView::showSelection);
    connect(m_jobs, &QAbstractItemModel::modelReset, this, &WaitingJobsView::showSelection);
    connect(m_jobs, &QAbstractItemModel::dataChanged, this, &WaitingJobsView::showSelection);
    connect(m_jobs, &JobListModel::counted, this, &WaitingJobsView::showCount);
    connect(m_jobs, &JobListModel::told, this, &WaitingJobsView::showFailure);
    connect(m_jobs, &JobListModel::told, this, &WaitingJobsView::told);
    showSelection();
}

void WaitingJobsView::refresh()
{
    m_jobs->refresh();
}

void WaitingJobsView::showSelection()
{
    const ListedJob* const job =
        m_table->selectionModel()->hasSelection() ? m_jobs->job(m_table->currentIndex().row()) : nullptr;
    const bool failed = job && !job->failedRequest.isEmpty();
    m_open->setText(failed ? tr("&Open its request") : tr("&Open for import"));
    m_open->setEnabled(job != nullptr);
}

void WaitingJobsView::openSelected()
{
    const ListedJob* const job = m_jobs->job(m_table->currentIndex().row());
    if (!job)
        return;
    if (!job->failedRequest.isEmpty()) {
        Q_EMIT requestChosen(job->flowKey);
        return;
    }
    DataLib::Model::Odbpp_Job_C waiting;
    waiting.flowId = job->flowKey.toStdString();
    waiting.jobId = job->jobId;
    waiting.jobName = job->generatedName.toStdString();
    Q_EMIT openRequested(waiting);
}

void WaitingJobsView::showCount(qint64 jobs, bool orMore)
{
    const QString number = QLocale().toString(jobs);
    m_count->setText(orMore ? tr("More than %1 jobs").arg(number) : tr("Jobs: %1").arg(number));
}

void WaitingJobsView::showFailure(const JobReadFailure& failure)
{
    if (failure.reason.isEmpty())
        m_table->setEmptyText(m_search->text().isEmpty() ? tr("No job waits. What is imported appears here.")
                                                         : tr("No waiting job begins like that."));
    else
        m_table->setEmptyText(tr("The jobs cannot be read: %1").arg(failure.reason));
}

void WaitingJobsView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    m_jobs->begin();
    m_jobs->refresh();
    m_jobs->follow(true);
}

void WaitingJobsView::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    m_jobs->follow(false);
}

} // namespace KOZAV::Host
