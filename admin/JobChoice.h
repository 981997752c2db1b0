#pragma once

#include "admin/CommandLine.h"
#include "backend/Status.h"
#include "backend/records/JobListing.h"

#include <QJsonObject>

namespace KOZAV::Backend {
class Database;
} // namespace KOZAV::Backend

namespace KOZAV::Admin {

// Which jobs a line is about, and how they are shown: for the verbs that have to do with jobs.

/// The conditions that --company and --batch put on jobs, as far as they are given. A company is looked for
/// by its code first, then by its name. NotFound, InvalidArgument.
Backend::Result<Backend::JobFilter> companyAndBatch(const CommandLine& line, Backend::Database& database);

/// InvalidArgument for an option whose value is not accepted.
Backend::Status refusedOption(const char* option, const QString& value, const char* accepted);

/// The jobs that the line names, each once, or all of the batch that --company and --batch name. NotFound,
/// InvalidArgument.
Backend::Result<std::vector<Backend::JobRecord>> chosenJobs(const CommandLine& line,
                                                            Backend::Database& database);

/// "0,0"
QString statePair(int state, int subState);

/// "complete", "failed" or "voided".
QString importText(const Backend::JobRecord& job);

QJsonObject jobJson(const Backend::JobRecord& job);

} // namespace KOZAV::Admin
