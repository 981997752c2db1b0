#pragma once

#include "services/ui/Import_Info.h"
#include "zav_import_export.h"

#include <QString>

namespace KOZAV::UI {

/// The text that announces a job to the host.
///
/// mode below 1: "<source name>|<job>" for a job of this system, "<file name without its last
/// suffix>|<job>|ISWEB" for a web upload (fileName not empty). mode 1 or more: "<file name without its last
/// suffix>|<job>|ROBOT".
ZAV_IMPORT_EXPORT QString jobInformation(int mode, const Import_Info& info, const QString& jobName);

} // namespace KOZAV::UI
