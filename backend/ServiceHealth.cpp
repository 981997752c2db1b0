#include "backend/ServiceHealth.h"

#include <algorithm>
#include <chrono>
#include <limits>

namespace KOZAV::Backend {

Result<double> fastestAnswerMs(const std::function<Status()>& request)
{
    constexpr int rounds = 5;
    double fastest = std::numeric_limits<double>::max();
    for (int round = 0; round < rounds; ++round) {
        const auto sent = std::chrono::steady_clock::now();
        if (Status answered = request(); !answered.ok())
            return answered;
        const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - sent;
        fastest = std::min(fastest, taken.count());
    }
    return fastest;
}

} // namespace KOZAV::Backend
