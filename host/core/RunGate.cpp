#include "host/core/RunGate.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QPointer>
#include <QThread>

#include <deque>
#include <utility>

namespace KOZAV::Host {

namespace {

struct WaitingWork
{
    QPointer<QObject> context;
    std::function<void()> work;
};

struct GateState
{
    bool isClosed = false;
    std::deque<WaitingWork> waiting;
};

GateState& gateState()
{
    static GateState state;
    return state;
}

/// Each piece of work may close the gate again, open an event loop, or bring more work.
void doWaitingWork()
{
    GateState& state = gateState();
    while (!state.isClosed && !state.waiting.empty()) {
        const WaitingWork next = std::move(state.waiting.front());
        state.waiting.pop_front();
        if (next.context)
            next.work();
    }
}

} // namespace

bool RunGate::isClosed()
{
    return gateState().isClosed;
}

void RunGate::whenOpen(QObject* context, std::function<void()> work)
{
    GateState& state = gateState();
    Q_ASSERT(QThread::currentThread() == QCoreApplication::instance()->thread());
    if (state.isClosed || !state.waiting.empty())
        state.waiting.push_back({context, std::move(work)});
    else
        work();
}

void RunGate::close()
{
    gateState().isClosed = true;
}

void RunGate::open()
{
    GateState& state = gateState();
    state.isClosed = false;
    if (!state.waiting.empty())
        QMetaObject::invokeMethod(QCoreApplication::instance(), doWaitingWork, Qt::QueuedConnection);
}

} // namespace KOZAV::Host
