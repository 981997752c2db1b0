// The shared objects of the UI: who works here, which jobs wait, and the notices between panels and host. The
// panels send theirs here and connect to the signals; who emits which signal is said in the host's window.

#include "FolderSite.h"
#include "services/ui/ZAV_StdCommon.h"
#include "services/ui/ZAV_UICommon.h"

namespace KOZAV::UI {

ZAV_StdCommon* ZAV_StdCommon::interface()
{
    static ZAV_StdCommon common;
    return &common;
}

std::vector<DataLib::Model::Odbpp_Job_C> ZAV_StdCommon::getInputJobList()
{
    std::vector<DataLib::Model::Odbpp_Job_C> jobs;
    const QJsonObject rows = FolderSite::current().rows();
    const QJsonArray compressed = rows[QStringLiteral("compressed")].toArray();
    for (const auto& value : rows[QStringLiteral("flows")].toArray()) {
        const QJsonObject flow = value.toObject();
        const bool waits =
            flow[QStringLiteral("state")].toInt() == 0 && flow[QStringLiteral("subState")].toInt() == 0;
        if (waits && indexOf(compressed, "flow", flow[QStringLiteral("key")]) >= 0)
            jobs.push_back({flow[QStringLiteral("key")].toString().toStdString(),
                            flow[QStringLiteral("id")].toInt(),
                            flow[QStringLiteral("generatedName")].toString().toStdString()});
    }
    return jobs;
}

DataLib::Model::Kozav_User ZAV_StdCommon::getCurrentUser()
{
    const QJsonObject configuration = FolderSite::current().configuration();
    const std::string name = configuration[QStringLiteral("user/name")].toString().toStdString();
    return {name, configuration[QStringLiteral("user/id")].toInt(), name};
}

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
    Q_EMIT origFileTableRefreshRequested();
}

void ZAV_UICommon::sendemitCAMImportJobInfo(const QString& jobInfo)
{
    Q_EMIT emitCAMImportJobInfo(jobInfo);
}

} // namespace KOZAV::UI
