#include "services/ui/ZAV_UICommon.h"

#include "backend/Operation.h"
#include "backend/operations/ImportRoad.h"
#include "backend/operations/RowWrites.h"

namespace KOZAV::UI {

using Backend::ImportRoad;
using Backend::Operation;
using Backend::ServiceOperation;
using Backend::Status;

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
    Backend::sendHeldRows();
    ImportRoad::ofThisThread().endBatch();
    (void)Operation::run(ServiceOperation::RefreshOrigFileTable, [this](Operation& /*call*/) {
        Q_EMIT origFileTableRefreshRequested();
        return Status();
    });
}

void ZAV_UICommon::sendemitCAMImportJobInfo(const QString& jobInfo)
{
    (void)Operation::run(ServiceOperation::SendEmitCamImportJobInfo, [&](Operation& call) {
        call.event.subject = jobInfo;
        Q_EMIT emitCAMImportJobInfo(jobInfo);
        return Status();
    });
}

} // namespace KOZAV::UI
