// The window as it stands on a screen: small and large, plain and magnified.

#include "samples/JobGenerator.h"
#include "tests/support/DesktopClient.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QSettings>
#include <QTest>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

const char* describe(const QRect& rect)
{
    static QByteArray text;
    text = QStringLiteral("%1,%2 %3x%4")
               .arg(rect.x())
               .arg(rect.y())
               .arg(rect.width())
               .arg(rect.height())
               .toLatin1();
    return text.constData();
}

} // namespace

class DesktopWindowTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void fits_data();
    void fits();
    void belongsToItsDesktopEntry();
};

void DesktopWindowTest::fits_data()
{
    QTest::addColumn<QSize>("screen");
    QTest::addColumn<QString>("scale");
    QTest::newRow("small") << QSize(1024, 700) << QStringLiteral("1");
    QTest::newRow("full-hd") << QSize(1920, 1080) << QStringLiteral("1");
    QTest::newRow("full-hd-150") << QSize(1920, 1080) << QStringLiteral("1.5");
    QTest::newRow("4k-200") << QSize(3840, 2160) << QStringLiteral("2");
    QTest::newRow("4k-300") << QSize(3840, 2160) << QStringLiteral("3");
}

void DesktopWindowTest::fits()
{
    QFETCH(QSize, screen);
    QFETCH(QString, scale);
    const FreshSite site;
    site.addCompany(QStringLiteral("HX"), QStringLiteral("华兴"));
    const Desktop desktop(screen);
    DesktopClient client(desktop);
    QVERIFY(client.start({QStringLiteral("--config"), site.configuration()},
                         {{QStringLiteral("QT_SCALE_FACTOR"), scale}}));
    const auto window = client.find(QStringLiteral("KOZAV::Host::MainWindow"));
    QVERIFY(window);
    QVERIFY2(QRect(QPoint(), screen).contains(window->rect), describe(window->rect));
    const double ratio = scale.toDouble();
    for (const char* dock : {"importDock", "waitingDock", "messageDock"}) {
        const auto shown = client.find(QString::fromLatin1(dock));
        QVERIFY2(shown, dock);
        QVERIFY2(shown->seen.size() == shown->rect.size(), describe(shown->seen));
    }
    // What belongs to a job is there with a job.
    QVERIFY(!client.shows(QStringLiteral("jobDock")));
    QVERIFY(!client.shows(QStringLiteral("jobListDock")));
    const auto files = client.find(QStringLiteral("filesPage > QTableView"));
    QVERIFY2(files && files->seen.width() >= 560 * ratio && files->seen.height() >= 250 * ratio,
             describe(files ? files->seen : QRect()));
    for (const char* button :
         {"QGroupBox=批量导入 > QPushButton=导入", "QGroupBox=导入 > QPushButton=导入"}) {
        const auto shown = client.find(QStringLiteral("importDock > ") + QString::fromUtf8(button));
        QVERIFY2(shown && shown->seen.size() == shown->rect.size(), button);
    }
    client.takePicture(QStringLiteral("window-") + QString::fromLatin1(QTest::currentDataTag()));
    QCOMPARE(client.quit(), 0);
}

/// X11 finds the entry by the window's class, Wayland by the entry's own name.
void DesktopWindowTest::belongsToItsDesktopEntry()
{
    const QFileInfo file(QStringLiteral(ZAV_PACKAGING_DIR "/desktop/zav_client.desktop"));
    QSettings entry(file.filePath(), QSettings::IniFormat);
    const QString windowClass = entry.value(QStringLiteral("Desktop Entry/StartupWMClass")).toString();
    QVERIFY(!windowClass.isEmpty());
    const FreshSite site;
    const Desktop desktop;
    DesktopClient client(desktop);
    QVERIFY(client.start({QStringLiteral("--config"), site.configuration()}));
    QCOMPARE(client.desktopFile(), file.completeBaseName());
    QVERIFY(desktop.showsClass(client.processId(), windowClass));
    QVERIFY(!desktop.showsClass(client.processId(), windowClass + QLatin1Char('s')));
    QCOMPARE(client.quit(), 0);
}

ZAV_REGISTER_TEST(desktop_window, DesktopWindowTest, QCoreApplication)
#include "desktop_window.moc"
