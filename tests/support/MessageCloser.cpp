#include "tests/support/MessageCloser.h"

#include "tests/support/DialogDriver.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QMessageBox>

namespace KOZAV::Test {

MessageCloser::MessageCloser(Way way)
    : m_way(way)
{
    QCoreApplication::instance()->installEventFilter(this);
}

bool MessageCloser::eventFilter(QObject* watched, QEvent* event)
{
    if (qobject_cast<DialogDriver*>(watched) != nullptr)
        return event->type() == QEvent::Timer || event->type() == QEvent::MetaCall;
    auto* const box = qobject_cast<QMessageBox*>(watched);
    if (box != nullptr && event->type() == QEvent::Show) {
        ++m_closed;
        QCoreApplication::postEvent(box, leavingEvent());
    }
    return false;
}

QEvent* MessageCloser::leavingEvent() const
{
    if (m_way == Way::EscapeKey)
        return new QKeyEvent(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    return new QCloseEvent;
}

} // namespace KOZAV::Test
