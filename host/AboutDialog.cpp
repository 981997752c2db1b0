#include "host/AboutDialog.h"

#include "host/ClientState.h"
#include "host/site/SiteAccess.h"
#include "services/common/Common.h"

#include <QApplication>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QDir>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QSysInfo>
#include <QVBoxLayout>

namespace KOZAV::Host {

namespace {

QString engineText(Backend::SitePart part, const Backend::ServiceHealth& state)
{
    if (!state.isReachable())
        return AboutDialog::tr("unreachable");
    return part == Backend::SitePart::Files && !state.remote ? AboutDialog::tr("local folder") : state.engine;
}

QLabel* selectable(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    return label;
}

} // namespace

AboutDialog::AboutDialog(const SiteAccess& site, const QString& logFile, QWidget* parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("aboutDialog"));
    setWindowTitle(tr("About this program"));
    addVersions(site);
    addPlaces(site, logFile);
    buildLayout();
}

void AboutDialog::add(const QString& what, const QString& value)
{
    if (!value.isEmpty())
        m_facts.emplace_back(what, value);
}

void AboutDialog::addVersions(const SiteAccess& site)
{
    add(tr("Client"),
        QCoreApplication::applicationName() + QLatin1Char(' ') + QCoreApplication::applicationVersion());
    add(tr("Qt"), QString::fromLatin1(qVersion()));
    add(tr("System"), QSysInfo::prettyProductName() + QLatin1Char(' ') + QSysInfo::currentCpuArchitecture());
    add(tr("Database"), engineText(Backend::SitePart::Rows, site.part(Backend::SitePart::Rows)));
    add(tr("File store"), engineText(Backend::SitePart::Files, site.part(Backend::SitePart::Files)));
}

void AboutDialog::addPlaces(const SiteAccess& site, const QString& logFile)
{
    const auto config = Common::commonInterface()->getConfig();
    const auto native = [](const QString& path) { return QDir::toNativeSeparators(path); };
    add(tr("Site"), site.identity());
    add(tr("Configuration"), native(site.configurationPath()));
    add(tr("Place of the database"), site.part(Backend::SitePart::Rows).place);
    add(tr("Place of the file store"), site.part(Backend::SitePart::Files).place);
    add(tr("Upload cache"), native(QString::fromStdString(config.uploadCacheDir)));
    add(tr("Download cache"), native(QString::fromStdString(config.downloadCacheDir)));
    add(tr("User's own settings"), native(ClientState::general().path()));
    add(tr("Log file"), native(logFile));
}

QString AboutDialog::text() const
{
    QString all;
    for (const auto& [what, value] : m_facts)
        all += tr("%1: %2", "what, its value").arg(what, value) + QLatin1Char('\n');
    return all;
}

void AboutDialog::buildLayout()
{
    auto* title = selectable(tr("Job data management"), this);
    title->setObjectName(QStringLiteral("sectionTitle"));
    auto* content = new QWidget(this);
    auto* facts = new QFormLayout(content);
    facts->setContentsMargins(0, 0, 0, 0);
    facts->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    for (const auto& [what, value] : m_facts) {
        auto* shown = selectable(value, content);
        shown->setAccessibleName(what);
        facts->addRow(what, shown);
    }
    // Paths may be long, and the screen small.
    auto* scroll = new QScrollArea(this);
    scroll->setWidget(content);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setMinimumSize(560, 340);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    QPushButton* copy = buttons->addButton(tr("C&opy"), QDialogButtonBox::ActionRole);
    copy->setObjectName(QStringLiteral("copyFacts"));
    connect(copy, &QPushButton::clicked, this, [this] { QApplication::clipboard()->setText(text()); });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(title);
    layout->addWidget(scroll, 1);
    layout->addWidget(buttons);
    buttons->button(QDialogButtonBox::Close)->setFocus();
}

} // namespace KOZAV::Host
