// A field begins with the value in force, a password in it hidden. Only what is entered anew is written, so a
// value that was hidden stays what it is as long as nobody touches it.

#include "host/SettingsDialog.h"

#include "host/Language.h"
#include "host/core/BehindWindow.h"
#include "host/core/SettingTexts.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollArea>
#include <QTabWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace KOZAV::Host {

namespace {

QLabel* wrappedLabel(QWidget* parent, const QString& text)
{
    auto* label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    return label;
}

QString sectionTitle(const QString& section)
{
    const std::pair<const char*, QString> titles[] = {
        {"database", SettingsDialog::tr("Database")}, {"document_store", SettingsDialog::tr("Stored files")},
        {"cache", SettingsDialog::tr("Folders")},     {"import", SettingsDialog::tr("Import")},
        {"history", SettingsDialog::tr("History")},   {"robot", SettingsDialog::tr("Robot")},
        {"user", SettingsDialog::tr("Operator")},     {"site", SettingsDialog::tr("Site")}};
    const auto found = std::find_if(std::begin(titles), std::end(titles), [&section](const auto& title) {
        return section == QLatin1String(title.first);
    });
    return found == std::end(titles) ? section : found->second;
}

/// What is wrong with a value, in the language of the client where its kind tells.
QString flawText(const SettingEntry& entry, const QString& value, const QString& flaw)
{
    if (flaw.isEmpty())
        return {};
    if (value.isEmpty())
        return SettingsDialog::tr("A value is needed.");
    if (entry.kind == SettingKind::Number)
        return SettingsDialog::tr("A number from %1 to %2 is needed.").arg(entry.smallest).arg(entry.largest);
    return SettingsDialog::tr("Not accepted: %1").arg(flaw);
}

} // namespace

SettingsDialog::SettingsDialog(QWidget* parent)
    : QDialog(parent)
    , m_tabs(new QTabWidget(this))
{
    setWindowTitle(tr("Settings"));
    setObjectName(QStringLiteral("settingsDialog"));
    m_tabs->setObjectName(QStringLiteral("settingsPages"));
    m_tabs->setUsesScrollButtons(true);
    m_state = wrappedLabel(this, {});
    m_state->setObjectName(QStringLiteral("settingsState"));
    m_state->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_tabs, 1);
    layout->addWidget(m_state);
    layout->addWidget(buildButtons());
    QString failure;
    const auto entries = settingEntries(failure);
    buildPages(entries.value_or(std::vector<SettingEntry>()));
    buildOwnPage();
    resize(880, 660);
    showState();
    if (!failure.isEmpty())
        m_state->setText(tr("The configuration cannot be read: %1").arg(failure));
}

void SettingsDialog::buildPages(const std::vector<SettingEntry>& entries)
{
    m_fields.reserve(entries.size());
    for (const SettingEntry& entry : entries)
        addField(entry);
}

QFormLayout* SettingsDialog::pageOf(const QString& section)
{
    QFormLayout*& form = m_pages[section];
    if (form)
        return form;
    auto* area = new QScrollArea(m_tabs);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    auto* page = new QWidget(area);
    form = new QFormLayout(page);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->setRowWrapPolicy(QFormLayout::WrapLongRows);
    area->setWidget(page);
    m_tabs->addTab(area, sectionTitle(section));
    return form;
}

