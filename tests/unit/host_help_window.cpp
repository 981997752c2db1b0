#include "host/HelpWindow.h"
#include "host/Language.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QAction>
#include <QApplication>
#include <QDesktopServices>
#include <QDialog>
#include <QFileInfo>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBlock>
#include <QTextBrowser>
#include <QToolBar>
#include <QUrl>

#include <memory>

using namespace KOZAV::Host;
using namespace KOZAV::Test;

/// What F1 shows, on a manual of two pages that is made up.
class HostHelpWindow final : public QObject
{
    Q_OBJECT
public:
    /// Takes the place of a browser.
    Q_INVOKABLE void browse(const QUrl& page) { m_browsed = page; }

private Q_SLOTS:
    void init();
    void cleanup();
    void showsWhatStandsBetweenTheMarks();
    void goesBackAndForward();
    void turnsTheWindowThatIsThere();
    void unknownPageIsTheFirst();
    void linkLeadsToAHeading();
    void picturesFitTheWindow();
    void opensInTheBrowser();
    void withoutAManualThereIsTheShortPage();
    void everyPartHasAPage_data();
    void everyPartHasAPage();
    void manualIsInTheClientsLanguage();

private:
    void writePage(const QString& name, const QString& text) const;
    [[nodiscard]] QDialog* help() const
    {
        return m_window->findChild<QDialog*>(QStringLiteral("helpWindow"));
    }
    [[nodiscard]] QTextBrowser* text() const { return help()->findChild<QTextBrowser*>(); }
    void press(const char* action) const { help()->findChild<QAction*>(QLatin1String(action))->trigger(); }
    [[nodiscard]] QString shown() const { return text()->toPlainText(); }

    std::unique_ptr<QTemporaryDir> m_manual;
    std::unique_ptr<QWidget> m_window;
    QUrl m_browsed;
};

void HostHelpWindow::writePage(const QString& name, const QString& text) const
{
    const QString page = QStringLiteral("<html><head><title>T</title></head><body>around\n<!-- text -->\n%1\n"
                                        "<!-- /text -->\nbehind</body></html>");
    writeFile(local(m_manual->filePath(name + QStringLiteral(".html"))), page.arg(text).toUtf8());
}

void HostHelpWindow::init()
{
    m_manual = std::make_unique<QTemporaryDir>();
    writePage(QStringLiteral("index"), QStringLiteral("<h1>First</h1>"));
    writePage(QStringLiteral("batch"), QStringLiteral("<h1>批量导入</h1><p>text</p>"));
    m_window = std::make_unique<QWidget>();
    m_window->show();
}

void HostHelpWindow::cleanup()
{
    m_window.reset();
}

void HostHelpWindow::showsWhatStandsBetweenTheMarks()
{
    showHelp(*m_window, QStringLiteral("batch"), m_manual->path());
    QVERIFY(help()->isVisible());
    QVERIFY(!help()->isModal());
    QCOMPARE(shown().trimmed(), QStringLiteral("批量导入\ntext"));
    QVERIFY(!help()->findChild<QAction*>(QStringLiteral("helpBack"))->isEnabled());
}

void HostHelpWindow::goesBackAndForward()
{
    showHelp(*m_window, QStringLiteral("batch"), m_manual->path());
    press("helpContents");
    QVERIFY(shown().contains(QStringLiteral("First")));
    press("helpKeys");
    QVERIFY(shown().contains(QStringLiteral("Ctrl+Q")));
    press("helpBack");
    QVERIFY(shown().contains(QStringLiteral("First")));
    press("helpBack");
    QVERIFY(shown().contains(QStringLiteral("批量导入")));
    press("helpForward");
    QVERIFY(shown().contains(QStringLiteral("First")));
}

void HostHelpWindow::turnsTheWindowThatIsThere()
{
    showHelp(*m_window, QStringLiteral("index"), m_manual->path());
    const QDialog* before = help();
    showHelp(*m_window, QStringLiteral("batch"), m_manual->path());
    QCOMPARE(help(), before);
    QCOMPARE(m_window->findChildren<QDialog*>().size(), 1);
    QVERIFY(shown().contains(QStringLiteral("批量导入")));
}

void HostHelpWindow::unknownPageIsTheFirst()
{
    showHelp(*m_window, QStringLiteral("no-such-page"), m_manual->path());
    QVERIFY(shown().contains(QStringLiteral("First")));
}

