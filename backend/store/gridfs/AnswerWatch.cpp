#include "backend/store/gridfs/AnswerWatch.h"

namespace KOZAV::Backend {

namespace {

constexpr std::chrono::seconds atOnce(1);

} // namespace

bool AnswerWatch::foundClosed(const Status& ended) const
{
    return ended.code() == ErrorCode::Unavailable && std::chrono::steady_clock::now() - m_begun < atOnce;
}

} // namespace KOZAV::Backend
