#pragma once

#include "backend/Status.h"
#include "backend/database/Dialect.h"

namespace KOZAV::Backend {

/// What an error number of a MariaDB or MySQL server (1000 to 1999, 3000 to 4999) or of its client library
/// (2000 to 2999, 5000 and above) means.
ErrorCode mariaDbErrorCode(int number);

/// Whether the connection is lost with it, and what is known of the statement then.
Dialect::FailureKind mariaDbFailureKind(int number);

} // namespace KOZAV::Backend
