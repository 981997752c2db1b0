#include "host/ReadAlong.h"

#include <QFileInfo>
#include <QMutexLocker>

#include <utility>

namespace KOZAV::Host {

ReadAlong::ReadAlong(QObject* parent)
    : QThread(parent)
{
}

ReadAlong::~ReadAlong()
{
    m_cancelled = true;
    {
        const QMutexLocker lock(&m_mutex);
        m_changed.wakeAll();
    }
    wait();
}

void ReadAlong::add(const Archive& archive)
{
    {
        const QMutexLocker lock(&m_mutex);
        m_waiting.push_back(archive);
        m_changed.wakeAll();
    }
    if (!isRunning())
        start(QThread::IdlePriority);
}

std::vector<ReadAlong::Read> ReadAlong::takeRead()
{
    const QMutexLocker lock(&m_mutex);
    return std::exchange(m_read, {});
}

/// Somebody waits now, so the thread is not held back any more.
void ReadAlong::finish()
{
    if (!isRunning())
        return;
    setPriority(QThread::NormalPriority);
    const QMutexLocker lock(&m_mutex);
    while (!m_waiting.empty() || m_reading)
        m_changed.wait(&m_mutex);
}

/// The staged copy is what was stored, and lies on this machine. It goes when the import has ended, which may
/// be just now.
ArchiveFlaw ReadAlong::check(const Archive& archive) const
{
    const ArchiveFlaw flaw = checkArchive(archive.stagedCopy, m_cancelled);
    if (flaw.kind == ArchiveFlaw::Kind::None || QFileInfo::exists(archive.stagedCopy))
        return flaw;
    return checkArchive(archive.source, m_cancelled);
}

void ReadAlong::run()
{
    QMutexLocker lock(&m_mutex);
    while (!m_cancelled) {
        if (m_waiting.empty()) {
            m_changed.wait(&m_mutex);
            continue;
        }
        const Archive archive = std::move(m_waiting.front());
        m_waiting.pop_front();
        m_reading = true;
        lock.unlock();
        const ArchiveFlaw flaw = check(archive);
        lock.relock();
        m_read.push_back({archive, flaw});
        m_reading = false;
        m_changed.wakeAll();
        Q_EMIT hasRead();
    }
}

} // namespace KOZAV::Host
