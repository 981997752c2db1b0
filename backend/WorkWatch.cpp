#include "backend/WorkWatch.h"

#include "backend/Guarded.h"
#include "backend/ObserverSlot.h"
#include "backend/Status.h"

#include <future>
#include <utility>

namespace KOZAV::Backend {

namespace {

ObserverSlot<WorkObserver>& workSlot()
{
    static ObserverSlot<WorkObserver> slot;
    return slot;
}

/// Of the outermost operation that the thread is in, where the host listens.
thread_local WatchedWork* currentWork = nullptr;

} // namespace

void setWorkObserver(WorkObserver observer)
{
    workSlot().set(std::move(observer));
}

WatchedWork::WatchedWork(const OperationEvent& event)
    : m_event(event)
{
    if (currentWork)
        return;
    m_observer = workSlot().get();
    if (!m_observer)
        return;
    m_sinceTold.start();
    currentWork = this;
}

WatchedWork::~WatchedWork()
{
    if (currentWork == this)
        currentWork = nullptr;
}

/// What the observer does may work as well, and say so.
void WatchedWork::tell(WorkProgress::Stage stage, qint64 done, qint64 total) noexcept
{
    if (m_telling || m_sinceTold.elapsed() < workTellInterval.count())
        return;
    m_telling = true;
    (void)guarded([&] {
        (*m_observer)({m_event.operation, m_event.subject, stage, done, total});
        return Status();
    });
    m_telling = false;
    m_sinceTold.start();
}

bool isWorkWatched() noexcept
{
    return currentWork != nullptr;
}

void tellWork(WorkProgress::Stage stage, qint64 done, qint64 total) noexcept
{
    if (currentWork)
        currentWork->tell(stage, done, total);
}

void runTold(WorkProgress::Stage stage, const std::function<void()>& work)
{
    if (!isWorkWatched())
        return work();
    auto running = std::async(std::launch::async, work);
    while (running.wait_for(workTellInterval) == std::future_status::timeout)
        tellWork(stage);
    running.get();
}

} // namespace KOZAV::Backend
