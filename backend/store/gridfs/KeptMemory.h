#pragma once

namespace KOZAV::Backend {

/// Has the driver take its long blocks of memory from a few that are kept: to be called once a process,
/// before anything else of it. What is used of them stays with the process.
void keepDriverMemory();

} // namespace KOZAV::Backend
