// What the desktop is asked to show when an import ends behind the operator's back: on a bus of the test's
// own, where it is the desktop's service itself.

#include "host/DesktopNotice.h"
#include "host/PanelReport.h"
#include "host/PanelRun.h"
#include "host/site/SiteAccess.h"
#include "tests/support/DialogDriver.h"
#include "tests/support/FreshSite.h"
#include "tests/support/PanelView.h"
#include "tests/support/TestProgram.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <memory>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

namespace {

constexpr int longestWaitMs = 30'000;
const QString serviceName = QStringLiteral("org.freedesktop.Notifications");

/// The desktop's service.
class Desktop final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    QStringList shown;

public Q_SLOTS:
    Q_SCRIPTABLE uint Notify(const QString& program, uint /*replaced*/, const QString& /*icon*/,
                             const QString& title, const QString& text, const QStringList& /*actions*/,
                             const QVariantMap& /*hints*/, int /*ms*/)
    {
        shown << QStringList({program, title, text}).join(QLatin1Char('|'));
        return 1;
    }
};

/// Looks at other programs until the desktop was asked for as many notices; then answers the panel's boxes.
class LateOperator final : public QObject
{
public:
    LateOperator(const Desktop& desktop, int notices)
        : m_desktop(desktop)
        , m_notices(notices)
    {
        connect(&m_timer, &QTimer::timeout, this, &LateOperator::answer);
        m_timer.start(10);
        m_since.start();
    }

private:
    void answer()
    {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box)
            return;
        if (m_desktop.shown.size() >= m_notices || m_since.hasExpired(longestWaitMs))
            box->accept();
        else
            QApplication::setActiveWindow(nullptr);
    }

    const Desktop& m_desktop;
    int m_notices;
    QTimer m_timer;
    QElapsedTimer m_since;
};

} // namespace

class HostDesktopNotice : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void missedEndIsTold();
    void shortImportIsNot();
    void noServiceIsNoError();

private:
    void importBatch(int patienceMs, int notices);

    QProcess m_bus;
    Desktop m_desktop;
};

void HostDesktopNotice::initTestCase()
{
    m_bus.start(QStringLiteral("dbus-daemon"),
                {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
    if (!m_bus.waitForStarted() || !m_bus.waitForReadyRead())
        QSKIP("there is no dbus-daemon that starts");
    const QByteArray address = m_bus.readLine().trimmed();
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    auto connection =
        QDBusConnection::connectToBus(QString::fromLatin1(address), QStringLiteral("the desktop"));
    QVERIFY(connection.registerObject(QStringLiteral("/org/freedesktop/Notifications"), &m_desktop,
                                      QDBusConnection::ExportScriptableSlots));
    QVERIFY(connection.registerService(serviceName));
}

void HostDesktopNotice::cleanupTestCase()
{
    QDBusConnection::disconnectFromBus(QStringLiteral("the desktop"));
    m_bus.terminate();
    m_bus.waitForFinished();
}

/// The panel is not shown, so no window of the program is looked at.
void HostDesktopNotice::importBatch(int patienceMs, int notices)
{
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("Acme"));
    QVERIFY(QDir().mkpath(site.path(QStringLiteral("<batch>/Acme"))));
    QFile job(site.path(QStringLiteral("<batch>/Acme/job.tgz")));
    QVERIFY(job.open(QIODevice::WriteOnly) && job.write("content") > 0);
    job.close();
    SiteAccess access(site.configuration());
    QCOMPARE(access.open(), QString());
    UI::ZAV_ImportFromFile_Widget panel(nullptr);
    const PanelRun run(panel);
    const PanelReport report(access, run);
    const DesktopNotice notice(run, report, nullptr, patienceMs);
    const PanelView view(panel);
    {
        DialogDriver dialogs;
        dialogs.expectFileDialog({site.path(QStringLiteral("<batch>"))});
        QTest::mouseClick(view.openFolder, Qt::LeftButton);
        QCOMPARE(dialogs.complaint(), QString());
    }
    m_desktop.shown.clear();
    const LateOperator person(m_desktop, notices);
    QTest::mouseClick(view.batchImport, Qt::LeftButton);
    QCOMPARE(int(site.jobs().size()), 1);
}

void HostDesktopNotice::missedEndIsTold()
{
    importBatch(0, 1);
    QCOMPARE(m_desktop.shown,
             QStringList{QStringLiteral("%1|The import has ended|&lt;batch&gt;: 1 job(s) imported")
                             .arg(QCoreApplication::applicationName())});
}

void HostDesktopNotice::shortImportIsNot()
{
    importBatch(DesktopNotice::usualPatienceMs, 0);
    QCOMPARE(m_desktop.shown, QStringList());
}

void HostDesktopNotice::noServiceIsNoError()
{
    QDBusConnection(QStringLiteral("the desktop")).unregisterService(serviceName);
    importBatch(0, 0);
    QCOMPARE(m_desktop.shown, QStringList());
}

ZAV_REGISTER_TEST(host_desktop_notice, HostDesktopNotice, QApplication)

#include "host_desktop_notice.moc"
