#include "host/AddCompaniesDialog.h"

#include "host/core/BehindWindow.h"
#include "host/site/Companies.h"

#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace KOZAV::Host {

namespace {

/// Names and codes to be added; what became of each is its failure, empty where there is none.
using NewCompanies = std::vector<std::pair<QString, QString>>;

QStringList addAll(const NewCompanies& companies)
{
    QStringList failures;
    for (const auto& [name, code] : companies)
        failures << (code.isEmpty() ? QString() : addCompanyRow(code, name));
    return failures;
}

} // namespace

AddCompaniesDialog::AddCompaniesDialog(const QStringList& names, QWidget* parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("addCompanies"));
    setWindowTitle(tr("Add companies"));
    auto* about = new QLabel(tr("Give each company the code that the names of its jobs begin with. One "
                                "without a code is not added."),
                             this);
    about->setWordWrap(true);
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidget(buildRows(names));
    m_state = new QLabel(this);
    m_state->setObjectName(QStringLiteral("addCompaniesState"));
    m_state->setTextFormat(Qt::PlainText);
    m_state->setWordWrap(true);
    m_buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    m_buttons->button(QDialogButtonBox::Ok)->setText(tr("A&dd"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(about);
    layout->addWidget(scroll, 1);
    layout->addWidget(m_state);
    layout->addWidget(m_buttons);
    connect(m_buttons, &QDialogButtonBox::accepted, this, &AddCompaniesDialog::accept);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &AddCompaniesDialog::reject);
    showEntered();
}

QWidget* AddCompaniesDialog::buildRows(const QStringList& names)
{
    auto* box = new QWidget(this);
    auto* grid = new QGridLayout(box);
    grid->setContentsMargins(0, 0, 0, 0);
    for (const QString& name : names) {
        auto* code = new QLineEdit(box);
        code->setObjectName(QStringLiteral("newCode"));
        code->setAccessibleName(tr("Code of %1").arg(name));
        code->setPlaceholderText(tr("code"));
        auto* label = new QLabel(box);
        label->setTextFormat(Qt::PlainText);
        label->setText(name);
        const int row = static_cast<int>(m_rows.size());
        grid->addWidget(label, row, 0);
        grid->addWidget(code, row, 1);
        m_rows.push_back({name, code});
        connect(code, &QLineEdit::textChanged, this, &AddCompaniesDialog::showEntered);
    }
    grid->setRowStretch(static_cast<int>(m_rows.size()), 1);
    return box;
}

/// What is wrong with what has been entered, and whether anything can be added.
void AddCompaniesDialog::showEntered()
{
    QString flaw;
    bool isAny = false;
    for (const Row& row : m_rows) {
        const QString code = row.code->isEnabled() ? row.code->text() : QString();
        isAny = isAny || !code.isEmpty();
        if (code.isEmpty())
            continue;
        const CompanyFlaw found = flawOfCompany(code, row.name);
        if (found == CompanyFlaw::Code)
            flaw = tr("%1: a code has 1 to %2 characters, none of them a blank, / or \\.")
                       .arg(row.name)
                       .arg(longestCompanyCode);
        else if (found == CompanyFlaw::Name)
            flaw = tr("%1 cannot be the name of a company.").arg(row.name);
    }
    m_state->setText(flaw);
    m_buttons->button(QDialogButtonBox::Ok)->setEnabled(isAny && flaw.isEmpty() && !m_working);
}

void AddCompaniesDialog::accept()
{
    NewCompanies companies;
    for (const Row& row : m_rows)
        companies.emplace_back(row.name, row.code->isEnabled() ? row.code->text() : QString());
    m_working = true;
    showEntered();
    workBehindWindow(
        this, [companies] { return addAll(companies); },
        [this](const QStringList& failures) { showAdded(failures); });
}

void AddCompaniesDialog::reject()
{
    if (!m_working)
        QDialog::reject();
}

/// Those that were added need nothing any more; of the others it is told why not.
void AddCompaniesDialog::showAdded(const QStringList& failures)
{
    m_working = false;
    QStringList told;
    for (std::size_t i = 0; i < m_rows.size(); ++i) {
        const Row& row = m_rows[i];
        const QString& failure = failures.at(static_cast<int>(i));
        if (row.code->text().isEmpty() || !row.code->isEnabled())
            continue;
        if (failure.isEmpty()) {
            m_hasAdded = true;
            row.code->setEnabled(false);
        } else {
            told << QStringLiteral("%1: %2").arg(row.name, failure);
        }
    }
    if (told.isEmpty())
        return QDialog::accept();
    showEntered();
    m_state->setText(told.join(QLatin1Char('\n')));
}

} // namespace KOZAV::Host
