#pragma once

#include <QJsonObject>

namespace KOZAV::Host {

struct RunRecord;

/// The results of a run as one JSON object, as docs/outcomes.md describes it: all but what is known only to
/// who ran it (site, configuration, exit code).
QJsonObject reportJson(const RunRecord& run);

} // namespace KOZAV::Host
