// A pulse is one or a few rounds of the thread's event dispatcher, in which an event filter of the
// application tells apart what may happen. Let in are the window system's requests (expose, resize, ping),
// posted events (layout, paint, calls of other threads, which themselves wait at the gate) and paints. Held
// back are timers and socket notifiers, which their sources tell again until somebody listens, and objects to
// be deleted, which are noted. Swallowed is input. A request to close a window is input too: it is told, and
// refused.
//
// Why not QEventLoop::ExcludeUserInputEvents: the window system's plugin keeps back a request to close then
// where nobody can see it, and all that was typed and clicked meanwhile comes when the panel is done, at
// whatever box is there by then. X11ExcludeTimers is honoured by all dispatchers of Qt 5 on Unix; where it is
// not the filter holds them back. The dispatcher on GLib knows no ExcludeSocketNotifiers.
//
// Painting may cost more than the work that it tells of, on a slow display: the pause after a pulse is so
// many times its length that it takes a small share of the time.

#include "host/WorkPulse.h"

#include "host/core/RunGate.h"
#include "host/site/SiteAccess.h"

#include <QAbstractButton>
#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QEvent>
#include <QKeyEvent>
#include <QMessageBox>
#include <QSocketNotifier>
#include <QThread>
#include <QWindow>

#include <algorithm>

