#pragma once

#include <QJsonObject>

namespace KOZAV::Host {

class BatchReport;

/// The report as one JSON object, as docs/outcomes.md describes it: all but what is known only to who ran it
/// (site, configuration, exit code).
QJsonObject reportJson(const BatchReport& report);

} // namespace KOZAV::Host
