#pragma once

#include "host/core/RunGate.h"

#include <QFutureWatcher>
#include <QtConcurrentRun>

#include <memory>
#include <utility>

namespace KOZAV::Host {

/// Does work on another thread and hands its result to done on this one: not while a slot of the file import
/// panel runs, and not at all where context has gone by then. What work needs it holds itself: it may outlive
/// whoever has asked for it.
template <typename Work, typename Done>
void workBehindWindow(QObject* context, Work work, Done done)
{
    using Result = decltype(work());
    auto* watcher = new QFutureWatcher<Result>(context);
    QObject::connect(watcher, &QFutureWatcherBase::finished, context,
                     [context, watcher, done = std::move(done)] {
                         watcher->deleteLater();
                         auto result = std::make_shared<Result>(watcher->result());
                         RunGate::whenOpen(context, [done, result] { done(*result); });
                     });
    watcher->setFuture(QtConcurrent::run(std::move(work)));
}

} // namespace KOZAV::Host
