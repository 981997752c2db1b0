#pragma once

#include "backend/Status.h"

#include <exception>
#include <new>

namespace KOZAV::Backend {

/// The exception that is being handled as an Internal failure.
inline Status caughtFailure()
{
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return Status::internal(QStringLiteral("out of memory"));
    } catch (const std::exception& exception) {
        return Status::internal(QString::fromLocal8Bit(exception.what()));
    } catch (...) {
        return Status::internal(QStringLiteral("an exception of unknown kind"));
    }
}

/// Runs work, which returns a Status or a Result. An exception ends here, as an Internal failure: callers of
/// the services handle none.
template <typename Work>
auto guarded(Work&& work) noexcept -> decltype(work())
{
    try {
        return work();
    } catch (...) {
        return caughtFailure();
    }
}

/// The same; the failure then reads "cannot <task>: <reason>".
template <typename Work>
auto guarded(const char* task, Work&& work) noexcept -> decltype(work())
{
    try {
        return work();
    } catch (...) {
        return caughtFailure().in(QStringLiteral("cannot %1").arg(QLatin1String(task)));
    }
}

} // namespace KOZAV::Backend
