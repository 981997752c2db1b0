#include "host/HelpWindow.h"

#include <QCoreApplication>
#include <QDialog>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace KOZAV::Host {

namespace {

class HelpWindow final : public QDialog
{
    Q_DECLARE_TR_FUNCTIONS(KOZAV::Host::HelpWindow)
public:
    explicit HelpWindow(QWidget* parent);

private:
    static QString page();
    static QString row(const QString& keys, const QString& meaning);
};

HelpWindow::HelpWindow(QWidget* parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("helpWindow"));
    setWindowTitle(tr("How it works"));
    setAttribute(Qt::WA_DeleteOnClose);
    resize(640, 560);
    auto* text = new QTextBrowser(this);
    text->setAccessibleName(windowTitle());
    text->setHtml(page());
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(text);
}

QString HelpWindow::row(const QString& keys, const QString& meaning)
{
    return QStringLiteral("<tr><td><b>%1</b>&nbsp;&nbsp;</td><td>%2</td></tr>")
        .arg(keys.toHtmlEscaped(), meaning.toHtmlEscaped());
}

QString HelpWindow::page()
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
    html += row(QStringLiteral("F1"), tr("this page"));
    html += row(QStringLiteral("Ctrl+Q"), tr("ends the program"));
    return html + QStringLiteral("</table>");
}

} // namespace

void showHelp(QWidget& window)
{
    auto* help = window.findChild<QDialog*>(QStringLiteral("helpWindow"));
    if (!help)
        help = new HelpWindow(&window);
    help->show();
    help->raise();
    help->activateWindow();
}

} // namespace KOZAV::Host
