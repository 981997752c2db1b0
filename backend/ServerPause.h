#pragma once

#include "backend/Status.h"

#include <QDeadlineTimer>

#include <chrono>

namespace KOZAV::Backend {

/// Keeps a batch of many jobs from waiting many times for a server that does not answer: after an attempt
/// that failed by its time-out, the next ones within a few seconds fail at once with the same reason.
class ServerPause final
{
public:
    static constexpr int seconds = 5;

    /// Runs attempt, or fails as the last one did while the pause lasts.
    template <typename Attempt>
    Status run(const Attempt& attempt)
    {
        if (!m_end.hasExpired())
            return m_failure;
        const QDeadlineTimer quick(quickMs);
        Status outcome = attempt();
        if (outcome.code() == ErrorCode::Unavailable && quick.hasExpired())
            outcome = begin(outcome);
        return outcome;
    }

private:
    static constexpr int quickMs = 900; ///< a server that refuses does so within this

    Status begin(const Status& failure)
    {
        m_failure = Status(
            failure.code(),
            QStringLiteral("%1; a new try makes sense in %2 seconds").arg(failure.message()).arg(seconds));
        m_end = QDeadlineTimer(std::chrono::seconds(seconds));
        return m_failure;
    }

    Status m_failure;
    QDeadlineTimer m_end{0};
};

} // namespace KOZAV::Backend
