#include "host/JobTable.h"

#include "host/ClientState.h"
#include "host/Theme.h"
#include "host/core/JobListModel.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QTimer>

#include <algorithm>

namespace KOZAV::Host {

JobTable::JobTable(JobListModel& model, const QString& name, QWidget* parent)
    : QTableView(parent)
    , m_jobs(model)
    , m_name(name)
    , m_empty(new QLabel(viewport()))
{
    setModel(&model);
    setContextMenuPolicy(Qt::CustomContextMenu);
    connect(this, &QWidget::customContextMenuRequested, this, &JobTable::offerActions);
    horizontalHeader()->setSectionsMovable(true);
    horizontalHeader()->setSectionsClickable(true);
    horizontalHeader()->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(horizontalHeader(), &QWidget::customContextMenuRequested, this, &JobTable::offerColumns);
    connect(horizontalHeader(), &QHeaderView::sortIndicatorChanged, this, &JobTable::sortBy);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &JobTable::tellVisibleRows);
    m_empty->setAlignment(Qt::AlignCenter);
    m_empty->setWordWrap(true);
    m_empty->setTextFormat(Qt::PlainText);
    m_empty->setAttribute(Qt::WA_TransparentForMouseEvents);
    connectModel();
}

void JobTable::connectModel()
{
    connect(&m_jobs, &QAbstractItemModel::rowsAboutToBeInserted, this, &JobTable::rememberPlace);
    connect(&m_jobs, &QAbstractItemModel::rowsAboutToBeRemoved, this, &JobTable::rememberPlace);
    connect(&m_jobs, &QAbstractItemModel::modelAboutToBeReset, this, [this] {
        m_keptSelection = selectedJob();
        m_keeps = false;
    });
    connect(&m_jobs, &QAbstractItemModel::modelReset, this, [this] {
        m_keptTop.clear();
        m_keeps = true;
        restorePlace();
    });
    for (const auto signal : {&QAbstractItemModel::rowsInserted, &QAbstractItemModel::rowsRemoved})
        connect(&m_jobs, signal, this, &JobTable::showEmptyText);
    showEmptyText();
}

void JobTable::setColumns(const std::vector<int>& widths, const std::vector<int>& hidden)
{
    applyTableLook(*this, widths);
    for (const int column : hidden)
        setColumnHidden(column, true);
}

void JobTable::showOrder(int column, Qt::SortOrder order)
{
    const QSignalBlocker quiet(horizontalHeader());
    m_sortColumn = column;
    m_sortOrder = order;
    horizontalHeader()->setSortIndicatorShown(true);
    horizontalHeader()->setSortIndicator(column, order);
}

/// A column that jobs cannot be sorted by leaves the order as it is.
void JobTable::sortBy(int column, Qt::SortOrder order)
{
    if (!m_jobs.orderOf(column)) {
        showOrder(m_sortColumn, m_sortOrder);
        return;
    }
    m_sortColumn = column;
    m_sortOrder = order;
    m_jobs.sort(column, order);
}

void JobTable::restoreColumns()
{
    const ClientState state = ClientState::general();
    const QByteArray columns = state.value(m_name + QStringLiteral("/columns")).toByteArray();
    if (columns.isEmpty() ||
        state.value(m_name + QStringLiteral("/column_count")).toInt() != m_jobs.columnCount())
        return;
    {
        const QSignalBlocker quiet(horizontalHeader());
        if (!horizontalHeader()->restoreState(columns))
            return;
    }
    sortBy(horizontalHeader()->sortIndicatorSection(), horizontalHeader()->sortIndicatorOrder());
}

void JobTable::saveColumns() const
{
    ClientState state = ClientState::general();
    state.setValue(m_name + QStringLiteral("/columns"), horizontalHeader()->saveState());
    state.setValue(m_name + QStringLiteral("/column_count"), m_jobs.columnCount());
}

