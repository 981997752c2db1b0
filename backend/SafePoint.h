#pragma once

#include "backend/Status.h"

#include <QtGlobal>

#include <functional>

namespace KOZAV::Backend {

// How long work is ended by whoever has called it. What works in files, pages of rows or blocks comes to a
// safe point between two of them: there the work may end as it would by any failure, with what is done whole
// and what was begun taken back. It costs nothing where nobody asks, and so may stand in any loop.

/// What the calling thread does while this lives can be stopped.
class StoppableWork final
{
public:
    /// Whether the work is to stop; asked on any thread that does a part of it.
    using Question = std::function<bool()>;

    explicit StoppableWork(Question mustStop);
    ~StoppableWork();
    Q_DISABLE_COPY(StoppableWork)

    /// Of the work that the calling thread is in, for the threads that do a part of it; empty where that
    /// cannot be stopped.
    [[nodiscard]] static Question question();

private:
    Question m_mustStop;
    const Question* m_before; ///< of the work that this is a part of
};

/// Stopped where the work of the calling thread is to stop.
Status safePoint();

} // namespace KOZAV::Backend
