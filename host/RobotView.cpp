#include "host/RobotView.h"

#include "host/Theme.h"
#include "host/core/RunGate.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QItemSelectionModel>
#include <QJsonDocument>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableView>
#include <QVBoxLayout>

#include <algorithm>

namespace KOZAV::Host {

namespace {

constexpr int refreshMs = 15000;
constexpr int mostFailures = 4; ///< that are told beneath the table

QLabel* plainLabel(QWidget* parent, const QString& objectName)
{
    auto* label = new QLabel(parent);
    label->setObjectName(objectName);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    return label;
}

} // namespace

RobotView::RobotView(QWidget* parent)
    : QWidget(parent)
    , m_requests(new RobotRequestsModel(this))
    , m_orders(new RobotOrders(this))
{
    setAccessibleName(tr("Requests to the robot"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(buildTop());
    layout->addWidget(buildCentre(), 1);
    layout->addWidget(buildBottom());
    m_interval.setInterval(refreshMs);
    connectParts();
    showSelection();
}

QWidget* RobotView::buildTop()
{
    auto* box = new QWidget(this);
    auto* layout = new QHBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* label = new QLabel(tr("&Show:"), box);
    m_filter = new QComboBox(box);
    m_filter->setObjectName(QStringLiteral("robotFilter"));
    m_filter->setAccessibleName(tr("Requests that are shown"));
    label->setBuddy(m_filter);
    const std::pair<RobotFilter, QString> filters[] = {
        {RobotFilter::All, tr("All requests")},        {RobotFilter::Open, tr("To be dealt with")},
        {RobotFilter::Waiting, tr("Waiting again")},   {RobotFilter::Sent, tr("Sent")},
        {RobotFilter::Answered, tr("Answered")},       {RobotFilter::Refused, tr("Refused")},
        {RobotFilter::Unknown, tr("Unknown outcome")}, {RobotFilter::NotSent, tr("Not sent")}};
    for (const auto& [filter, text] : filters)
        m_filter->addItem(text, static_cast<int>(filter));
    m_refresh = new QPushButton(tr("Re&fresh"), box);
    m_refresh->setObjectName(QStringLiteral("robotRefresh"));
    layout->addWidget(label);
    layout->addWidget(m_filter);
    layout->addStretch(1);
    layout->addWidget(m_refresh);
    return box;
}

QWidget* RobotView::buildCentre()
{
    m_table = new QTableView(this);
    m_table->setObjectName(QStringLiteral("robotRequests"));
    m_table->setAccessibleName(tr("Requests to the robot"));
    m_table->setModel(m_requests);
    applyTableLook(*m_table, {110, 130, 90, 110, 150, 130, 100, 80});
    m_table->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_table->setContextMenuPolicy(Qt::CustomContextMenu);
    m_empty = plainLabel(this, QStringLiteral("robotEmpty"));
    m_empty->setAlignment(Qt::AlignCenter);
    m_centre = new QStackedWidget(this);
    m_centre->addWidget(m_table);
    m_centre->addWidget(m_empty);
    m_centre->setCurrentWidget(m_empty);
    return m_centre;
}

QWidget* RobotView::buildBottom()
{
    auto* box = new QWidget(this);
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    m_detail = plainLabel(box, QStringLiteral("robotDetail"));
    m_detail->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_state = plainLabel(box, QStringLiteral("robotState"));
    m_resend = new QPushButton(tr("&Send again"), box);
    m_resend->setObjectName(QStringLiteral("robotResend"));
    m_resend->setToolTip(
        tr("Sends the requests of the selected jobs to the robot again and waits for its answer"));
    m_requeue = new QPushButton(tr("&Back to the waiting list"), box);
    m_requeue->setObjectName(QStringLiteral("robotRequeue"));
    m_requeue->setToolTip(tr("Puts the selected jobs on the waiting list again; the robot is not told"));
    m_stop = new QPushButton(tr("S&top"), box);
    m_stop->setObjectName(QStringLiteral("robotStop"));
    m_stop->setToolTip(tr("Leaves the jobs out that come after the one that is under way"));
    m_stop->hide();
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_state, 1);
    for (QPushButton* button : {m_stop, m_resend, m_requeue})
        buttons->addWidget(button);
    layout->addWidget(m_detail);
    layout->addLayout(buttons);
    return box;
}

void RobotView::connectParts()
{
    connect(m_filter, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            [this] { m_requests->setFilter(static_cast<RobotFilter>(m_filter->currentData().toInt())); });
    connect(m_refresh, &QPushButton::clicked, this, &RobotView::reload);
    connect(&m_interval, &QTimer::timeout, this, &RobotView::reload);
    connect(m_resend, &QPushButton::clicked, this, [this] { startOrder(RobotOrders::Order::Resend); });
    connect(m_requeue, &QPushButton::clicked, this, [this] { startOrder(RobotOrders::Order::Requeue); });
    connect(m_stop, &QPushButton::clicked, m_orders, &RobotOrders::stop);
    connect(m_requests, &QAbstractItemModel::modelAboutToBeReset, this, &RobotView::keepSelection);
    connect(m_requests, &QAbstractItemModel::modelReset, this, &RobotView::restoreSelection);
    connect(m_requests, &RobotRequestsModel::loaded, this, &RobotView::showLoaded);
    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &RobotView::showSelection);
    connect(m_orders, &RobotOrders::changed, this, &RobotView::showOrder);
    connect(m_orders, &RobotOrders::finished, this, &RobotView::finishOrder);
    connect(m_table, &QWidget::customContextMenuRequested, this, [this](const QPoint& place) {
        QMenu menu(this);
        for (QPushButton* button : {m_resend, m_requeue}) {
            QAction* action = menu.addAction(button->text(), button, &QAbstractButton::click);
            action->setEnabled(button->isEnabled());
        }
        menu.exec(m_table->viewport()->mapToGlobal(place));
    });
}

void RobotView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    m_interval.start();
    reload();
}

