// Nobody waits for the desktop: the notice is sent, and what becomes of it is not asked. A bus is looked for
// only where the session names one: a library that finds none starts one otherwise.
//
// Whether the window is looked at is known once the window system has been heard, which it is not while the
// panel works: so a box is asked a moment after it is shown, in the event loop that it runs itself.

#include "host/DesktopNotice.h"

#include "host/PanelReport.h"
#include "host/PanelRun.h"
#include "host/core/PanelSource.h"

#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QMessageBox>
#include <QTimer>

#ifdef ZAV_WITH_DBUS
#include <QDBusConnection>
#include <QDBusMessage>
#endif

namespace KOZAV::Host {

namespace {

/// The box with which the panel closes a batch.
const QString& closingText()
{
    static const QString text = QStringLiteral("原始数据导入完成");
    return text;
}

#ifdef ZAV_WITH_DBUS

bool hasSessionBus()
{
    const QString runtime = QFile::decodeName(qgetenv("XDG_RUNTIME_DIR"));
    return !qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS") ||
           (!runtime.isEmpty() && QFileInfo::exists(runtime + QStringLiteral("/bus")));
}

void showOnDesktop(const QString& title, const QString& text)
{
    if (!hasSessionBus())
        return;
    const QString service = QStringLiteral("org.freedesktop.Notifications");
    QDBusMessage call = QDBusMessage::createMethodCall(
        service, QStringLiteral("/org/freedesktop/Notifications"), service, QStringLiteral("Notify"));
    constexpr uint replacesNone = 0;
    constexpr int usualTime = -1;
    // The text may be taken for markup.
    call << QCoreApplication::applicationName() << replacesNone << QString() << title << text.toHtmlEscaped()
         << QStringList() << QVariantMap() << usualTime;
    QDBusConnection::sessionBus().send(call);
}

#else

void showOnDesktop(const QString& /*title*/, const QString& /*text*/) {}

#endif

} // namespace

DesktopNotice::DesktopNotice(const PanelRun& run, const PanelReport& report, QObject* parent, int patienceMs)
    : QObject(parent)
    , m_run(run)
    , m_report(report)
    , m_patienceMs(patienceMs)
{
    connect(&run, &PanelRun::begins, this, &DesktopNotice::begin);
    connect(&run, &PanelRun::ended, this, &DesktopNotice::end);
}

void DesktopNotice::begin()
{
    m_hasTold = false;
    m_unattended.start();
    QCoreApplication::instance()->installEventFilter(this);
}

void DesktopNotice::end()
{
    QCoreApplication::instance()->removeEventFilter(this);
    if (!m_hasTold && isMissed())
        tellEnd();
}

bool DesktopNotice::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Show) {
        auto* box = qobject_cast<QMessageBox*>(watched);
        if (box && box->parent() == &m_run.panel())
            noteBox(box);
    }
    return QObject::eventFilter(watched, event);
}

void DesktopNotice::noteBox(QMessageBox* box)
{
    constexpr int momentMs = 300;
    QTimer::singleShot(momentMs, box, [this, box] { tellBox(*box); });
    // Some boxes are answered by the client itself, and then nobody was there.
    connect(box, &QDialog::finished, this, [this] {
        if (QApplication::activeWindow())
            m_unattended.start();
    });
}

bool DesktopNotice::isMissed() const
{
    return m_unattended.hasExpired(m_patienceMs) && !QApplication::activeWindow();
}

void DesktopNotice::tellBox(const QMessageBox& box)
{
    if (!isMissed())
        return;
    if (box.text() == closingText())
        tellEnd();
    else
        tell(tr("The import waits for an answer"), box.text());
}

void DesktopNotice::tellEnd()
{
    const BatchReport* report = m_report.current();
    const QString place = QFileInfo(m_run.source().path).fileName();
    tell(tr("The import has ended"),
         tr("%1: %n job(s) imported", nullptr, report ? report->importedSoFar() : 0).arg(place));
    m_hasTold = true;
}

void DesktopNotice::tell(const QString& title, const QString& text)
{
    QApplication::alert(m_run.panel().window());
    showOnDesktop(title, text);
}

} // namespace KOZAV::Host
