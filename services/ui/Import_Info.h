#pragma once

#include <QString>

#include <string>

namespace KOZAV::UI {

/// What a host opens the job list panel with. Narrow texts are UTF-8. An aggregate.
struct Import_Info
{
    /// Key of the job-flow row.
    std::string flowGuid;
    /// Generated job name that the panel is opened for.
    std::string jobName;
    /// Prefix of the job-information text when fileName is empty.
    std::string sourceName;
    /// Name of the customer company.
    std::string companyName;
    /// File of a web upload; empty for other jobs.
    QString fileName;
};

} // namespace KOZAV::UI
