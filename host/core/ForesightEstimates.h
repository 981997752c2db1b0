#pragma once

#include "host/core/Foreseen.h"

#include <atomic>
#include <optional>
#include <vector>

namespace KOZAV::Host {

/// The folders that an import of the entries needs space in; none where the site does not tell.
std::vector<ForeseenSpace> estimateSpace(const std::vector<ForeseenEntry>& entries);

/// How many seconds an import of the entries may take, by the last runs that the site keeps; nothing where
/// there was none, or the site does not answer.
/// @param cancelled  set by another thread to have it read no further runs
std::optional<double> estimateSeconds(const std::vector<ForeseenEntry>& entries,
                                      const std::atomic<bool>& cancelled);

} // namespace KOZAV::Host
