#include "backend/SafePoint.h"

#include <utility>

namespace KOZAV::Backend {

namespace {

thread_local const StoppableWork::Question* currentQuestion = nullptr;

} // namespace

StoppableWork::StoppableWork(Question mustStop)
    : m_mustStop(std::move(mustStop))
    , m_before(currentQuestion)
{
    if (m_mustStop)
        currentQuestion = &m_mustStop;
}

StoppableWork::~StoppableWork()
{
    currentQuestion = m_before;
}

StoppableWork::Question StoppableWork::question()
{
    return currentQuestion ? *currentQuestion : Question();
}

Status safePoint()
{
    if (!currentQuestion || !(*currentQuestion)())
        return {};
    return {ErrorCode::Stopped, QStringLiteral("stopped before it was done")};
}

} // namespace KOZAV::Backend
