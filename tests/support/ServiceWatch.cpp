#include "tests/support/ServiceWatch.h"

#include "backend/HostInterface.h"

#include <algorithm>

namespace KOZAV::Test {

ServiceWatch::ServiceWatch()
{
    Backend::setOperationObserver([this](const Backend::OperationEvent& event) {
        ++m_calls;
        if (event.outcome != Backend::OperationOutcome::Succeeded)
            m_failures << Backend::operationName(event.operation) + QStringLiteral(": ") + event.message;
        m_longestCallMs = std::max(m_longestCallMs, event.endedMs - event.startedMs);
        if (afterCall)
            afterCall(m_calls);
    });
}

ServiceWatch::~ServiceWatch()
{
    Backend::setOperationObserver({});
}

} // namespace KOZAV::Test
