// The manual is made for browsers: each page stands between two marks in its file, with the contents and the
// links to other pages around it. Here the text between the marks is shown, in the client's own colours, and
// buttons do what the surroundings do there. Pictures are never wider than the window: QTextBrowser shows
// them as large as they are, so they are given to it in the size that fits, and again when the window
// changes.

#include "host/HelpWindow.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDialog>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QImage>
#include <QLocale>
#include <QStandardPaths>
#include <QTextBrowser>
#include <QToolBar>
#include <QToolButton>
#include <QUrl>
#include <QVBoxLayout>
#include <QtMath>

namespace KOZAV::Host {

namespace {

const QLatin1String textBegin("<!-- text -->");
const QLatin1String textEnd("<!-- /text -->");

/// What is shown where there is no manual, and where somebody looks for the keys.
class ShortPage final
{
    Q_DECLARE_TR_FUNCTIONS(KOZAV::Host::HelpWindow)
public:
    static QUrl address() { return {QStringLiteral("client:keys")}; }
    static QString html();

private:
    static QString row(const QString& keys, const QString& meaning);
};

QString ShortPage::row(const QString& keys, const QString& meaning)
{
    return QStringLiteral("<tr><td><b>%1</b>&nbsp;&nbsp;</td><td>%2</td></tr>")
        .arg(keys.toHtmlEscaped(), meaning.toHtmlEscaped());
}

QString ShortPage::html()
{
    QString html;
    const auto title = [&html](const QString& text) {
        html += QStringLiteral("<h3>%1</h3>").arg(text.toHtmlEscaped());
    };
    const auto paragraph = [&html](const QString& text) {
        html += QStringLiteral("<p>%1</p>").arg(text.toHtmlEscaped());
    };
    title(tr("Importing a batch"));
    paragraph(
        tr("A batch directory has a folder for each company, named as the company is; in it lie its jobs, as "
           "folders or as .zip, .rar, .tgz or .kos archives. Choose the directory in the import panel, "
           "then press its import button. A company must be known to the site before."));
    title(tr("What became of it"));
    paragraph(
        tr("The panel's own messages say only that it has ended. What became of each job, and what to do "
           "about it, the results say, and the messages at the bottom of the window."));
    title(tr("Sending a job to the robot"));
    paragraph(
        tr("Open a waiting job: its row is selected in the job list. Press the list's import button and "
           "confirm. The job is opened, its layers are shown, and the robot gets the request."));
    title(tr("Keys"));
    html += QStringLiteral("<table>");
    html += row(QStringLiteral("Ctrl+1 … Ctrl+9"), tr("the pages in the middle"));
    html += row(QStringLiteral("F6, Shift+F6"), tr("the next and the previous part of the window"));
    html += row(QStringLiteral("Tab, Shift+Tab"), tr("the next and the previous field or button"));
    html += row(QStringLiteral("Space"), tr("presses a button"));
    html += row(QStringLiteral("Enter"), tr("opens the selected row"));
    html += row(QStringLiteral("Ctrl+F"), tr("searches the page"));
    html += row(QStringLiteral("Ctrl+C"), tr("copies the selected rows"));
    html += row(QStringLiteral("F5"), tr("reads everything again"));
    html += row(QStringLiteral("F1"), tr("help on what is in front"));
    html += row(QStringLiteral("Ctrl+Q"), tr("ends the program"));
    return html + QStringLiteral("</table>");
}

/// Shows files of the manual, and the short page.
class ManualBrowser final : public QTextBrowser
{
public:
    explicit ManualBrowser(QWidget* parent);

    QVariant loadResource(int type, const QUrl& name) override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    [[nodiscard]] QImage fitting(const QImage& picture) const;

