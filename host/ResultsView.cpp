// What is shown is a value in memory: painting, filtering and sorting ask nobody. A run that the site keeps
// is read on another thread when it is chosen; an answer that comes after another choice is dropped. The run
// that this client has made last is never read: what was found late of it is here before it is written.

#include "host/ResultsView.h"

#include "host/ClientState.h"
#include "host/RunResults.h"
#include "host/Theme.h"
#include "host/core/BehindWindow.h"
#include "host/core/RunEntriesModel.h"
#include "host/core/RunReportFile.h"
#include "host/core/RunsModel.h"
#include "host/site/RunHistory.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QStackedWidget>
#include <QStyledItemDelegate>
#include <QTableView>
#include <QVBoxLayout>

#include <algorithm>

namespace KOZAV::Host {

namespace {

constexpr int detailLines = 5;

QString exportPlaceKey()
{
    return QStringLiteral("results/exportDirectory");
}

/// Draws outcomes that somebody has to look at in colours that are read on both of the table's greys.
class OutcomeDelegate final : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        const auto outcome = static_cast<Outcome>(index.data(RunEntriesModel::OutcomeRole).toInt());
        if (isWrong(outcome)) {
            option->palette.setColor(QPalette::Text, QColor(0xff, 0xb8, 0xb8));
            option->font.setBold(true);
        } else if (outcome == Outcome::WithWarnings) {
            option->palette.setColor(QPalette::Text, QColor(0xff, 0xd2, 0x8a));
        }
    }
};

struct ReadRun
{
    std::optional<RunRecord> run;
    QString failure;
};

} // namespace

