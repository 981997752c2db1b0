// A look begins a moment after the last change of the choice: an operator who goes through the box of
// companies starts one look, not twenty, and a run without a person, which presses the button at once, none.
// Results come from another thread and wait while a slot of the panel runs. When an import begins, the look
// ends: both would read the same disk, and what the look finds changes under it.

#include "host/ForesightView.h"

#include "host/AddCompaniesDialog.h"
#include "host/PanelRun.h"
#include "host/Theme.h"
#include "host/core/ForesightModel.h"
#include "host/core/Reasons.h"
#include "host/core/RunGate.h"

#include <QComboBox>
#include <QDir>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSortFilterProxyModel>
#include <QStackedWidget>
#include <QTableView>
#include <QVBoxLayout>

namespace KOZAV::Host {

namespace {

constexpr int settlingMs = 150;

QLabel* noteLabel(QWidget* parent, const char* objectName)
{
    auto* label = new QLabel(parent);
    label->setObjectName(QLatin1String(objectName));
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    return label;
}

} // namespace

/// The entries that are to be seen.
class ForesightView::Filter final : public QSortFilterProxyModel
{
public:
    Filter(ForesightModel& entries, QObject* parent)
        : QSortFilterProxyModel(parent)
        , m_entries(entries)
    {
        setSourceModel(&entries);
        setSortRole(ForesightModel::sortRole);
        setSortCaseSensitivity(Qt::CaseInsensitive);
    }

    void show(ForesightModel::Show show, const QString& text)
    {
        m_show = show;
        m_text = text;
        invalidateFilter();
    }

protected:
    [[nodiscard]] bool filterAcceptsRow(int row, const QModelIndex& /*parent*/) const override
    {
        return m_entries.matches(row, m_show, m_text);
    }

private:
    ForesightModel& m_entries;
    ForesightModel::Show m_show = ForesightModel::Show::All;
    QString m_text;
};

ForesightView::ForesightView(const PanelRun& run, QWidget* parent)
    : QWidget(parent)
    , m_run(run)
    , m_entries(new ForesightModel(this))
    , m_filter(new Filter(*m_entries, this))
{
    setAccessibleName(tr("Import preview"));
    auto* empty = noteLabel(this, "foresightEmpty");
    empty->setAlignment(Qt::AlignCenter);
    empty->setText(tr("Nothing is chosen yet. Choose a batch directory, a job archive or a job folder in the "
                      "import panel: what its import will come to is shown here before it begins."));
    auto* found = new QWidget(this);
    auto* layout = new QVBoxLayout(found);
    layout->addWidget(buildHead());
    layout->addWidget(buildFilter());
    layout->addWidget(buildEntries(), 1);
    m_centre = new QStackedWidget(this);
    m_centre->addWidget(empty);
    m_centre->addWidget(found);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(m_centre);
    m_begin.setSingleShot(true);
    m_begin.setInterval(settlingMs);
    connectParts();
    choose(run.choice());
}

ForesightView::~ForesightView() = default;

QWidget* ForesightView::buildHead()
{
    auto* head = new QWidget(this);
    m_title = noteLabel(head, "foresightTitle");
    QFont bold = m_title->font();
    bold.setBold(true);
    m_title->setFont(bold);
    m_totals = noteLabel(head, "foresightTotals");
    m_notes = noteLabel(head, "foresightNotes");
    m_progress = new QProgressBar(head);
    m_progress->setObjectName(QStringLiteral("foresightProgress"));
    m_progress->setAccessibleName(tr("Progress of the look"));
    m_progress->setTextVisible(false);
    m_progress->setMaximumHeight(6);
    m_add = new QPushButton(head);
    m_add->setObjectName(QStringLiteral("foresightAddCompanies"));
    m_again = new QPushButton(tr("&Look again"), head);
    m_again->setObjectName(QStringLiteral("foresightAgain"));
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_totals, 1);
    buttons->addWidget(m_add, 0, Qt::AlignTop);
    buttons->addWidget(m_again, 0, Qt::AlignTop);
    auto* layout = new QVBoxLayout(head);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_title);
    layout->addLayout(buttons);
    layout->addWidget(m_notes);
    layout->addWidget(m_progress);
    return head;
}

