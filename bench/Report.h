#pragma once

#include <QJsonObject>
#include <QString>

#include <vector>

namespace KOZAV::Bench {

/// Prints an object as JSON in a line: what the programs here tell to whoever runs them.
void print(const QJsonObject& line);

/// Prints what a contender has taken or needed at something, in the order of the runs:
///
///     {"measure": "start", "contender": "ours", "at": 100000, "unit": "ms", "values": [...]}
///
/// @param at  what varies within the row, such as the number of jobs
void report(const QString& measure, const QString& contender, double at, const QString& unit,
            const std::vector<double>& values);

/// A figure of this process's memory in MB: "VmRSS:", or "VmHWM:", the most since forgetMostMemory(). 0 where
/// the system does not tell.
double memory(const char* name);
void forgetMostMemory();

/// Ends the program where something that a measurement stands on was not done.
void require(bool done, const char* what);

} // namespace KOZAV::Bench
