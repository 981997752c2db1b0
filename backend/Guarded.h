#pragma once

#include "backend/Status.h"

#include <exception>

namespace KOZAV::Backend {

/// Runs the work of a service operation. An exception ends here, as an Internal failure: callers of the
/// services handle none.
template <typename Work>
Status guarded(Work&& work) noexcept
{
    try {
        return work();
    } catch (const std::exception& exception) {
        return Status::internal(QString::fromLocal8Bit(exception.what()));
    } catch (...) {
        return Status::internal(QStringLiteral("an exception of unknown kind"));
    }
}

} // namespace KOZAV::Backend
