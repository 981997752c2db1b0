#pragma once

#include <string>

namespace KOZAV::DataLib::Model {

/// One job on the list of jobs that wait for import. Texts are UTF-8.
struct Odbpp_Job_C
{
    /// Key of the job-flow row.
    std::string flowId;
    /// Number of the job-flow row.
    int jobId = 0;
    /// Generated job name.
    std::string jobName;
};

} // namespace KOZAV::DataLib::Model
