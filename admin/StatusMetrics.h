#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QString>

#include <vector>

namespace KOZAV::Admin {

/// A number about a site that a monitoring system keeps. All of them are gauges, in base units: bytes, and
/// seconds since 1970 (UTC).
struct StatusMetric
{
    const char* name;
    const char* labels; ///< names of its labels, parted by commas; empty: it has none
    const char* help;   ///< what it is; begins in lower case, without a full stop
};

/// All of them, in the order in which they are told.
const std::vector<StatusMetric>& statusMetrics();

/// The document that "status --json" prints, in the text format of Prometheus (version 0.0.4). What the
/// document does not know has no line, but for zav_up and zav_part_up, which are always told.
/// @param document  empty where not even the configuration could be read
QString prometheusText(const QJsonObject& document, const QDateTime& now);

} // namespace KOZAV::Admin
