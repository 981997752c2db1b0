#pragma once

#include "backend/Status.h"

#include <QDeadlineTimer>

#include <chrono>

namespace KOZAV::Backend {

/// Tells a server that refuses, or a connection that turns out to be closed, from a server that does not
/// answer: they fail at once, where that one takes its time-out. What failed at once may be tried again
/// without keeping the caller twice as long.
class AnswerWatch final
{
public:
    /// Whether no more time than that has gone by since this was made.
    [[nodiscard]] bool isAtOnce() const { return !m_end.hasExpired(); }

    /// Whether a request that was sent when this was made failed as over a closed connection.
    [[nodiscard]] bool foundClosed(const Status& ended) const
    {
        return ended.code() == ErrorCode::Unavailable && isAtOnce();
    }

private:
    static constexpr std::chrono::milliseconds atOnce{900};

    QDeadlineTimer m_end{atOnce};
};

/// Keeps a batch of many jobs from waiting many times for a server that does not answer: after an attempt
/// that failed by its time-out, the next ones within a few seconds fail at once with the same reason. Not for
/// several threads at a time.
class ServerPause final
{
public:
    /// The message of a failure with the advice that goes with a pause.
    static QString withAdvice(const QString& message)
    {
        return QStringLiteral("%1; a new try makes sense in %2 seconds").arg(message).arg(seconds);
    }

    /// Runs attempt, or fails as the last one did while the pause lasts.
    template <typename Attempt>
    Status run(const Attempt& attempt)
    {
        if (auto standing = this->standing(); !standing.ok())
            return standing;
        const AnswerWatch watch;
        auto outcome = attempt();
        if (isSilence(outcome, watch))
            begin(outcome = Status(outcome.code(), withAdvice(outcome.message())));
        return outcome;
    }

    /// The failure that the pause began with, while it lasts.
    [[nodiscard]] Status standing() const { return m_end.hasExpired() ? Status() : m_failure; }

    /// Begins a pause where an attempt, watched since it began, ended with silence. The failure brings its
    /// advice along.
    void note(const Status& outcome, const AnswerWatch& watch)
    {
        if (isSilence(outcome, watch))
            begin(outcome);
    }

private:
    static constexpr int seconds = 5;

    static bool isSilence(const Status& outcome, const AnswerWatch& watch)
    {
        return outcome.code() == ErrorCode::Unavailable && !watch.isAtOnce();
    }

    void begin(const Status& failure)
    {
        m_failure = failure;
        m_end = QDeadlineTimer(std::chrono::seconds(seconds));
    }

    Status m_failure;
    QDeadlineTimer m_end{0};
};

} // namespace KOZAV::Backend