ResultsView::ResultsView(const SiteAccess& site, QWidget* parent)
    : QWidget(parent)
    , m_site(site)
    , m_runs(new RunsModel(this))
    , m_entries(new RunEntriesModel(this))
    , m_shown(new RunEntriesFilter(*m_entries, this))
{
    setAccessibleName(tr("Results of imports"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(buildTop());
    layout->addWidget(buildFilter());
    layout->addWidget(buildCentre(), 1);
    layout->addWidget(buildBottom());
    connectParts();
    fillOutcomes();
    showState();
}

QWidget* ResultsView::buildTop()
{
    auto* box = new QWidget(this);
    auto* layout = new QHBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* label = new QLabel(tr("I&mport:"), box);
    m_run = new QComboBox(box);
    m_run->setObjectName(QStringLiteral("resultRun"));
    m_run->setAccessibleName(tr("Import whose results are shown"));
    m_run->setModel(m_runs);
    m_run->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_run->setMinimumContentsLength(12);
    m_run->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    label->setBuddy(m_run);
    m_refresh = new QPushButton(tr("Re&fresh"), box);
    m_refresh->setObjectName(QStringLiteral("resultRefresh"));
    layout->addWidget(label);
    layout->addWidget(m_run, 1);
    layout->addWidget(m_refresh);
    return box;
}

QWidget* ResultsView::buildFilter()
{
    auto* box = new QWidget(this);
    auto* layout = new QHBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    m_outcome = new QComboBox(box);
    m_outcome->setObjectName(QStringLiteral("resultOutcome"));
    m_outcome->setAccessibleName(tr("Outcome that is shown"));
    m_outcome->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    m_search = new QLineEdit(box);
    m_search->setObjectName(QStringLiteral("resultSearch"));
    m_search->setAccessibleName(tr("Search in the results"));
    m_search->setPlaceholderText(tr("Search"));
    m_search->setClearButtonEnabled(true);
    layout->addWidget(m_outcome);
    layout->addWidget(m_search, 1);
    return box;
}

QWidget* ResultsView::buildCentre()
{
    m_table = new QTableView(this);
    m_table->setObjectName(QStringLiteral("resultEntries"));
    m_table->setAccessibleName(tr("Entries of the import"));
    m_table->setModel(m_shown);
    applyTableLook(*m_table, {92, 96, 130, 240, 240, 130, 80});
    m_table->setItemDelegateForColumn(RunEntriesModel::OutcomeColumn, new OutcomeDelegate(m_table));
    m_table->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_table->setSortingEnabled(true);
    m_table->horizontalHeader()->setSectionsMovable(true);
    m_table->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    m_table->setContextMenuPolicy(Qt::ActionsContextMenu);
    m_empty = new QLabel(this);
    m_empty->setObjectName(QStringLiteral("resultEmpty"));
    m_empty->setTextFormat(Qt::PlainText);
    m_empty->setWordWrap(true);
    m_empty->setAlignment(Qt::AlignCenter);
    m_centre = new QStackedWidget(this);
    m_centre->addWidget(m_table);
    m_centre->addWidget(m_empty);
    return m_centre;
}

QWidget* ResultsView::buildBottom()
{
    auto* box = new QWidget(this);
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    m_detail = new QPlainTextEdit(box);
    m_detail->setObjectName(QStringLiteral("resultDetail"));
    m_detail->setAccessibleName(tr("Reason and what to do"));
    m_detail->setReadOnly(true);
    m_detail->setTabChangesFocus(true);
    m_detail->setFixedHeight(detailLines * m_detail->fontMetrics().lineSpacing() + 12);
    m_state = new QLabel(box);
    m_state->setObjectName(QStringLiteral("resultState"));
    m_state->setTextFormat(Qt::PlainText);
    m_state->setWordWrap(true);
    m_copy = new QPushButton(tr("&Copy"), box);
    m_copy->setObjectName(QStringLiteral("resultCopy"));
    m_copy->setToolTip(tr("Copies the selected entries, or all that are shown"));
    m_export = new QPushButton(tr("Save &as …"), box);
    m_export->setObjectName(QStringLiteral("resultExport"));
    m_export->setToolTip(tr("Writes all entries of this import into a file: for spreadsheets (CSV), for "
                            "programs (JSON), or to print (HTML)"));
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_state, 1);
    buttons->addWidget(m_copy);
    buttons->addWidget(m_export);
    layout->addWidget(m_detail);
    layout->addLayout(buttons);
    return box;
}

void ResultsView::connectParts()
{
    connect(m_run, QOverload<int>::of(&QComboBox::activated), this, &ResultsView::chooseRun);
    connect(m_runs, &QAbstractItemModel::modelReset, this, &ResultsView::restoreChoice);
    connect(m_runs, &QAbstractItemModel::rowsInserted, this, &ResultsView::restoreChoice);
    connect(m_runs, &RunsModel::loaded, this, [this] {
        if (m_chosen.isEmpty() && m_runs->rowCount() > 0)
            chooseRun(0);
        showState();
    });
    connect(m_refresh, &QPushButton::clicked, this, &ResultsView::reload);
    connect(m_outcome, QOverload<int>::of(&QComboBox::currentIndexChanged), this, [this] {
        const int outcome = m_outcome->currentData().toInt();
        m_shown->setOutcome(outcome < 0 ? std::nullopt : std::optional(static_cast<Outcome>(outcome)));
        showState();
    });
    connect(m_search, &QLineEdit::textChanged, this, [this](const QString& text) {
        m_shown->setSearch(text);
        showState();
    });
    const auto* selection = m_table->selectionModel();
    connect(selection, &QItemSelectionModel::selectionChanged, this, &ResultsView::showDetail);
    connect(selection, &QItemSelectionModel::currentRowChanged, this, &ResultsView::showDetail);
    auto* copy = new QAction(tr("&Copy"), m_table);
    copy->setShortcut(QKeySequence::Copy);
    copy->setShortcutContext(Qt::WidgetShortcut);
    auto* all = new QAction(tr("Select &all"), m_table);
    all->setShortcut(QKeySequence::SelectAll);
    all->setShortcutContext(Qt::WidgetShortcut);
    auto* save = new QAction(tr("Save &as …"), m_table);
    m_table->addActions({copy, all, save});
    connect(copy, &QAction::triggered, this, &ResultsView::copySelected);
    connect(all, &QAction::triggered, m_table, &QTableView::selectAll);
    connect(save, &QAction::triggered, this, &ResultsView::exportRun);
    connect(m_copy, &QPushButton::clicked, this, &ResultsView::copySelected);
    connect(m_export, &QPushButton::clicked, this, &ResultsView::exportRun);
}

void ResultsView::show(const RunRecord& run)
{
    m_last = run;
    m_chosen = run.guid;
    m_runs->put(run);
    restoreChoice();
    display(run);
}

void ResultsView::amend(const RunRecord& run)
{
    m_last = run;
    m_runs->put(run);
    if (m_chosen != run.guid)
        return;
    m_entries->amendRun(run);
    fillOutcomes();
    showDetail();
    showState();
}

void ResultsView::showLast(std::optional<Outcome> outcome)
{
    if (!m_last.guid.isEmpty() && m_chosen != m_last.guid)
        show(m_last);
    m_search->clear();
    m_outcome->setCurrentIndex(m_outcome->findData(outcome ? static_cast<int>(*outcome) : -1));
    m_table->setFocus();
}

void ResultsView::reload()
{
    // Who does not look needs nothing.
    m_isRead = isVisible();
    if (m_isRead)
        m_runs->reload();
}

void ResultsView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    if (!m_isRead)
        reload();
}

void ResultsView::chooseRun(int row)
{
    m_chosen = m_runs->run(row).guid;
    restoreChoice();
    if (m_chosen == m_last.guid)
        return display(m_last);
    const QString guid = m_chosen;
    workBehindWindow(
        this,
        [guid] {
            ReadRun read;
            read.run = keptRun(guid, read.failure);
            return read;
        },
        [this, guid](const ReadRun& read) {
            if (guid != m_chosen)
                return;
            display(read.run.value_or(RunRecord()));
            m_failure = read.failure;
            showState();
        });
}