void SettingsDialog::addField(const SettingEntry& entry)
{
    QFormLayout* form = pageOf(entry.key.section(QLatin1Char('/'), 0, 0));
    QWidget* page = form->parentWidget();
    Field field;
    field.entry = entry;
    field.editor = buildEditor(entry);
    field.editor->setObjectName(entry.key);
    field.editor->setAccessibleName(entry.key);
    field.editor->setAccessibleDescription(settingMeaning(entry.meaning));
    field.flaw = wrappedLabel(page, {});
    field.flaw->setObjectName(entry.key + QStringLiteral("/flaw"));
    QPalette palette = field.flaw->palette();
    palette.setColor(QPalette::WindowText, QColor(0xff, 0xa8, 0xa0));
    field.flaw->setPalette(palette);
    field.flaw->hide();

    auto* column = new QVBoxLayout;
    column->setSpacing(2);
    column->addWidget(withBrowser(field));
    column->addWidget(field.flaw);
    const QString unit = settingUnit(entry.unit);
    const QString meaning = settingMeaning(entry.meaning);
    column->addWidget(wrappedLabel(page, unit.isEmpty() ? meaning : tr("%1, in %2").arg(meaning, unit)));
    auto* label = new QLabel(entry.key.section(QLatin1Char('/'), 1), page);
    label->setBuddy(field.editor);
    form->addRow(label, column);
    m_fields.push_back(field);
    const int index = static_cast<int>(m_fields.size()) - 1;
    const auto check = [this, index] { checkField(index); };
    if (auto* line = qobject_cast<QLineEdit*>(field.editor))
        connect(line, &QLineEdit::textChanged, this, check);
    else if (auto* box = qobject_cast<QComboBox*>(field.editor))
        connect(box, &QComboBox::currentTextChanged, this, check);
    else if (auto* flag = qobject_cast<QCheckBox*>(field.editor))
        connect(flag, &QCheckBox::toggled, this, check);
}

QWidget* SettingsDialog::buildEditor(const SettingEntry& entry)
{
    if (entry.kind == SettingKind::Choice) {
        auto* box = new QComboBox(this);
        box->addItems(entry.choices);
        box->setCurrentText(entry.value);
        box->setFocusPolicy(Qt::StrongFocus);
        return box;
    }
    if (entry.kind == SettingKind::Flag) {
        auto* flag = new QCheckBox(tr("Yes"), this);
        flag->setChecked(entry.value == QLatin1String("true"));
        return flag;
    }
    auto* line = new QLineEdit(entry.value, this);
    line->setReadOnly(entry.kind == SettingKind::Fixed);
    return line;
}

/// The editor, with a button to choose where it holds a path.
QWidget* SettingsDialog::withBrowser(const Field& field)
{
    const bool isFolder = field.entry.kind == SettingKind::Folder;
    auto* line = qobject_cast<QLineEdit*>(field.editor);
    if (!line || (!isFolder && field.entry.kind != SettingKind::File))
        return field.editor;
    auto* box = new QWidget(this);
    auto* layout = new QHBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* browse = new QPushButton(tr("Choose …"), box);
    browse->setAccessibleName(tr("Choose %1").arg(field.entry.key));
    layout->addWidget(line, 1);
    layout->addWidget(browse);
    connect(browse, &QPushButton::clicked, this, [this, line, isFolder] {
        const QString start = QFileInfo(line->text()).absolutePath();
        const QString chosen = isFolder
                                   ? QFileDialog::getExistingDirectory(this, tr("Choose a folder"), start)
                                   : QFileDialog::getOpenFileName(this, tr("Choose a file"), start);
        if (!chosen.isEmpty())
            line->setText(chosen);
    });
    return box;
}

void SettingsDialog::buildOwnPage()
{
    auto* page = new QWidget(m_tabs);
    auto* form = new QFormLayout(page);
    m_language = new QComboBox(page);
    m_language->setObjectName(QStringLiteral("ownLanguage"));
    m_language->setAccessibleName(tr("Language of this client"));
    m_language->addItem(tr("As the system"), QString());
    for (const OfferedLanguage& language : offeredLanguages())
        m_language->addItem(language.name, language.code);
    m_language->setCurrentIndex(std::max(0, m_language->findData(chosenLanguage())));
    auto* label = new QLabel(tr("&Language:"), page);
    label->setBuddy(m_language);
    auto* column = new QVBoxLayout;
    column->addWidget(m_language);
    column->addWidget(
        wrappedLabel(page, tr("Of this client for this user; another one shows at the next start. "
                              "The two panels keep their texts.")));
    form->addRow(label, column);
    m_tabs->addTab(page, tr("This client"));
    connect(m_language, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &SettingsDialog::showState);
}

QWidget* SettingsDialog::buildButtons()
{
    m_buttons = new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel, this);
    m_test = m_buttons->addButton(tr("&Test the connections"), QDialogButtonBox::ActionRole);
    m_test->setObjectName(QStringLiteral("settingsTest"));
    connect(m_test, &QPushButton::clicked, this, &SettingsDialog::testConnections);
    connect(m_buttons, &QDialogButtonBox::accepted, this, &SettingsDialog::accept);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &SettingsDialog::reject);
    return m_buttons;
}