/// As build.py writes it: the id on the heading, the link with percent signs.
void HostHelpWindow::linkLeadsToAHeading()
{
    QString lines;
    for (int line = 0; line < 200; ++line)
        lines += QStringLiteral("<p>line</p>");
    writePage(QStringLiteral("long"), lines + QStringLiteral("<h2 id=\"结果\">结果</h2>") + lines);
    showHelp(*m_window, QStringLiteral("batch"), m_manual->path());
    text()->setSource(QUrl(QUrl::fromLocalFile(m_manual->filePath(QStringLiteral("long.html"))).toString() +
                           QStringLiteral("#%E7%BB%93%E6%9E%9C")));
    const QTextCursor top = text()->cursorForPosition(QPoint(40, 4));
    QCOMPARE(top.block().text(), QStringLiteral("结果"));
}

void HostHelpWindow::picturesFitTheWindow()
{
    QImage picture(1200, 600, QImage::Format_RGB32);
    picture.fill(Qt::darkGreen);
    QVERIFY(picture.save(m_manual->filePath(QStringLiteral("picture.png"))));
    writePage(QStringLiteral("batch"), QStringLiteral("<p><img src=\"picture.png\" alt=\"a picture\"></p>"));
    showHelp(*m_window, QStringLiteral("batch"), m_manual->path());
    for (const int width : {900, 500, 1000}) {
        help()->resize(width, 700);
        QTRY_COMPARE(text()->width(), width);
        const double shownWidth = text()->document()->size().width();
        QVERIFY2(shownWidth <= text()->viewport()->width(), qPrintable(QString::number(shownWidth)));
        const QImage seen = text()->grab().toImage();
        QCOMPARE(seen.pixelColor(width / 2, 60), QColor(Qt::darkGreen));
        QCOMPARE(seen.pixelColor(width - 60, 60), QColor(Qt::darkGreen));
    }
}

void HostHelpWindow::opensInTheBrowser()
{
    QDesktopServices::setUrlHandler(QStringLiteral("file"), this, "browse");
    showHelp(*m_window, QStringLiteral("batch"), m_manual->path());
    press("helpBrowser");
    QCOMPARE(m_browsed.toLocalFile(), m_manual->filePath(QStringLiteral("batch.html")));
    press("helpKeys");
    press("helpBrowser");
    QCOMPARE(m_browsed.toLocalFile(), m_manual->filePath(QStringLiteral("index.html")));
    QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
}

void HostHelpWindow::withoutAManualThereIsTheShortPage()
{
    showHelp(*m_window, QStringLiteral("batch"), QString());
    QVERIFY(shown().contains(QStringLiteral("Ctrl+Q")));
    QVERIFY(!help()->findChild<QToolBar*>());
}

void HostHelpWindow::everyPartHasAPage_data()
{
    QTest::addColumn<QString>("part");
    for (const char* part :
         {"importDock", "waitingDock", "jobListDock", "jobDock", "messageDock", "filesPage", "foresightPage",
          "resultsPage", "robotPage", "companiesPage", "firstRunPage"})
        QTest::newRow(part) << QString::fromLatin1(part);
}

void HostHelpWindow::everyPartHasAPage()
{
    QFETCH(const QString, part);
    const QString page = manualPageOf(part);
    QVERIFY(page != QLatin1String("index"));
    for (const char* language : {"zh", "en"}) {
        const QString source =
            QStringLiteral(ZAV_DOCS_DIR "/manual/%1/%2.md").arg(QLatin1String(language), page);
        QVERIFY2(QFileInfo(source).isFile(), qPrintable(source));
    }
    QCOMPARE(manualPageOf(QStringLiteral("elsewhere")), QStringLiteral("index"));
}

/// Among the shared data of the system: there is none of that name beside this program's own.
void HostHelpWindow::manualIsInTheClientsLanguage()
{
    const QByteArray before = qgetenv("XDG_DATA_HOME");
    const bool isBuilt = !installedManual().isEmpty();
    for (const char* language : {"zh", "en"})
        writeFile(local(m_manual->filePath(QStringLiteral("zav_import/manual/%1/index.html"))
                            .arg(QLatin1String(language))),
                  "<!-- text --><!-- /text -->");
    qputenv("XDG_DATA_HOME", m_manual->path().toLocal8Bit());
    for (const auto& [code, folder] : {std::pair("zh_CN", "/zh"), std::pair("en", "/en")}) {
        const Language language(QString::fromLatin1(code));
        const QString found = installedManual();
        QVERIFY2(found.endsWith(QLatin1String(folder)), qPrintable(found));
        QCOMPARE(found.startsWith(m_manual->path()), !isBuilt);
    }
    if (before.isNull())
        qunsetenv("XDG_DATA_HOME");
    else
        qputenv("XDG_DATA_HOME", before);
}

ZAV_REGISTER_TEST(host_help_window, HostHelpWindow, QApplication)
#include "host_help_window.moc"
