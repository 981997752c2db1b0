// The window as it stands on a screen: small and large, plain and magnified.

#include "samples/JobGenerator.h"
#include "tests/support/DesktopClient.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV;
using namespace KOZAV::Test;

class DesktopWindowTest : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void fits_data();
    void fits();
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
    const QTemporaryDir home;
    const Desktop desktop(screen);
    DesktopClient client(desktop, home.path());
    QVERIFY(client.start({QStringLiteral("--config"), site.configuration()},
                         {{QStringLiteral("QT_SCALE_FACTOR"), scale}}));
    const auto window = client.find(QStringLiteral("KOZAV::Host::MainWindow"));
    QVERIFY(window);
    QVERIFY(client.shows(QStringLiteral("importDock > QGroupBox=批量导入 > QPushButton=导入")));
    desktop.takePicture(QStringLiteral("window-") + QString::fromLatin1(QTest::currentDataTag()));
    QCOMPARE(client.quit(), 0);
}

ZAV_REGISTER_TEST(desktop_window, DesktopWindowTest, QCoreApplication)
#include "desktop_window.moc"
