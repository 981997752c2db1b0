#include "host/FirstRunPage.h"

#include "host/HelpWindow.h"
#include "host/core/BehindWindow.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QShortcut>
#include <QStackedWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace KOZAV::Host {

namespace {

QLabel* firstRunText(QWidget* parent, const QString& text)
{
    auto* label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    return label;
}

void addFlag(SettingChanges& values, const QCheckBox& box, const char* key)
{
    if (box.isChecked())
        values.emplace_back(QLatin1String(key), QStringLiteral("true"));
}

} // namespace

FirstRunPage::FirstRunPage(QWidget* parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("firstRunPage"));
    setAttribute(Qt::WA_QuitOnClose, false);
    setWindowTitle(tr("First start"));
    m_details = new QStackedWidget(this);
    m_state = firstRunText(this, {});
    m_state->setObjectName(QStringLiteral("firstRunState"));
    m_state->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(
        firstRunText(this, tr("There is no site yet: a place for companies, jobs and their files. "
                              "What is to be used? Nothing is made before you choose.")));
    layout->addWidget(buildChoices());
    layout->addWidget(m_details, 1);
    layout->addWidget(m_state);
    layout->addWidget(buildButtons());
    m_details->addWidget(buildEmbedded());
    m_details->addWidget(buildServers());
    m_details->addWidget(buildExisting());
    connect(new QShortcut(QKeySequence::HelpContents, this), &QShortcut::activated, this,
            [this] { showHelp(*this, manualPageOf(objectName())); });
    resize(720, 640);
    showChoice();
}

QWidget* FirstRunPage::buildChoices()
{
    auto* box = new QWidget(this);
    m_embedded = new QRadioButton(tr("A new site on &this machine, without a server"), box);
    m_embedded->setObjectName(QStringLiteral("firstEmbedded"));
    m_servers = new QRadioButton(tr("A site on &servers: MariaDB for the rows, MongoDB for the files"), box);
    m_servers->setObjectName(QStringLiteral("firstServers"));
    m_existing = new QRadioButton(tr("A site that is there: &open its configuration file"), box);
    m_existing->setObjectName(QStringLiteral("firstExisting"));
    m_embedded->setChecked(true);
    auto* layout = new QVBoxLayout(box);
    for (QRadioButton* choice : {m_embedded, m_servers, m_existing}) {
        layout->addWidget(choice);
        connect(choice, &QRadioButton::toggled, this, &FirstRunPage::showChoice);
    }
    return box;
}

QWidget* FirstRunPage::withChooser(QLineEdit* line, bool folder)
{
    auto* box = new QWidget(this);
    auto* layout = new QHBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* choose = new QPushButton(tr("Choose …"), box);
    choose->setAccessibleName(tr("Choose: %1").arg(line->accessibleName()));
    layout->addWidget(line, 1);
    layout->addWidget(choose);
    connect(choose, &QPushButton::clicked, this, [this, line, folder] {
        const QString start =
            line->text().isEmpty() ? QDir::homePath() : QFileInfo(line->text()).absolutePath();
        const QString chosen = folder ? QFileDialog::getExistingDirectory(this, tr("Choose a folder"), start)
                                      : QFileDialog::getOpenFileName(this, tr("Choose a file"), start);
        if (!chosen.isEmpty())
            line->setText(chosen);
    });
    return box;
}

QWidget* FirstRunPage::buildEmbedded()
{
    const FirstSitePlan plan = defaultSitePlan();
    auto* page = new QWidget(this);
    auto* form = new QFormLayout(page);
    m_configuration = new QLineEdit(plan.configuration, page);
    m_configuration->setObjectName(QStringLiteral("firstConfiguration"));
    m_configuration->setAccessibleName(tr("Configuration file"));
    m_dataRoot = new QLineEdit(plan.dataRoot, page);
    m_dataRoot->setObjectName(QStringLiteral("firstData"));
    m_dataRoot->setAccessibleName(tr("Folder of the data"));
    m_places = firstRunText(page, {});
    m_places->setObjectName(QStringLiteral("firstPlaces"));
    auto* configuration = new QLabel(tr("&Configuration file:"), page);
    configuration->setBuddy(m_configuration);
    auto* folder = new QLabel(tr("&Folder of the data:"), page);
    folder->setBuddy(m_dataRoot);
    form->addRow(configuration, m_configuration);
    form->addRow(folder, withChooser(m_dataRoot, true));
    form->addRow(m_places);
    for (QLineEdit* line : {m_configuration, m_dataRoot})
        connect(line, &QLineEdit::textChanged, this, &FirstRunPage::showState);
    return page;
}

