#pragma once

#include "backend/Guarded.h"
#include "backend/HostInterface.h"
#include "backend/Status.h"
#include "backend/WorkWatch.h"

#include <QLoggingCategory>

namespace KOZAV::Backend {

Q_DECLARE_LOGGING_CATEGORY(logConfig)   // kozav.backend.config
Q_DECLARE_LOGGING_CATEGORY(logStore)    // kozav.backend.store
Q_DECLARE_LOGGING_CATEGORY(logPack)     // kozav.backend.pack
Q_DECLARE_LOGGING_CATEGORY(logDatabase) // kozav.backend.database
Q_DECLARE_LOGGING_CATEGORY(logUi)       // kozav.backend.ui

/// One call of a service operation. run() is the only way in which one is carried out.
class Operation final
{
public:
    /// Carries out work(Operation&), which returns a Status. An exception ends here, as an Internal failure.
    /// A failure is logged as a warning of the operation's category, "<operation> <subject>: <message>", and
    /// the host's observer is told in either case.
    template <typename Work>
    static Status run(ServiceOperation operation, const Work& work) noexcept
    {
        Operation call(operation);
        auto outcome = guarded([&] { return work(call); });
        call.end(outcome);
        return outcome;
    }

    /// The number of the call that the calling thread carries out at the moment, a new one after lookAnew();
    /// 0: none. What was found out under a number need not be found out again.
    static quint64 current();
    /// The call has waited: it is to see what has changed meanwhile.
    static void lookAnew();

    /// What the observer will be told. Work fills in the texts and numbers that it knows, before it does
    /// anything that may fail.
    OperationEvent event;

    /// To be told when a part of the site has answered.
    void answeredBy(SitePart part) { event.part = part; }

    /// Whether work runs again after a try without an answer: what it writes may be there by now, so it looks
    /// before it writes.
    bool isRepeated = false;

private:
    explicit Operation(ServiceOperation operation);
    void end(const Status& outcome) noexcept;

    WatchedWork m_work;
};

/// Tells the host's observer of a wait. No exception of it comes back.
void tellWait(const ServiceWait& wait) noexcept;

} // namespace KOZAV::Backend