namespace KOZAV::Host {

namespace {

constexpr qint64 shortestPauseMs = 40;
constexpr qint64 longestPauseMs = 1000;
constexpr qint64 pauseFactor =
    50; ///< a pulse takes about two percent of the time, where it is no longer than this allows
constexpr int mostRounds = 6;

constexpr QEventLoop::ProcessEventsFlags heldBack =
    QEventLoop::ExcludeSocketNotifiers | QEventLoop::X11ExcludeTimers;

enum class EventClass { Other, ComesAgain, Deletion, Close, Input };

EventClass classOf(QEvent::Type type)
{
    switch (type) {
    case QEvent::Timer:
    case QEvent::SockAct:
        return EventClass::ComesAgain;
    case QEvent::DeferredDelete:
        return EventClass::Deletion;
    case QEvent::Close:
        return EventClass::Close;
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::Wheel:
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::Shortcut:
    case QEvent::ShortcutOverride:
    case QEvent::InputMethod:
    case QEvent::ContextMenu:
    case QEvent::Enter:
    case QEvent::Leave:
    case QEvent::HoverEnter:
    case QEvent::HoverLeave:
    case QEvent::HoverMove:
    case QEvent::ToolTip:
    case QEvent::DragEnter:
    case QEvent::DragMove:
    case QEvent::DragLeave:
    case QEvent::Drop:
    case QEvent::TabletPress:
    case QEvent::TabletRelease:
    case QEvent::TabletMove:
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
    case QEvent::TouchCancel:
    case QEvent::NativeGesture:
        return EventClass::Input;
    default:
        return EventClass::Other;
    }
}

} // namespace

WorkPulse::WorkPulse(SiteAccess& site, QObject* parent)
    : QObject(parent)
{
    // On the thread of the call: what other threads fetch meanwhile is no work of the panel.
    const auto onOwnThread = [this](void (WorkPulse::*pulse)()) {
        return [this, pulse] {
            if (QThread::currentThread() == thread())
                (this->*pulse)();
        };
    };
    connect(&site, &SiteAccess::serviceCalled, this, onOwnThread(&WorkPulse::beatAfterPause),
            Qt::DirectConnection);
    connect(&site, &SiteAccess::serviceWorks, this, onOwnThread(&WorkPulse::beatAfterPause),
            Qt::DirectConnection);
    connect(&site, &SiteAccess::serviceWaits, this, onOwnThread(&WorkPulse::beat), Qt::DirectConnection);
}

WorkPulse::~WorkPulse() = default;

void WorkPulse::beatAfterPause()
{
    if (!m_sinceBeat.isValid() || m_sinceBeat.elapsed() >= m_pauseMs)
        beat();
}

void WorkPulse::beat()
{
    if (m_beating || !RunGate::isClosed())
        return;
    m_beating = true;
    QElapsedTimer clock;
    clock.start();
    Q_EMIT beats();
    handleEvents(Input::None);
    m_pauseMs = std::clamp(pauseFactor * clock.elapsed(), shortestPauseMs, longestPauseMs);
    m_sinceBeat.start();
    m_beating = false;
}

void WorkPulse::handleEvents(Input input)
{
    QCoreApplication* const application = QCoreApplication::instance();
    QAbstractEventDispatcher* const dispatcher = QAbstractEventDispatcher::instance();
    application->installEventFilter(this);
    if (input == Input::OfTheBox) {
        while (m_box && m_box->isVisible())
            dispatcher->processEvents(heldBack | QEventLoop::WaitForMoreEvents);
    } else {
        // A paint is posted by what comes before it.
        for (int round = 0; round < mostRounds && dispatcher->processEvents(heldBack);)
            ++round;
        QCoreApplication::sendPostedEvents();
    }
    application->removeEventFilter(this);
    for (const QPointer<QSocketNotifier>& silenced : m_silenced) {
        if (silenced)
            silenced->setEnabled(true);
    }
    m_silenced.clear();
}

int WorkPulse::ask(QMessageBox& box)
{
    if (m_beating)
        return QMessageBox::NoButton;
    m_beating = true;
    m_box = &box;
    box.setModal(true);
    box.show();
    handleEvents(Input::OfTheBox);
    m_box = nullptr;
    m_beating = false;
    return box.standardButton(box.clickedButton());
}

bool WorkPulse::isForBox(const QObject* watched) const
{
    if (!m_box)
        return false;
    const auto* widget = qobject_cast<const QWidget*>(watched);
    return watched == m_box->windowHandle() || (widget && (widget == m_box || m_box->isAncestorOf(widget)));
}

/// A button that is worked by its letter waits for a timer before it is clicked: with Alt it is clicked at
/// once, and the letter alone is no answer.
bool WorkPulse::isTakenFromBox(QObject* watched, const QEvent& event)
{
    auto* button = qobject_cast<QAbstractButton*>(watched);
    if (event.type() == QEvent::Shortcut && button) {
        button->click();
        return true;
    }
    if (event.type() != QEvent::KeyPress)
        return false;
    const auto& key = static_cast<const QKeyEvent&>(event);
    return key.modifiers() == Qt::NoModifier && !key.text().isEmpty() && key.text().at(0).isLetterOrNumber();
}

bool WorkPulse::eventFilter(QObject* watched, QEvent* event)
{
    switch (classOf(event->type())) {
    case EventClass::Other:
        return false;
    case EventClass::ComesAgain:
        silence(watched);
        return true;
    case EventClass::Deletion:
        deleteLater(watched);
        return true;
    case EventClass::Close:
        if (isForBox(watched))
            return false;
        event->ignore();
        Q_EMIT closeRequested();
        return true;
    case EventClass::Input:
        return !isForBox(watched) || isTakenFromBox(watched, *event);
    }
    return false;
}

/// A socket that is not read tells it without end.
void WorkPulse::silence(QObject* source)
{
    if (auto* notifier = qobject_cast<QSocketNotifier*>(source)) {
        notifier->setEnabled(false);
        m_silenced.emplace_back(notifier);
    }
}

void WorkPulse::deleteLater(QObject* object)
{
    m_toDelete.emplace_back(object);
    if (m_toDelete.size() > 1)
        return;
    RunGate::whenOpen(this, [this] {
        for (const QPointer<QObject>& waiting : m_toDelete) {
            if (waiting)
                waiting->deleteLater();
        }
        m_toDelete.clear();
    });
}

} // namespace KOZAV::Host