QLineEdit* FirstRunPage::addLine(QFormLayout& form, const QString& label, const QString& key,
                                 const QString& hint)
{
    auto* line = new QLineEdit(form.parentWidget());
    line->setObjectName(key);
    line->setAccessibleName(QString(label).remove(QLatin1Char('&')).remove(QLatin1Char(':')));
    line->setPlaceholderText(hint);
    connect(line, &QLineEdit::textChanged, this, &FirstRunPage::showState);
    auto* text = new QLabel(label, form.parentWidget());
    text->setBuddy(line);
    const bool isFile = key.endsWith(QLatin1String("_file")) || key.endsWith(QLatin1String("_ca"));
    form.addRow(text, isFile ? withChooser(line, false) : line);
    m_serverLines << line;
    return line;
}

QWidget* FirstRunPage::buildServers()
{
    auto* page = new QWidget(this);
    m_database = new QGroupBox(tr("Rows on a &MariaDB or MySQL server"), page);
    m_database->setObjectName(QStringLiteral("firstDatabase"));
    m_database->setCheckable(true);
    auto* rows = new QFormLayout(m_database);
    addLine(*rows, tr("Server:"), QStringLiteral("database/host"), QStringLiteral("127.0.0.1"))
        ->setText(QStringLiteral("127.0.0.1"));
    addLine(*rows, tr("Port:"), QStringLiteral("database/port"), QStringLiteral("3306"));
    addLine(*rows, tr("Database:"), QStringLiteral("database/name"), QStringLiteral("zav_import"))
        ->setText(QStringLiteral("zav_import"));
    addLine(*rows, tr("Account:"), QStringLiteral("database/user"), QString());
    addLine(*rows, tr("File with the password:"), QStringLiteral("database/password_file"),
            tr("its first line; readable for you alone"));
    addLine(*rows, tr("Certificate of the authority:"), QStringLiteral("database/tls_ca"),
            tr("for a server on another machine"));
    m_databasePlain = new QCheckBox(tr("Without encryption, also to another machine"), m_database);
    rows->addRow(QString(), m_databasePlain);

    m_store = new QGroupBox(tr("Files on a Mongo&DB server"), page);
    m_store->setObjectName(QStringLiteral("firstStore"));
    m_store->setCheckable(true);
    auto* files = new QFormLayout(m_store);
    addLine(*files, tr("URI:"), QStringLiteral("document_store/uri"),
            QStringLiteral("mongodb://127.0.0.1:27017/"))
        ->setText(QStringLiteral("mongodb://127.0.0.1:27017/"));
    addLine(*files, tr("File with the password:"), QStringLiteral("document_store/password_file"),
            tr("its first line; readable for you alone"));
    m_storePlain = new QCheckBox(tr("Without encryption, also to another machine"), m_store);
    files->addRow(QString(), m_storePlain);

    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_database);
    layout->addWidget(m_store);
    layout->addStretch(1);
    for (QGroupBox* group : {m_database, m_store})
        connect(group, &QGroupBox::toggled, this, &FirstRunPage::showState);
    for (QCheckBox* plain : {m_databasePlain, m_storePlain})
        connect(plain, &QCheckBox::toggled, this, &FirstRunPage::showState);
    return page;
}

QWidget* FirstRunPage::buildExisting()
{
    auto* page = new QWidget(this);
    auto* form = new QFormLayout(page);
    m_file = new QLineEdit(page);
    m_file->setObjectName(QStringLiteral("firstFile"));
    m_file->setAccessibleName(tr("Configuration file of the site"));
    auto* label = new QLabel(tr("Con&figuration file:"), page);
    label->setBuddy(m_file);
    form->addRow(label, withChooser(m_file, false));
    form->addRow(firstRunText(
        page, tr("This client opens that site at later starts as well. \"zav_admin\" is told of it "
                 "with --config.")));
    connect(m_file, &QLineEdit::textChanged, this, &FirstRunPage::showState);
    return page;
}

QWidget* FirstRunPage::buildButtons()
{
    auto* buttons = new QDialogButtonBox(this);
    m_go = buttons->addButton(QString(), QDialogButtonBox::AcceptRole);
    m_go->setObjectName(QStringLiteral("firstGo"));
    m_go->setDefault(true);
    m_test = buttons->addButton(tr("T&est the connections"), QDialogButtonBox::ActionRole);
    m_test->setObjectName(QStringLiteral("firstTest"));
    buttons->addButton(tr("&Quit"), QDialogButtonBox::RejectRole);
    connect(buttons, &QDialogButtonBox::accepted, this, &FirstRunPage::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &FirstRunPage::reject);
    connect(m_test, &QPushButton::clicked, this, &FirstRunPage::testConnections);
    return buttons;
}

