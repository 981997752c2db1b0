#pragma once

#include "backend/Status.h"

namespace KOZAV::Backend {

/// How a write to a server ended.
struct MongoWrite
{
    enum class End {
        Done,        ///< carried out as a whole and as durable as was asked for
        Refused,     ///< not carried out, or not as a whole
        Unconfirmed, ///< carried out, but not durable in time
        Unknown      ///< no answer: carried out or not, and it may still be
    };

    End end = End::Done;
    Status status;

    [[nodiscard]] bool ok() const { return end == End::Done; }
};

} // namespace KOZAV::Backend
