#pragma once

#include "services/ServicesExport.h"

#include <string>

namespace KOZAV::DBS_API {

/// Stores a robot archive again under a job and records it.
/// @param archivePath  the archive on disk, UTF-8
/// @param jobName      generated job name
/// @return false, with a logged reason, when the file is missing or the job unknown
KOZAV_SERVICES_API bool kozav_reupload_robot_tgz(std::string archivePath, std::string jobName, int userId,
                                                 std::string userName);

/// Records a pre-processed file of a job.
/// @param flowGuid, jobName  the job it belongs to: flow key and generated job name
/// @param firstText, secondText, thirdText  texts handed on by the host, kept as they are
/// @return the key of the new row as text; empty on failure
KOZAV_SERVICES_API std::string kozav_upload_prefile2mysql(std::string flowGuid, std::string jobName,
                                                          std::string firstText, std::string secondText,
                                                          std::string thirdText, int userId,
                                                          std::string userName);

} // namespace KOZAV::DBS_API