QWidget* ForesightView::buildFilter()
{
    using Show = ForesightModel::Show;
    auto* box = new QWidget(this);
    m_show = new QComboBox(box);
    m_show->setObjectName(QStringLiteral("foresightShow"));
    m_show->setAccessibleName(tr("Entries that are shown"));
    m_show->addItem(tr("All entries"), int(Show::All));
    m_show->addItem(tr("Will not be imported"), int(Show::NotImported));
    m_show->addItem(tr("With warnings"), int(Show::Warned));
    m_show->addItem(tr("Will be imported"), int(Show::Imported));
    m_show->addItem(tr("Not known yet"), int(Show::Open));
    m_search = new QLineEdit(box);
    m_search->setObjectName(QStringLiteral("foresightSearch"));
    m_search->setAccessibleName(tr("Search the entries"));
    m_search->setPlaceholderText(tr("company, entry or reason"));
    m_search->setClearButtonEnabled(true);
    auto* layout = new QHBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_show);
    layout->addWidget(m_search, 1);
    return box;
}

QWidget* ForesightView::buildEntries()
{
    auto* box = new QWidget(this);
    m_table = new QTableView(box);
    m_table->setObjectName(QStringLiteral("foresightEntries"));
    m_table->setAccessibleName(tr("Entries of the source"));
    m_table->setModel(m_filter);
    m_table->setSortingEnabled(true);
    m_table->sortByColumn(-1, Qt::AscendingOrder);
    applyTableLook(*m_table, {120, 190, 150, 90});
    m_details = noteLabel(box, "foresightDetails");
    m_details->setAccessibleName(tr("About the selected entry"));
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_table, 1);
    layout->addWidget(m_details);
    return box;
}

void ForesightView::connectParts()
{
    connect(&m_run, &PanelRun::chosen, this, &ForesightView::choose);
    connect(&m_run, &PanelRun::begins, this, &ForesightView::noteRun);
    connect(&m_run, &PanelRun::forgotten, &m_begin, QOverload<>::of(&QTimer::start));
    connect(&m_begin, &QTimer::timeout, this, [this] { RunGate::whenOpen(this, [this] { look(); }); });
    connect(&m_foresight, &Foresight::found, this,
            [this](const ForesightPiece& piece) { RunGate::whenOpen(this, [this, piece] { take(piece); }); });
    connect(m_again, &QPushButton::clicked, this, &ForesightView::look);
    connect(m_add, &QPushButton::clicked, this, &ForesightView::addCompanies);
    connect(m_show, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &ForesightView::applyFilter);
    connect(m_search, &QLineEdit::textChanged, this, &ForesightView::applyFilter);
    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &ForesightView::showDetails);
    connect(m_filter, &QAbstractItemModel::modelReset, this, &ForesightView::showDetails);
}

void ForesightView::choose(const PanelSource& source)
{
    m_foresight.cancel();
    m_source = source;
    m_looking = !source.path.isEmpty();
    m_entries->clear();
    m_centre->setCurrentIndex(m_looking ? 1 : 0);
    if (m_looking)
        m_begin.start();
    else
        m_begin.stop();
    showTotals();
}

void ForesightView::look()
{
    // The choice may have gone while this waited for the panel.
    if (m_source.path.isEmpty() || m_run.isRunning())
        return;
    m_begin.stop();
    m_looking = true;
    m_wasRun = false;
    m_progress->setRange(0, 0);
    m_foresight.look(m_source);
    showTotals();
    Q_EMIT lookBegun();
}

void ForesightView::take(const ForesightPiece& piece)
{
    if (!m_looking)
        return;
    m_entries->add(piece);
    m_looking = !piece.isLast;
    // The bar takes whole numbers, which bytes may be too large for.
    constexpr int parts = 1000;
    m_progress->setRange(0, piece.toDo > 0 ? parts : 0);
    if (piece.toDo > 0)
        m_progress->setValue(
            static_cast<int>(parts * static_cast<double>(piece.done) / static_cast<double>(piece.toDo)));
    showTotals();
    showDetails();
}