void JobTable::offerColumns(const QPoint& place)
{
    QMenu menu(this);
    const int shown = m_jobs.columnCount() - horizontalHeader()->hiddenSectionCount();
    for (int visual = 0; visual < m_jobs.columnCount(); ++visual) {
        const int column = horizontalHeader()->logicalIndex(visual);
        QAction* action =
            menu.addAction(m_jobs.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString());
        action->setCheckable(true);
        action->setChecked(!isColumnHidden(column));
        action->setEnabled(isColumnHidden(column) || shown > 1);
        connect(action, &QAction::toggled, this, [this, column](bool isShown) {
            setColumnHidden(column, !isShown);
            saveColumns();
        });
    }
    menu.exec(horizontalHeader()->mapToGlobal(place));
}

void JobTable::offerActions(const QPoint& place)
{
    const ListedJob* const job = m_jobs.job(indexAt(place).row());
    if (!job)
        return;
    QMenu menu(this);
    menu.addAction(tr("Copy row"), this, &JobTable::copySelected);
    menu.addAction(tr("Copy generated name"), this,
                   [name = job->generatedName] { QApplication::clipboard()->setText(name); });
    menu.exec(viewport()->mapToGlobal(place));
}

void JobTable::copySelected() const
{
    const int row = currentIndex().row();
    if (!m_jobs.job(row))
        return;
    QStringList cells;
    for (int visual = 0; visual < m_jobs.columnCount(); ++visual) {
        const int column = horizontalHeader()->logicalIndex(visual);
        if (!isColumnHidden(column))
            cells << m_jobs.index(row, column).data().toString();
    }
    QApplication::clipboard()->setText(cells.join(QLatin1Char('\t')));
}

QString JobTable::selectedJob() const
{
    if (!selectionModel()->hasSelection())
        return {};
    const ListedJob* const job = m_jobs.job(currentIndex().row());
    return job ? job->flowKey : QString();
}

void JobTable::setEmptyText(const QString& text)
{
    m_empty->setText(text);
    showEmptyText();
}

void JobTable::showEmptyText()
{
    m_empty->setGeometry(viewport()->rect().adjusted(12, 12, -12, -12));
    m_empty->setVisible(m_jobs.rowCount() == 0);
}

void JobTable::tellVisibleRows()
{
    const int last = rowAt(viewport()->height() - 1);
    m_jobs.setVisibleRows(std::max(0, rowAt(0)), last < 0 ? std::max(0, m_jobs.rowCount() - 1) : last);
}

/// Before the first of several changes at once.
void JobTable::rememberPlace()
{
    if (m_keeps)
        return;
    m_keeps = true;
    m_keptSelection = selectedJob();
    const ListedJob* const top = verticalScrollBar()->value() > 0 ? m_jobs.job(rowAt(0)) : nullptr;
    m_keptTop = top ? top->flowKey : QString();
    // Behind the layout of the rows that come.
    QTimer::singleShot(0, this, &JobTable::restorePlace);
}

void JobTable::restorePlace()
{
    if (!m_keeps)
        return;
    m_keeps = false;
    if (const int row = m_keptTop.isEmpty() ? -1 : m_jobs.rowOf(m_keptTop); row >= 0)
        scrollTo(m_jobs.index(row, horizontalHeader()->logicalIndex(0)), PositionAtTop);
    if (const int row = m_keptSelection.isEmpty() ? -1 : m_jobs.rowOf(m_keptSelection);
        row >= 0 && selectedJob() != m_keptSelection) {
        // Without scrolling to it: it may have moved far away.
        const bool scrolls = hasAutoScroll();
        setAutoScroll(false);
        selectRow(row);
        setAutoScroll(scrolls);
    }
    showEmptyText();
    tellVisibleRows();
}

void JobTable::resizeEvent(QResizeEvent* event)
{
    QTableView::resizeEvent(event);
    showEmptyText();
    tellVisibleRows();
}

void JobTable::showEvent(QShowEvent* event)
{
    QTableView::showEvent(event);
    tellVisibleRows();
}

void JobTable::hideEvent(QHideEvent* event)
{
    QTableView::hideEvent(event);
    saveColumns();
}

void JobTable::keyPressEvent(QKeyEvent* event)
{
    if (event->matches(QKeySequence::Copy))
        copySelected();
    else
        QTableView::keyPressEvent(event);
}

} // namespace KOZAV::Host
