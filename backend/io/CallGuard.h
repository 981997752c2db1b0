#pragma once

#include "backend/Status.h"

#include <exception>
#include <new>

namespace KOZAV::Backend {

/// Calls call() and turns an exception, such as that of exhausted memory, into a failed Status: none passes
/// the operations of the services.
template <typename Call>
auto guardedCall(const char* task, Call&& call) -> decltype(call())
{
    const auto failure = [task](const char* reason) {
        return Status::internal(
            QStringLiteral("Cannot %1: %2").arg(QString::fromLatin1(task), QString::fromLocal8Bit(reason)));
    };
    try {
        return call();
    } catch (const std::bad_alloc&) {
        return failure("out of memory");
    } catch (const std::exception& exception) {
        return failure(exception.what());
    }
}

} // namespace KOZAV::Backend