FirstSitePlan FirstRunPage::plan() const
{
    FirstSitePlan plan;
    plan.configuration = QDir::cleanPath(m_configuration->text());
    plan.dataRoot = QDir::cleanPath(m_dataRoot->text());
    if (!m_servers->isChecked())
        return plan;
    for (const QLineEdit* line : m_serverLines) {
        const bool isOfDatabase = line->objectName().startsWith(QLatin1String("database/"));
        if ((isOfDatabase ? m_database : m_store)->isChecked() && !line->text().isEmpty())
            plan.values.emplace_back(line->objectName(), line->text());
    }
    // Once they say that there is a server, all that it needs must be there.
    if (m_database->isChecked()) {
        addFlag(plan.values, *m_databasePlain, "database/allow_plaintext");
        plan.values.emplace_back(QStringLiteral("database/driver"), QStringLiteral("QMYSQL"));
    }
    if (m_store->isChecked()) {
        addFlag(plan.values, *m_storePlain, "document_store/allow_plaintext");
        plan.values.emplace_back(QStringLiteral("document_store/kind"), QStringLiteral("mongodb"));
    }
    return plan;
}

void FirstRunPage::showChoice()
{
    m_details->setCurrentIndex(m_embedded->isChecked() ? 0 : m_servers->isChecked() ? 1 : 2);
    m_test->setVisible(m_servers->isChecked());
    m_go->setText(m_existing->isChecked() ? tr("Open the s&ite") : tr("Make the s&ite"));
    showState();
}

void FirstRunPage::showState()
{
    const auto isPlace = [](const QLineEdit* line) { return QDir::isAbsolutePath(line->text()); };
    QString flaw;
    bool isWhole = isPlace(m_configuration) && isPlace(m_dataRoot);
    if (m_servers->isChecked()) {
        isWhole = isWhole && (m_database->isChecked() || m_store->isChecked());
        for (const auto& [key, value] : plan().values) {
            if (flaw.isEmpty())
                flaw = flawOfSetting(key, value);
        }
    } else if (m_existing->isChecked()) {
        isWhole = isPlace(m_file);
    }
    const QDir root(m_dataRoot->text());
    QString places;
    for (const char* name : {"site.db", "store", "upload", "download"})
        places += QLatin1Char('\n') + root.filePath(QLatin1String(name));
    m_places->setText(tr("Made there: %1").arg(places));
    m_state->setText(flaw.isEmpty() ? QString() : tr("Not accepted: %1").arg(flaw));
    m_go->setEnabled(!m_busy && isWhole && flaw.isEmpty());
    m_test->setEnabled(!m_busy && m_servers->isChecked() && flaw.isEmpty());
}

void FirstRunPage::setBusy(bool busy, const QString& text)
{
    m_busy = busy;
    m_details->setEnabled(!busy);
    for (QRadioButton* choice : {m_embedded, m_servers, m_existing})
        choice->setEnabled(!busy);
    showState();
    m_state->setText(text);
}

void FirstRunPage::testConnections()
{
    setBusy(true, tr("Testing the connections …"));
    workBehindWindow(
        this, [wanted = plan()] { return lookAtPlan(wanted); },
        [this](const std::vector<ConnectionLook>& looks) {
            QStringList lines;
            for (const ConnectionLook& look : looks) {
                const QString text = look.isNew ? tr("no site there yet (%1)").arg(look.text) : look.text;
                lines << (look.service.isEmpty() ? text : tr("%1: %2").arg(look.service, text));
            }
            setBusy(false, lines.join(QLatin1Char('\n')));
        });
}

void FirstRunPage::openExisting()
{
    const QString path = QDir::cleanPath(m_file->text());
    if (const QString flaw = flawOfConfiguration(path); !flaw.isEmpty()) {
        m_state->setText(tr("The site cannot be opened: %1").arg(flaw));
        return;
    }
    m_site.configuration = path;
    QDialog::accept();
}

void FirstRunPage::accept()
{
    if (!m_go->isEnabled())
        return;
    if (m_existing->isChecked()) {
        openExisting();
        return;
    }
    setBusy(true, tr("The site is being made …"));
    workBehindWindow(
        this, [wanted = plan()] { return makeSite(wanted); },
        [this](const FirstSite& made) {
            m_site = made;
            if (made.failure.isEmpty()) {
                m_busy = false;
                QDialog::accept();
            } else {
                setBusy(false, tr("The site could not be made: %1").arg(made.failure));
            }
        });
}

/// A site that is being made is not left half made by closing the window.
void FirstRunPage::reject()
{
    if (!m_busy)
        QDialog::reject();
}

} // namespace KOZAV::Host
