#pragma once

#include "host/core/RunRecord.h"

#include <QString>

#include <optional>
#include <vector>

namespace KOZAV::Host {

// The runs of the import panel that the site keeps, of all its clients. The site is the one that the services
// work on; all of this may be called on any thread.

/// Keeps a run with the site, or replaces what was kept of it, and removes the oldest runs whose time is over
/// (history/keep_days). Fills in who ran it, and where.
/// @return why that was not possible; empty on success
[[nodiscard]] QString keepRun(RunRecord& run);

/// The runs that the site keeps, newest first; nothing, and the reason, where they cannot be read.
/// @param behind  position of the last run of the page before; 0: from the newest on
[[nodiscard]] std::optional<std::vector<RunSummary>> keptRuns(int limit, qint64 behind, QString& failure);

/// One of them with its entries.
[[nodiscard]] std::optional<RunRecord> keptRun(const QString& guid, QString& failure);

} // namespace KOZAV::Host
