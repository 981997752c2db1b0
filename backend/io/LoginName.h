#pragma once

#include <QString>

namespace KOZAV::Backend {

/// Name that the operating system knows the user of this process by; "operator" where it has none.
QString loginName();

} // namespace KOZAV::Backend
