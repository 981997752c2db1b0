#pragma once

#include "services/ServicesExport.h"
#include "services/model/Kozav_User.h"
#include "services/model/Odbpp_Job_C.h"

#include <vector>

namespace KOZAV::UI {

/// Shared UI state: the operator and the list of waiting jobs. Called on the GUI thread.
class KOZAV_SERVICES_API ZAV_StdCommon
{
public:
    /// The shared object; owned by the library, valid for the life of the process.
    static ZAV_StdCommon* interface();

    /// The jobs that wait for import: the job flows in state (0, 0) whose job-compress row is written, oldest
    /// first. Empty on failure.
    std::vector<DataLib::Model::Odbpp_Job_C> getInputJobList();

    /// The logged-in operator.
    DataLib::Model::Kozav_User getCurrentUser();
};

} // namespace KOZAV::UI