    QHash<QUrl, QImage> m_pictures; ///< of the page, as large as they are
};

ManualBrowser::ManualBrowser(QWidget* parent)
    : QTextBrowser(parent)
{
    setObjectName(QStringLiteral("helpText"));
    setOpenExternalLinks(true);
    // The pictures take the room that is left beside it, so it is there from the beginning.
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    const QString line = palette().color(QPalette::Mid).name();
    const QString ground = palette().color(QPalette::AlternateBase).name();
    document()->setDefaultStyleSheet(
        QStringLiteral("h1 { font-size: x-large; } h2 { font-size: large; margin-top: 20px; }"
                       "h3 { font-size: medium; margin-top: 14px; } p, li { line-height: 130%; }"
                       "td, th { padding: 4px 8px; border: 1px solid %1; } th { text-align: left; }"
                       "table { border-collapse: collapse; margin-top: 6px; margin-bottom: 6px; }"
                       "code, pre { font-family: monospace; background-color: %2; }")
            .arg(line, ground));
    document()->setDocumentMargin(14);
}

QVariant ManualBrowser::loadResource(int type, const QUrl& name)
{
    if (type == QTextDocument::HtmlResource) {
        m_pictures.clear();
        if (name == ShortPage::address())
            return ShortPage::html();
        QFile file(name.toLocalFile());
        if (!file.open(QIODevice::ReadOnly))
            return {};
        const QString page = QString::fromUtf8(file.readAll());
        const int begin = page.indexOf(textBegin);
        return begin < 0 ? page : page.mid(begin, page.indexOf(textEnd, begin) - begin);
    }
    if (type == QTextDocument::ImageResource) {
        const QImage picture(source().resolved(name).toLocalFile());
        if (picture.isNull())
            return {};
        m_pictures.insert(name, picture);
        return fitting(picture);
    }
    return {};
}

/// Qt shows a picture larger where the display has more dots to the inch than textDpi: it is given that many
/// dots more, and comes out as wide as it is meant to.
QImage ManualBrowser::fitting(const QImage& picture) const
{
    constexpr qreal textDpi = 96;
    constexpr int rounding = 4;
    const int room = viewport()->width() - qCeil(2 * document()->documentMargin()) - rounding;
    const int width = qMax(1, qFloor(qMin(room, picture.width()) * devicePixelRatioF()));
    QImage scaled = picture.scaledToWidth(width, Qt::SmoothTransformation);
    scaled.setDevicePixelRatio(devicePixelRatioF() * logicalDpiX() / textDpi);
    return scaled;
}

void ManualBrowser::resizeEvent(QResizeEvent* event)
{
    for (auto picture = m_pictures.constBegin(); picture != m_pictures.constEnd(); ++picture)
        document()->addResource(QTextDocument::ImageResource, picture.key(), fitting(picture.value()));
    if (!m_pictures.isEmpty())
        document()->markContentsDirty(0, document()->characterCount());
    QTextBrowser::resizeEvent(event);
}

class HelpWindow final : public QDialog
{
    Q_DECLARE_TR_FUNCTIONS(KOZAV::Host::HelpWindow)
public:
    /// @param manual  folder of its pages; may be empty
    HelpWindow(QString manual, QWidget* parent);

    void turnTo(const QString& page);

private:
    QToolBar* buildButtons();
    [[nodiscard]] QUrl address(const QString& page) const;

