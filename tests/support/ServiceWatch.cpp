#include "tests/support/ServiceWatch.h"

#include "backend/Operation.h"

#include <algorithm>

namespace KOZAV::Test {

ServiceWatch::ServiceWatch()
{
    Backend::setOperationObserver([this](const Backend::OperationEvent& event) {
        ++m_calls;
        if (!event.status.ok())
            m_failures << event.operation + QStringLiteral(": ") + event.status.message();
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
