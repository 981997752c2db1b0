#pragma once

#include <functional>

class QObject;

namespace KOZAV::Host {

/// What comes of itself (the result of a thread, a timer, an answer of another machine) waits while a slot of
/// the file import panel runs: the panel counts on nothing else happening meanwhile, but the window is
/// painted, and posted calls are delivered with that.
///
/// A single shot of no time is a posted call as well.
///
/// Whatever changes a model or a view, asks the site, or leads to a panel goes through here. On the thread of
/// the window alone.
class RunGate final
{
public:
    /// Whether a slot of the panel runs.
    [[nodiscard]] static bool isClosed();

    /// Does the work: at once where the gate is open and nothing waits any more, otherwise in its turn after
    /// the slot has returned. Work that waits when its context is destroyed is dropped.
    static void whenOpen(QObject* context, std::function<void()> work);

    /// The slot is about to be called. Closing a closed gate changes nothing.
    static void close();
    /// The slot has returned. What waits is done when the event loop comes to run next, so that all who
    /// follow the run have heard of its end before.
    static void open();

    RunGate() = delete;
};

} // namespace KOZAV::Host
