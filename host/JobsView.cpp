#include "host/JobsView.h"

#include "host/JobTable.h"
#include "host/core/JobReader.h"
#include "host/core/JobsModel.h"

#include <QComboBox>
#include <QDate>
#include <QDateEdit>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include <limits>
#include <utility>

namespace KOZAV::Host {

namespace {

constexpr int typingMs = 200;
constexpr int longestText = 120; // names are sought by their first characters

/// Times to choose from; a positive one is a number of days up to today.
constexpr int anyTime = 0;
constexpr int chosenDays = -1;

} // namespace

JobsView::JobsView(JobReader& reader, QWidget* parent)
    : QWidget(parent)
    , m_reader(reader)
    , m_jobs(new JobsModel(reader, this))
    , m_table(new JobTable(*m_jobs, QStringLiteral("jobs"), this))
    , m_count(new QLabel(this))
{
    m_table->setObjectName(QStringLiteral("jobsTable"));
    m_table->setAccessibleName(tr("Source files"));
    m_table->setColumns({110, 130, 100, 90, 80, 144, 110, 60}, {JobsModel::StoredName});
    m_table->showOrder(JobsModel::Time, Qt::DescendingOrder);
    m_table->restoreColumns();
    m_table->setEmptyText(tr("Reading …"));
    m_count->setObjectName(QStringLiteral("jobsCount"));
    m_typing.setSingleShot(true);
    m_typing.setInterval(typingMs);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(buildSearch());
    layout->addWidget(m_table, 1);
    layout->addWidget(m_count);

    connect(&m_typing, &QTimer::timeout, this, &JobsView::search);
    connect(m_jobs, &JobListModel::counted, this, &JobsView::showCount);
    connect(m_jobs, &JobListModel::told, this, &JobsView::showFailure);
    connect(m_jobs, &JobListModel::told, this, &JobsView::told);
    connect(m_jobs, &QAbstractItemModel::modelReset, this, [this] { m_table->setEmptyText(emptyText()); });
}

QLineEdit* JobsView::addField(const QString& name, const QString& placeholder)
{
    auto* field = new QLineEdit(this);
    field->setObjectName(name);
    field->setPlaceholderText(placeholder);
    field->setAccessibleName(placeholder);
    field->setToolTip(tr("Upper and lower case are different."));
    field->setClearButtonEnabled(true);
    field->setMaxLength(longestText);
    field->setMinimumWidth(70);
    connect(field, &QLineEdit::textChanged, &m_typing, qOverload<>(&QTimer::start));
    connect(field, &QLineEdit::returnPressed, this, &JobsView::search);
    return field;
}

QComboBox* JobsView::addChoice(const QString& name)
{
    auto* choice = new QComboBox(this);
    choice->setObjectName(name);
    choice->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    choice->setMinimumContentsLength(8);
    return choice;
}

QWidget* JobsView::buildSearch()
{
    auto* box = new QWidget(this);
    m_generatedName = addField(QStringLiteral("searchGeneratedName"), tr("Generated name begins with"));
    m_jobName = addField(QStringLiteral("searchJobName"), tr("Job begins with"));
    m_batch = addField(QStringLiteral("searchBatch"), tr("Batch"));
    m_batch->setToolTip(tr("Number of a batch; 0 for jobs that were imported by themselves."));
    m_batch->setValidator(new QIntValidator(0, std::numeric_limits<int>::max(), m_batch));
    m_company = addChoice(QStringLiteral("searchCompany"));
    m_company->setAccessibleName(tr("Company"));
    m_company->addItem(tr("All companies"), QString());
    m_state = addChoice(QStringLiteral("searchState"));
    m_state->setAccessibleName(tr("State"));
    fillStates();
    m_time = addChoice(QStringLiteral("searchTime"));
    m_time->setAccessibleName(tr("Time of the import"));
    m_from = new QDateEdit(QDate::currentDate().addDays(-30), this);
    m_until = new QDateEdit(QDate::currentDate(), this);
    m_from->setAccessibleName(tr("From this day on"));
    m_until->setAccessibleName(tr("Up to this day"));
    for (QDateEdit* day : {m_from, m_until}) {
        day->setCalendarPopup(true);
        day->setDisplayFormat(QStringLiteral("yyyy-MM-dd"));
        day->hide();
        connect(day, &QDateEdit::dateChanged, &m_typing, qOverload<>(&QTimer::start));
    }
    fillTimes();
    for (QComboBox* choice : {m_company, m_state, m_time})
        connect(choice, qOverload<int>(&QComboBox::currentIndexChanged), this, &JobsView::search);
    auto* clear = new QPushButton(tr("&Clear search"), this);
    clear->setObjectName(QStringLiteral("clearSearch"));
    connect(clear, &QPushButton::clicked, this, &JobsView::clearSearch);

    auto* layout = new QGridLayout(box);
    layout->setContentsMargins(4, 4, 4, 0);
    layout->addWidget(m_generatedName, 0, 0);
    layout->addWidget(m_jobName, 0, 1);
    layout->addWidget(m_company, 0, 2);
    layout->addWidget(m_batch, 1, 0);
    layout->addWidget(m_state, 1, 1);
    layout->addWidget(m_time, 1, 2);
    auto* last = new QHBoxLayout;
    last->addWidget(m_from);
    last->addWidget(m_until);
    layout->addLayout(last, 1, 3);
    layout->addWidget(clear, 0, 3);
    for (int column = 0; column < 3; ++column)
        layout->setColumnStretch(column, 1);
    return box;
}

void JobsView::fillStates()
{
    m_state->addItem(tr("All states"));
    for (const FlowState& state : {FlowState(0, 0), FlowState(1, 2), FlowState(-1, -1), FlowState(-2, -2)})
        m_state->addItem(stateText(state, true), QVariant::fromValue(QPoint(state.first, state.second)));
}

void JobsView::fillTimes()
{
    m_time->addItem(tr("Any time"), anyTime);
    m_time->addItem(tr("Today"), 1);
    m_time->addItem(tr("The last 7 days"), 7);
    m_time->addItem(tr("The last 30 days"), 30);
    m_time->addItem(tr("From … to …"), chosenDays);
}

/// The company that is chosen stays chosen.
void JobsView::readCompanies()
{
    m_reader.ask(this, [this]() -> JobReader::Answer {
        std::vector<ListedCompany> companies;
        if (!JobPages::companies(companies).reason.isEmpty())
            return {};
        return [this, companies] {
            const QString chosen = m_company->currentData().toString();
            const QSignalBlocker quiet(m_company);
            while (m_company->count() > 1)
                m_company->removeItem(1);
            for (const ListedCompany& company : companies)
                m_company->addItem(company.name, company.code);
            m_company->setCurrentIndex(std::max(0, m_company->findData(chosen)));
        };
    });
}

void JobsView::clearSearch()
{
    {
        const QSignalBlocker company(m_company);
        const QSignalBlocker state(m_state);
        const QSignalBlocker time(m_time);
        for (QComboBox* choice : {m_company, m_state, m_time})
            choice->setCurrentIndex(0);
        for (QLineEdit* field : {m_generatedName, m_jobName, m_batch})
            field->clear();
    }
    search();
}

void JobsView::setTimes(JobQuery& query) const
{
    const int days = m_time->currentData().toInt();
    const QDate today = QDate::currentDate();
    if (days == anyTime)
        return;
    const QDate from = days == chosenDays ? m_from->date() : today.addDays(1 - days);
    query.from = from.startOfDay();
    if (days == chosenDays)
        query.until = m_until->date().addDays(1).startOfDay();
}

void JobsView::search()
{
    m_typing.stop();
    const bool chosen = m_time->currentData().toInt() == chosenDays;
    m_from->setVisible(chosen);
    m_until->setVisible(chosen);
    JobQuery query = m_jobs->query();
    query.generatedName = m_generatedName->text();
    query.jobName = m_jobName->text();
    query.companyCode = m_company->currentData().toString();
    query.batchNumber = m_batch->text().isEmpty() ? std::nullopt : std::optional(m_batch->text().toInt());
    query.state = std::nullopt;
    if (const QVariant state = m_state->currentData(); state.isValid())
        query.state = FlowState(state.toPoint().x(), state.toPoint().y());
    query.from = query.until = QDateTime();
    setTimes(query);
    m_jobs->setQuery(query);
}

bool JobsView::isSearching() const
{
    JobQuery all;
    all.order = m_jobs->query().order;
    all.descending = m_jobs->query().descending;
    return m_jobs->query() != all;
}

QString JobsView::emptyText() const
{
    if (!isSearching())
        return tr("No jobs yet. Choose a batch directory or a single source on the left and import it.");
    return tr("No job is like that. Names are compared from their beginning, and upper and lower case are "
              "different.");
}

void JobsView::showCount(qint64 jobs, bool orMore)
{
    const QString number = QLocale().toString(jobs);
    m_count->setText(orMore ? tr("More than %1 jobs").arg(number) : tr("Jobs: %1").arg(number));
    if (!isSearching() && std::exchange(m_all, jobs) != jobs)
        Q_EMIT allCounted(static_cast<int>(jobs), orMore);
}

void JobsView::showFailure(const JobReadFailure& failure)
{
    if (failure.reason.isEmpty()) {
        if (m_jobs->isRead())
            m_table->setEmptyText(emptyText());
        return;
    }
    m_count->setText(tr("The jobs cannot be read: %1").arg(failure.reason));
    m_table->setEmptyText(tr("The jobs cannot be read at the moment."));
}

void JobsView::refresh()
{
    m_jobs->refresh();
    if (isVisible())
        readCompanies();
}

void JobsView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    readCompanies();
    m_jobs->begin();
    m_jobs->refresh();
    m_jobs->follow(true);
}

void JobsView::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    m_jobs->follow(false);
}

} // namespace KOZAV::Host