/// The box shows the run that is chosen, whatever has become of the list.
void ResultsView::restoreChoice()
{
    const QSignalBlocker blocker(m_run);
    m_run->setCurrentIndex(m_runs->rowOf(m_chosen));
}

void ResultsView::display(const RunRecord& run)
{
    m_failure.clear();
    m_entries->setRun(run);
    fillOutcomes();
    showDetail();
    showState();
}

/// The outcomes with their numbers; what is chosen stays.
void ResultsView::fillOutcomes()
{
    const QSignalBlocker blocker(m_outcome);
    const int chosen = m_outcome->count() == 0 ? -1 : m_outcome->currentData().toInt();
    const OutcomeCounts& counts = m_entries->run().counts;
    m_outcome->clear();
    m_outcome->addItem(tr("All (%1)").arg(counts.total()), -1);
    for (const Outcome outcome : allOutcomes)
        m_outcome->addItem(
            tr("%1 (%2)", "outcome and number").arg(outcomeText(outcome)).arg(counts.of(outcome)),
            static_cast<int>(outcome));
    m_outcome->setCurrentIndex(m_outcome->findData(chosen));
}

void ResultsView::showState()
{
    const bool hasRun = !m_entries->run().guid.isEmpty();
    const int shown = m_shown->rowCount();
    if (!m_failure.isEmpty())
        m_empty->setText(tr("The results cannot be read: %1").arg(m_failure));
    else if (!hasRun && !m_runs->failure().isEmpty())
        m_empty->setText(tr("The imports of this site cannot be read: %1").arg(m_runs->failure()));
    else if (!hasRun)
        m_empty->setText(
            tr("Nothing has been imported yet. Choose a batch directory or a single source in the "
               "import panel: what becomes of each entry is told here."));
    else if (m_entries->rowCount() == 0)
        m_empty->setText(tr("There was nothing to import in %1.").arg(m_entries->run().source));
    else
        m_empty->setText(tr("No entry of this import is like that. Choose another outcome or search."));
    m_centre->setCurrentWidget(shown > 0 ? static_cast<QWidget*>(m_table) : m_empty);
    m_state->setText(hasRun ? tr("%1 of %2 entries").arg(shown).arg(m_entries->rowCount()) : QString());
    m_copy->setEnabled(shown > 0);
    m_export->setEnabled(hasRun && m_failure.isEmpty());
}

/// Of the entry that the keyboard is on, where it is selected; else of the run.
void ResultsView::showDetail()
{
    const QModelIndex current = m_table->currentIndex();
    if (current.isValid() && m_table->selectionModel()->isRowSelected(current.row(), {}))
        m_detail->setPlainText(m_entries->explanation(m_shown->mapToSource(current).row()));
    else
        m_detail->setPlainText(m_entries->run().guid.isEmpty() ? QString() : m_entries->facts());
}

void ResultsView::copySelected()
{
    QModelIndexList rows = m_table->selectionModel()->selectedRows();
    if (rows.isEmpty()) {
        for (int row = 0; row < m_shown->rowCount(); ++row)
            rows << m_shown->index(row, 0);
    }
    QApplication::clipboard()->setText(m_shown->copyOf(rows));
    m_state->setText(tr("%n entries copied", nullptr, rows.size()));
}

void ResultsView::exportRun()
{
    ClientState state = ClientState::general();
    const RunRecord run = m_entries->run();
    QFileDialog dialog(this, tr("Save results"), state.value(exportPlaceKey(), QDir::homePath()).toString());
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    const QStringList filters = {tr("Spreadsheet (*.csv)"), tr("Data for programs (*.json)"),
                                 tr("Page to print (*.html)")};
    dialog.setNameFilters(filters);
    dialog.setDefaultSuffix(reportSuffixes().constFirst());
    connect(&dialog, &QFileDialog::filterSelected, &dialog, [&dialog, filters](const QString& filter) {
        dialog.setDefaultSuffix(reportSuffixes().at(std::max(0, static_cast<int>(filters.indexOf(filter)))));
    });
    dialog.selectFile(
        tr("import results %1").arg(run.start.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HHmm"))));
    if (dialog.exec() != QDialog::Accepted)
        return;
    const QString path = dialog.selectedFiles().value(0);
    state.setValue(exportPlaceKey(), QFileInfo(path).absolutePath());
    const QString failure = writeReportFile(path, run, besideResults(m_site, run.counts.wrong() > 0 ? 1 : 0));
    if (failure.isEmpty()) {
        m_state->setText(tr("Saved as %1").arg(path));
        return;
    }
    QMessageBox box(QMessageBox::Warning, tr("Save results"), tr("The file cannot be written."),
                    QMessageBox::Ok, this);
    box.setTextFormat(Qt::PlainText);
    box.setInformativeText(failure);
    box.exec();
}

} // namespace KOZAV::Host
