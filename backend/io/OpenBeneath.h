#pragma once

namespace KOZAV::Backend {

/// openat() that follows no symbolic link on the whole way and cannot leave the folder.
int openBeneath(int folder, const char* relativePath, int flags);

} // namespace KOZAV::Backend
