#pragma once

namespace KOZAV::Robot {

/// How many files and sockets this process may have open at a time; the largest int where there is no limit.
[[nodiscard]] int openFileLimit();

} // namespace KOZAV::Robot