QString SettingsDialog::valueOf(const Field& field)
{
    if (const auto* box = qobject_cast<QComboBox*>(field.editor))
        return box->currentText();
    if (const auto* flag = qobject_cast<QCheckBox*>(field.editor))
        return flag->isChecked() ? QStringLiteral("true") : QStringLiteral("false");
    return static_cast<QLineEdit*>(field.editor)->text();
}

SettingChanges SettingsDialog::changes() const
{
    SettingChanges changes;
    for (const Field& field : m_fields) {
        if (field.entry.kind != SettingKind::Fixed && valueOf(field) != field.entry.value)
            changes.emplace_back(field.entry.key, valueOf(field));
    }
    return changes;
}

void SettingsDialog::checkField(int index)
{
    Field& field = m_fields[static_cast<std::size_t>(index)];
    const QString value = valueOf(field);
    const bool isChanged = value != field.entry.value;
    field.flawText =
        isChanged ? flawText(field.entry, value, flawOfSetting(field.entry.key, value)) : QString();
    field.flaw->setText(field.flawText);
    field.flaw->setVisible(!field.flawText.isEmpty());
    field.editor->setAccessibleDescription(field.flawText.isEmpty() ? settingMeaning(field.entry.meaning)
                                                                    : field.flawText);
    showState();
}

void SettingsDialog::showState()
{
    const bool isWhole = std::all_of(m_fields.begin(), m_fields.end(),
                                     [](const Field& field) { return field.flawText.isEmpty(); });
    const bool isOther = !changes().empty() || m_language->currentData().toString() != chosenLanguage();
    m_buttons->button(QDialogButtonBox::Save)->setEnabled(isWhole && isOther);
    m_test->setEnabled(isWhole && !m_fields.empty());
    m_state->clear();
}

void SettingsDialog::testConnections()
{
    m_test->setEnabled(false);
    m_state->setText(tr("Testing the connections …"));
    workBehindWindow(
        this, [changed = changes()] { return lookWith(changed); },
        [this](const std::vector<ConnectionLook>& looks) {
            QStringList lines;
            for (const ConnectionLook& look : looks)
                lines << (look.service.isEmpty() ? look.text : tr("%1: %2").arg(look.service, look.text));
            m_state->setText(lines.join(QLatin1Char('\n')));
            m_test->setEnabled(true);
        });
}

/// Nothing is moved by another place in the configuration: whoever changes it should know.
bool SettingsDialog::confirmMove()
{
    const SettingsMove move = moveBy(changes());
    if (!move.rows && !move.files)
        return true;
    const QString what = move.rows && move.files ? tr("The rows and the stored files")
                         : move.rows             ? tr("The rows")
                                                 : tr("The stored files");
    QMessageBox box(QMessageBox::Warning, windowTitle(),
                    tr("%1 of the site would be looked for elsewhere from now on.").arg(what),
                    QMessageBox::Yes | QMessageBox::Cancel, this);
    box.setTextFormat(Qt::PlainText);
    box.setInformativeText(
        tr("Nothing is moved by that: \"zav_admin migrate\" moves a site. What is not of this site is not "
           "opened. Write it nevertheless?"));
    box.setDefaultButton(QMessageBox::Cancel);
    return box.exec() == QMessageBox::Yes;
}

void SettingsDialog::accept()
{
    const SettingChanges changed = changes();
    if (!changed.empty()) {
        if (!confirmMove())
            return;
        if (const QString failure = writeChanges(changed); !failure.isEmpty()) {
            m_state->setText(tr("Nothing has been written: %1").arg(failure));
            return;
        }
    }
    if (m_language->currentData().toString() != chosenLanguage())
        chooseLanguage(m_language->currentData().toString());
    if (!changed.empty())
        Q_EMIT settingsChanged();
    if (const QString warning = warningOf(changed); !warning.isEmpty())
        Q_EMIT told(warning);
    QDialog::accept();
}

} // namespace KOZAV::Host
