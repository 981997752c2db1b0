#include "host/core/ReadAlong.h"

#include <QFileInfo>
#include <QMutexLocker>
#include <QtConcurrent>

#include <algorithm>
#include <iterator>
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

/// Somebody waits now, and on a machine with other work an idle thread may not come to run at all: what it
/// has not read is read by as many threads as there are cores.
void ReadAlong::finish()
{
    m_cancelled = true;
    {
        const QMutexLocker lock(&m_mutex);
        m_changed.wakeAll();
    }
    wait();
    m_cancelled = false;
    std::vector<Read> rest;
    for (Archive& archive : m_waiting)
        rest.push_back({std::move(archive), {}});
    m_waiting.clear();
    QtConcurrent::blockingMap(rest, [this](Read& read) { read.flaw = check(read.archive); });
    std::move(rest.begin(), rest.end(), std::back_inserter(m_read));
}

/// The staged copy is what was stored, and lies on this machine. It goes when the import has ended, which may
/// be just now.
ArchiveFlaw ReadAlong::check(const Archive& archive) const
{
    ArchiveFlaw flaw = checkArchive(archive.stagedCopy, m_cancelled);
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
        const Archive archive = m_waiting.front();
        lock.unlock();
        const ArchiveFlaw flaw = check(archive);
        lock.relock();
        if (m_cancelled)
            return; // it was not read to its end
        m_waiting.pop_front();
        m_read.push_back({archive, flaw});
        Q_EMIT hasRead();
    }
}

} // namespace KOZAV::Host