void ForesightView::noteRun()
{
    m_begin.stop();
    m_foresight.cancel();
    m_looking = false;
    m_wasRun = true;
    showTotals();
}

void ForesightView::applyFilter()
{
    m_filter->show(static_cast<ForesightModel::Show>(m_show->currentData().toInt()), m_search->text());
}

void ForesightView::showTotals()
{
    const Foreseen& foreseen = m_entries->foreseen();
    const int entries = static_cast<int>(foreseen.entries.size());
    const int imported = foreseen.count(Outlook::Imported);
    const QString place = QDir::toNativeSeparators(m_source.path);
    m_progress->setVisible(m_looking);
    m_again->setEnabled(!m_looking);
    if (m_looking)
        m_title->setText(tr("Looking through %1").arg(place));
    else if (m_wasRun)
        m_title->setText(tr("%1, as it was before the import").arg(place));
    else if (foreseen.allImported())
        m_title->setText(tr("%1: all will be imported").arg(place));
    else
        m_title->setText(tr("%1: %2 of %3 will be imported").arg(place).arg(imported).arg(entries));
    QStringList totals = {tr("will be imported: %1").arg(imported)};
    if (const int warned = foreseen.warned(); warned > 0)
        totals << tr("of these with warnings: %1").arg(warned);
    totals << tr("will not be imported: %1").arg(foreseen.count(Outlook::NotImported));
    if (const int open = foreseen.count(Outlook::Open); open > 0)
        totals << tr("not known yet: %1").arg(open);
    totals << bytesText(foreseen.bytes());
    if (foreseen.seconds)
        totals << tr("about %1 s").arg(qRound64(*foreseen.seconds));
    else if (!m_looking)
        totals << tr("time not known: no run before tells");
    m_totals->setText(totals.join(QStringLiteral("  ·  ")));
    const int unknown = unknownCompanies().size();
    m_add->setText(tr("&Add %n unknown companies …", nullptr, unknown));
    m_add->setVisible(unknown > 0);
    showNotes();
}

/// What is to be known of the whole.
void ForesightView::showNotes()
{
    const Foreseen& foreseen = m_entries->foreseen();
    QStringList notes;
    if (const QStringList unknown = unknownCompanies(); !unknown.isEmpty())
        notes << tr("Companies that the site does not have: %1").arg(unknown.join(QStringLiteral(", ")));
    for (const ForeseenSpace& space : foreseen.spaces) {
        const QString folder = QDir::toNativeSeparators(space.folder);
        const QString free = space.free < 0 ? tr("unknown") : bytesText(space.free);
        notes << (space.needed == space.neededAtMost
                      ? tr("Space in %1: %2 needed, %3 free").arg(folder, bytesText(space.needed), free)
                      : tr("Space in %1: %2 to %3 needed, %4 free")
                            .arg(folder, bytesText(space.needed), bytesText(space.neededAtMost), free));
    }
    for (const Remark& remark : foreseen.remarks)
        notes << QStringLiteral("%1 (%2)").arg(reasonText(remark.code), remark.text);
    m_notes->setText(notes.join(QLatin1Char('\n')));
    m_notes->setVisible(!notes.isEmpty());
}

void ForesightView::showDetails()
{
    const QModelIndex current = m_table->selectionModel()->selectedRows().value(0);
    const QString text =
        current.isValid() ? m_entries->details(m_filter->mapToSource(current).row()) : QString();
    m_details->setText(text);
    m_details->setVisible(!text.isEmpty());
}

QStringList ForesightView::unknownCompanies() const
{
    QStringList names;
    for (const ForeseenCompany& company : m_entries->foreseen().companies) {
        if (company.isKnown && !*company.isKnown)
            names << company.name;
    }
    return names;
}

void ForesightView::addCompanies()
{
    AddCompaniesDialog dialog(unknownCompanies(), this);
    dialog.exec();
    if (!dialog.hasAdded())
        return;
    look();
    Q_EMIT companiesChanged();
}

} // namespace KOZAV::Host
