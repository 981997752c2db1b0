#include "services/ui/ZAV_UICommon.h"

#include "backend/Operation.h"

namespace KOZAV::UI {

using Backend::logUi;
using Backend::Operation;

ZAV_UICommon::ZAV_UICommon(QObject* parent)
    : QObject(parent)
{
}

ZAV_UICommon* ZAV_UICommon::interface()
{
    static ZAV_UICommon common;
    return &common;
}

void ZAV_UICommon::refreshOrigFileTable()
{
    Operation operation(logUi, "refreshOrigFileTable", {});
    Q_EMIT origFileTableRefreshRequested();
    operation.finish({});
}

void ZAV_UICommon::sendemitCAMImportJobInfo(const QString& jobInfo)
{
    Operation operation(logUi, "sendemitCAMImportJobInfo", jobInfo);
    Q_EMIT emitCAMImportJobInfo(jobInfo);
    operation.finish({});
}

} // namespace KOZAV::UI
