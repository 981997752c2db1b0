#pragma once

#include "backend/Status.h"

#include <chrono>

namespace KOZAV::Backend {

/// Watches a request for the mark of a connection that was idle for long and has been closed by whatever lies
/// between: it fails at once, where a server that does not answer takes its time.
class AnswerWatch final
{
public:
    /// Whether the request, sent when this was made, may go out once more. A server that did not answer in
    /// time is not asked again, so that the call ends.
    [[nodiscard]] bool foundClosed(const Status& ended) const;

private:
    std::chrono::steady_clock::time_point m_begun = std::chrono::steady_clock::now();
};

} // namespace KOZAV::Backend