void RobotView::reload()
{
    RunGate::whenOpen(this, [this] {
        if (isVisible())
            m_requests->reload();
        else
            m_interval.stop();
    });
}

std::vector<int> RobotView::selectedRows() const
{
    std::vector<int> rows;
    for (const QModelIndex& index : m_table->selectionModel()->selectedRows())
        rows.push_back(index.row());
    std::sort(rows.begin(), rows.end());
    return rows;
}

QStringList RobotView::selectedJobs() const
{
    QStringList names;
    const std::vector<int> rows = selectedRows();
    for (auto row = rows.rbegin(); row != rows.rend(); ++row) {
        const RobotRequestRow& request = m_requests->request(*row);
        if (request.job == RobotJobPlace::AtRobot)
            names << request.request.generatedName;
    }
    names.removeDuplicates();
    return names;
}

void RobotView::startOrder(RobotOrders::Order order)
{
    m_orders->start(order, selectedJobs());
}

void RobotView::keepSelection()
{
    m_selected.clear();
    for (const int row : selectedRows())
        m_selected.push_back(m_requests->request(row).number);
}

void RobotView::restoreSelection()
{
    QItemSelection selection;
    for (int row = 0; row < m_requests->rowCount(); ++row) {
        const qint64 number = m_requests->request(row).number;
        if (std::find(m_selected.begin(), m_selected.end(), number) != m_selected.end())
            selection.select(m_requests->index(row, 0),
                             m_requests->index(row, RobotRequestsModel::UserColumn));
    }
    m_table->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    showSelection();
}

void RobotView::showSelection()
{
    const std::vector<int> rows = selectedRows();
    const bool can = !m_orders->isRunning() && !selectedJobs().isEmpty();
    m_resend->setEnabled(can);
    m_requeue->setEnabled(can);
    m_detail->setVisible(!rows.empty());
    if (rows.size() > 1) {
        m_detail->setText(tr("%n request(s) selected", nullptr, static_cast<int>(rows.size())));
    } else if (rows.size() == 1) {
        const RobotRequestRow& row = m_requests->request(rows.front());
        const QString document =
            QString::fromUtf8(QJsonDocument(row.request.document).toJson(QJsonDocument::Compact));
        m_detail->setText(RobotRequestsModel::sentence(row) + QLatin1Char('\n') + row.request.reason +
                          QLatin1Char('\n') + document);
    }
}

void RobotView::showLoaded()
{
    const bool all = static_cast<RobotFilter>(m_filter->currentData().toInt()) == RobotFilter::All;
    if (!m_requests->failure().isEmpty())
        m_empty->setText(tr("The requests cannot be read: %1").arg(m_requests->failure()));
    else
        m_empty->setText(
            all ? tr("No job has been handed to the robot yet. Open a waiting job and confirm it; "
                     "its request is then listed here.")
                : tr("There is no request of this kind."));
    const bool empty = !m_requests->failure().isEmpty() || m_requests->rowCount() == 0;
    m_centre->setCurrentWidget(empty ? static_cast<QWidget*>(m_empty) : m_table);
}

void RobotView::showOrder()
{
    const int done = static_cast<int>(m_orders->results().size());
    const int all = m_orders->jobCount();
    m_stop->setVisible(m_orders->isRunning());
    m_state->setText(m_orders->order() == RobotOrders::Order::Resend
                         ? tr("Sending again: %1 of %2").arg(done).arg(all)
                         : tr("Putting back: %1 of %2").arg(done).arg(all));
    showSelection();
}

void RobotView::finishOrder()
{
    int done = 0;
    QStringList failures;
    for (const RobotOrderResult& result : m_orders->results()) {
        done += result.done ? 1 : 0;
        if (result.done)
            continue;
        failures << tr("%1: %2").arg(result.generatedName, result.text);
        Q_EMIT told(failures.constLast());
    }
    const bool resent = m_orders->order() == RobotOrders::Order::Resend;
    QString text = resent ? tr("%n job(s) answered by the robot", nullptr, done)
                          : tr("%n job(s) back on the waiting list", nullptr, done);
    const int hidden = failures.size() - mostFailures;
    failures = failures.mid(0, mostFailures);
    if (hidden > 0)
        failures << tr("%n more in the messages", nullptr, hidden);
    if (!failures.isEmpty())
        text += QLatin1Char('\n') + failures.join(QLatin1Char('\n'));
    m_state->setText(text);
    reload();
    Q_EMIT jobsChanged();
}

} // namespace KOZAV::Host
