#include "backend/operations/ToldWait.h"

#include "backend/Operation.h"

#include <QThread>

#include <algorithm>
#include <utility>

namespace KOZAV::Backend {

namespace {

constexpr qint64 tellEveryMs = 250;

} // namespace

ToldWait::ToldWait(ServiceWait what, std::chrono::milliseconds patience)
    : m_told(std::move(what))
{
    m_told.patienceMs = patience.count();
    m_since.start();
}

ToldWait::~ToldWait()
{
    if (!m_sinceTold.isValid())
        return;
    m_told.over = true;
    tell();
}

bool ToldWait::pause(std::chrono::milliseconds length)
{
    const qint64 end = std::min<qint64>(m_since.elapsed() + length.count(), m_told.patienceMs);
    m_told.gaveUp = m_since.elapsed() >= m_told.patienceMs;
    if (m_told.gaveUp)
        return false;
    do {
        if (!m_sinceTold.isValid() || m_sinceTold.elapsed() >= tellEveryMs)
            tell();
        const qint64 left = std::max<qint64>(end - m_since.elapsed(), 1);
        QThread::msleep(static_cast<unsigned long>(std::min(left, tellEveryMs)));
    } while (m_since.elapsed() < end);
    return true;
}

void ToldWait::tell()
{
    m_told.waitedMs = m_since.elapsed();
    m_sinceTold.start();
    tellWait(m_told);
}

} // namespace KOZAV::Backend