    QString m_manual;
    ManualBrowser* m_text;
};

HelpWindow::HelpWindow(QString manual, QWidget* parent)
    : QDialog(parent)
    , m_manual(std::move(manual))
    , m_text(new ManualBrowser(this))
{
    setObjectName(QStringLiteral("helpWindow"));
    setWindowTitle(tr("How it works"));
    setAttribute(Qt::WA_DeleteOnClose);
    resize(m_manual.isEmpty() ? QSize(640, 560) : QSize(900, 700));
    m_text->setAccessibleName(windowTitle());
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    if (!m_manual.isEmpty())
        layout->addWidget(buildButtons());
    layout->addWidget(m_text);
    m_text->setFocus();
}

QToolBar* HelpWindow::buildButtons()
{
    auto* bar = new QToolBar(this);
    const auto add = [bar](const char* name, const QString& text) {
        QAction* action = bar->addAction(text);
        action->setObjectName(QLatin1String(name));
        if (auto* button = qobject_cast<QToolButton*>(bar->widgetForAction(action)))
            button->setFocusPolicy(Qt::TabFocus);
        return action;
    };
    QAction* back = add("helpBack", tr("← &Back"));
    QAction* forward = add("helpForward", tr("&Forward →"));
    QAction* contents = add("helpContents", tr("&Contents"));
    QAction* keys = add("helpKeys", tr("&Keys"));
    QAction* browser = add("helpBrowser", tr("&Open in the browser"));
    back->setEnabled(false);
    forward->setEnabled(false);
    connect(back, &QAction::triggered, m_text, &QTextBrowser::backward);
    connect(forward, &QAction::triggered, m_text, &QTextBrowser::forward);
    connect(m_text, &QTextBrowser::backwardAvailable, back, &QAction::setEnabled);
    connect(m_text, &QTextBrowser::forwardAvailable, forward, &QAction::setEnabled);
    connect(contents, &QAction::triggered, this,
            [this] { m_text->setSource(address(QStringLiteral("index"))); });
    connect(keys, &QAction::triggered, this, [this] { m_text->setSource(ShortPage::address()); });
    connect(browser, &QAction::triggered, this, [this] {
        const QUrl shown = m_text->source();
        QDesktopServices::openUrl(shown.isLocalFile() ? shown : address(QStringLiteral("index")));
    });
    return bar;
}

QUrl HelpWindow::address(const QString& page) const
{
    const auto file = [this](const QString& name) {
        return m_manual + QLatin1Char('/') + name + QStringLiteral(".html");
    };
    return QUrl::fromLocalFile(QFile::exists(file(page)) ? file(page) : file(QStringLiteral("index")));
}

void HelpWindow::turnTo(const QString& page)
{
    m_text->setSource(m_manual.isEmpty() ? ShortPage::address() : address(page));
}

} // namespace

QString installedManual()
{
    const QString place = QStringLiteral("zav_import/manual");
    const QString language =
        QLocale().language() == QLocale::Chinese ? QStringLiteral("/zh") : QStringLiteral("/en");
    QStringList folders = {QCoreApplication::applicationDirPath() + QStringLiteral("/../share/") + place};
    folders += QStandardPaths::locateAll(QStandardPaths::GenericDataLocation, place,
                                         QStandardPaths::LocateDirectory);
    for (const QString& folder : qAsConst(folders)) {
        if (QFile::exists(folder + language + QStringLiteral("/index.html")))
            return QDir::cleanPath(folder + language);
    }
    return {};
}

QString manualPageOf(const QString& part)
{
    static const QHash<QString, QString> pages = {
        {QStringLiteral("importDock"), QStringLiteral("batch")},
        {QStringLiteral("waitingDock"), QStringLiteral("job-list")},
        {QStringLiteral("jobListDock"), QStringLiteral("job-list")},
        {QStringLiteral("jobDock"), QStringLiteral("robot")},
        {QStringLiteral("messageDock"), QStringLiteral("results")},
        {QStringLiteral("filesPage"), QStringLiteral("window")},
        {QStringLiteral("foresightPage"), QStringLiteral("batch")},
        {QStringLiteral("resultsPage"), QStringLiteral("results")},
        {QStringLiteral("robotPage"), QStringLiteral("robot")},
        {QStringLiteral("companiesPage"), QStringLiteral("first-site")},
        {QStringLiteral("firstRunPage"), QStringLiteral("first-site")},
    };
    return pages.value(part, QStringLiteral("index"));
}

void showHelp(QWidget& window, const QString& page, const QString& manual)
{
    auto* help = static_cast<HelpWindow*>(window.findChild<QDialog*>(QStringLiteral("helpWindow")));
    if (!help)
        help = new HelpWindow(manual, &window);
    help->turnTo(page);
    help->show();
    help->raise();
    help->activateWindow();
}

} // namespace KOZAV::Host
