#pragma once

#include "backend/Status.h"

#include <algorithm>
#include <chrono>
#include <limits>

namespace KOZAV::Backend {

/// Sends a small request a few times: a ServiceHealth tells how far away an engine is, not how busy it is.
/// @param request  returns a Status
/// @return the time of the fastest answer, in milliseconds
template <typename Request>
Result<double> fastestAnswerMs(const Request& request)
{
    constexpr int rounds = 5;
    double fastest = std::numeric_limits<double>::max();
    for (int round = 0; round < rounds; ++round) {
        const auto sent = std::chrono::steady_clock::now();
        if (auto answered = request(); !answered.ok())
            return answered;
        const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - sent;
        fastest = std::min(fastest, taken.count());
    }
    return fastest;
}

} // namespace KOZAV::Backend
