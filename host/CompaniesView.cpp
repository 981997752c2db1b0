#include "host/CompaniesView.h"

#include "host/Theme.h"
#include "host/core/RunGate.h"

#include <QHBoxLayout>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableView>
#include <QVBoxLayout>

namespace KOZAV::Host {

namespace {

QLabel* plainText(QWidget* parent, const char* objectName)
{
    auto* label = new QLabel(parent);
    label->setObjectName(QLatin1String(objectName));
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    return label;
}

} // namespace

CompaniesView::CompaniesView(QWidget* parent)
    : QWidget(parent)
    , m_companies(new CompaniesModel(this))
{
    setAccessibleName(tr("Companies"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(buildCentre(), 1);
    layout->addWidget(buildForm());
    connectParts();
    showEntered();
}

QWidget* CompaniesView::buildCentre()
{
    m_table = new QTableView(this);
    m_table->setObjectName(QStringLiteral("companies"));
    m_table->setAccessibleName(tr("Companies"));
    m_table->setModel(m_companies);
    applyTableLook(*m_table, {110, 260, 80, 100});
    m_table->setEditTriggers(QAbstractItemView::EditKeyPressed | QAbstractItemView::DoubleClicked);
    m_table->setContextMenuPolicy(Qt::CustomContextMenu);

    m_emptyPage = new QWidget(this);
    m_empty = plainText(m_emptyPage, "companiesEmpty");
    m_empty->setAlignment(Qt::AlignCenter);
    m_first = new QPushButton(tr("Add a &company"), m_emptyPage);
    m_first->setObjectName(QStringLiteral("companiesFirst"));
    auto* layout = new QVBoxLayout(m_emptyPage);
    layout->addStretch(1);
    layout->addWidget(m_empty);
    layout->addWidget(m_first, 0, Qt::AlignHCenter);
    layout->addStretch(1);

    m_centre = new QStackedWidget(this);
    m_centre->addWidget(m_table);
    m_centre->addWidget(m_emptyPage);
    return m_centre;
}

QWidget* CompaniesView::buildForm()
{
    auto* box = new QWidget(this);
    m_code = new QLineEdit(box);
    m_code->setObjectName(QStringLiteral("companyCode"));
    m_code->setAccessibleName(tr("Code of the new company"));
    m_code->setPlaceholderText(tr("prefix of its system jobs"));
    m_name = new QLineEdit(box);
    m_name->setObjectName(QStringLiteral("companyName"));
    m_name->setAccessibleName(tr("Name of the new company"));
    m_name->setPlaceholderText(tr("as its folder in a batch is called"));
    auto* code = new QLabel(tr("C&ode:"), box);
    code->setBuddy(m_code);
    auto* name = new QLabel(tr("&Name:"), box);
    name->setBuddy(m_name);
    m_add = new QPushButton(tr("A&dd"), box);
    m_add->setObjectName(QStringLiteral("companyAdd"));
    m_rename = new QPushButton(tr("Rena&me"), box);
    m_rename->setObjectName(QStringLiteral("companyRename"));
    m_rename->setToolTip(tr("Gives the chosen company another name; its code and its jobs stay"));
    m_flaw = plainText(box, "companyFlaw");
    m_state = plainText(box, "companyState");

    auto* fields = new QHBoxLayout;
    fields->addWidget(code);
    fields->addWidget(m_code, 1);
    fields->addWidget(name);
    fields->addWidget(m_name, 2);
    fields->addWidget(m_add);
    fields->addWidget(m_rename);
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(fields);
    layout->addWidget(m_flaw);
    layout->addWidget(m_state);
    m_state->hide();
    return box;
}

void CompaniesView::connectParts()
{
    for (QLineEdit* field : {m_code, m_name}) {
        connect(field, &QLineEdit::textChanged, this, &CompaniesView::showEntered);
        connect(field, &QLineEdit::returnPressed, m_add, &QAbstractButton::click);
    }
    connect(m_first, &QPushButton::clicked, this, [this] { enterCompany(); });
    connect(m_add, &QPushButton::clicked, this, [this] {
        m_companies->add(m_code->text(), m_name->text());
        showEntered();
    });
    const auto rename = [this] {
        m_table->edit(m_table->currentIndex().siblingAtColumn(CompaniesModel::NameColumn));
    };
    connect(m_rename, &QPushButton::clicked, this, rename);
    connect(m_table, &QWidget::customContextMenuRequested, this, [this, rename](const QPoint& place) {
        QMenu menu(this);
        menu.addAction(m_rename->text(), this, rename)->setEnabled(m_rename->isEnabled());
        menu.exec(m_table->viewport()->mapToGlobal(place));
    });
    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &CompaniesView::showEntered);
    connect(m_companies, &QAbstractItemModel::modelAboutToBeReset, this, &CompaniesView::keepPlace);
    connect(m_companies, &QAbstractItemModel::modelReset, this, &CompaniesView::restorePlace);
    connect(m_companies, &CompaniesModel::loaded, this, &CompaniesView::showLoaded);
    connect(m_companies, &CompaniesModel::refused, this, [this](const QString& reason) {
        tell(reason);
        showEntered();
    });
    connect(m_companies, &CompaniesModel::added, this, [this](const QString& name) {
        m_code->clear();
        m_name->clear();
        tell(tr("The company \"%1\" has been added.").arg(name));
        Q_EMIT companiesChanged();
    });
    connect(m_companies, &CompaniesModel::renamed, this, [this](const QString& before, const QString& now) {
        tell(tr("The company \"%1\" is now called \"%2\".").arg(before, now));
        Q_EMIT companiesChanged();
    });
}

void CompaniesView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    reload();
}

void CompaniesView::reload()
{
    RunGate::whenOpen(this, [this] {
        // Not beneath somebody who is typing a name.
        if (isVisible() && !m_table->viewport()->findChild<QLineEdit*>())
            m_companies->reload();
    });
}

void CompaniesView::enterCompany(const QString& name)
{
    m_name->setText(name);
    m_code->setFocus();
}

void CompaniesView::keepPlace()
{
    const QModelIndex current = m_table->currentIndex();
    m_current = current.isValid() ? m_companies->company(current.row()).id : 0;
}

void CompaniesView::restorePlace()
{
    for (int row = 0; row < m_companies->rowCount(); ++row) {
        if (m_companies->company(row).id == m_current)
            m_table->selectRow(row);
    }
    showEntered();
}

void CompaniesView::showLoaded()
{
    const QString& failure = m_companies->failure();
    m_empty->setText(failure.isEmpty()
                         ? tr("There are no companies yet. Jobs are imported for a company: add the first "
                              "one, with the name that its folder in a batch has.")
                         : tr("The companies cannot be read: %1").arg(failure));
    m_first->setVisible(failure.isEmpty());
    const bool empty = !failure.isEmpty() || m_companies->rowCount() == 0;
    m_centre->setCurrentWidget(empty ? m_emptyPage : static_cast<QWidget*>(m_table));
    showEntered();
}

/// What is wrong with what has been entered, and what can be done now.
void CompaniesView::showEntered()
{
    const CompanyFlaw flaw = flawOfCompany(m_code->text(), m_name->text());
    QString text;
    if (flaw == CompanyFlaw::Code && !m_code->text().isEmpty())
        text = tr("A code has 1 to %1 characters, none of them a blank, / or \\.").arg(longestCompanyCode);
    else if (flaw == CompanyFlaw::Name && !m_name->text().isEmpty())
        text = tr("A name has 1 to %1 characters, none of them a control character.").arg(longestCompanyName);
    m_flaw->setText(text);
    m_flaw->setVisible(!text.isEmpty());
    m_add->setEnabled(flaw == CompanyFlaw::None && !m_companies->isChanging());
    m_rename->setEnabled(m_table->selectionModel()->hasSelection() && !m_companies->isChanging());
}

void CompaniesView::tell(const QString& text)
{
    m_state->setText(text);
    m_state->setVisible(!text.isEmpty());
}

} // namespace KOZAV::Host
