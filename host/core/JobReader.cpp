#include "host/core/JobReader.h"

#include "host/core/RunGate.h"

#include <QPointer>

#include <utility>

namespace KOZAV::Host {

JobReader::JobReader(QObject* parent)
    : QObject(parent)
    , m_desk(new QObject)
{
    m_thread.setObjectName(QStringLiteral("job lists"));
    m_desk->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_desk, &QObject::deleteLater);
}

JobReader::~JobReader()
{
    if (!m_thread.isRunning()) {
        delete m_desk;
        return;
    }
    m_thread.requestInterruption();
    m_thread.quit();
    m_thread.wait();
}

void JobReader::ask(QObject* context, Work work)
{
    if (m_rests)
        return;
    if (!m_thread.isRunning())
        m_thread.start(QThread::LowPriority);
    ++m_asked;
    const QPointer<QObject> asker(context);
    QMetaObject::invokeMethod(m_desk, [this, asker, work = std::move(work)] {
        if (QThread::currentThread()->isInterruptionRequested())
            return;
        QMetaObject::invokeMethod(this, [this, asker, answer = work()] {
            --m_asked;
            if (asker && answer)
                RunGate::whenOpen(asker, answer);
        });
    });
}

} // namespace KOZAV::Host
