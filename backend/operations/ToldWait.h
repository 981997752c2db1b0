#pragma once

#include "backend/HostInterface.h"

#include <QElapsedTimer>

#include <chrono>

namespace KOZAV::Backend {

/// One wait of an import, which the host's observer is told of while it lasts and when it is over. On one
/// thread.
class ToldWait final
{
public:
    /// The wait begins now; it is told with its first pause.
    /// @param what  cause, part, company, holder and reason as far as they are known
    ToldWait(ServiceWait what, std::chrono::milliseconds patience);
    /// Tells that the wait is over, if it was ever told of.
    ~ToldWait();
    Q_DISABLE_COPY(ToldWait)

    /// Lets the thread sleep until the next try makes sense, but not beyond the patience. @return false, at
    /// once, where that is used up
    bool pause(std::chrono::milliseconds length);

    /// What is told from now on; holder and reason may have become others since.
    ServiceWait& told() { return m_told; }

private:
    void tell();

    ServiceWait m_told;
    QElapsedTimer m_since;
    QElapsedTimer m_sinceTold;
};

} // namespace KOZAV::Backend
