// The import request of the job list panel, and what follows when the import is reported as done.

#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/dbs_api/DBS_API.h"
#include "services/ui/ZAV_StdCommon.h"
#include "services/ui/ZAV_UICommon.h"
#include "ui/import_list/JobInformation.h"
#include "ui/import_list/ZAV_Import_Widget.h"

#include <QMessageBox>
#include <QTableWidget>

namespace KOZAV::UI {

void ZAV_Import_Widget::on_m_pImportPB_Clicked()
{
    if (m_pImportTW->currentRow() == -1) {
        showInformation(QStringLiteral("请选择一行数据"));
        return;
    }
    const QString jobName = currentJobName();
    if (jobName.toStdString() != m_importInfo.jobName) {
        showInformation(QStringLiteral("请选择相同料号！"));
        return;
    }
    const auto answer =
        QMessageBox::information(this, QObject::tr("Information"),
                                 QStringLiteral("确认导入job:") + jobName + QStringLiteral("到ZAV系统吗?"),
                                 QMessageBox::Yes | QMessageBox::Cancel);
    if (answer != QMessageBox::Yes)
        return;
    ZAV_UICommon::interface()->sendemitCAMImportJobInfo(jobInformation(m_mode, m_importInfo, jobName));
}

void ZAV_Import_Widget::on_import_import_to_ZAV(const QString& first, const QString& second,
                                                const QString& third)
{
    const DataLib::Model::Kozav_User user = ZAV_StdCommon::interface()->getCurrentUser();
    if (m_mode >= 1) {
        DBS_API::kozav_reupload_robot_tgz(first.toStdString(), m_importInfo.jobName, user.userId,
                                          user.userName);
        Q_EMIT robotImportComplete();
        return;
    }
    DBS_API::kozav_upload_prefile2mysql(m_importInfo.flowGuid, m_importInfo.jobName, second.toStdString(),
                                        first.toStdString(), third.toStdString(), user.userId, user.userName);
}

void ZAV_Import_Widget::s_hasImportSuccess()
{
    DataLib::BLL::Odbpp_JobFlowBll flows;
    const std::string jobName = currentJobName().toStdString();
    const DataLib::Model::Kozav_User user = ZAV_StdCommon::interface()->getCurrentUser();

    std::vector<DataLib::Model::Odbpp_JobFlow> found;
    flows.select({{"KoSerialName", jobName}}, {}, found);
    if (found.empty()) {
        QMessageBox::information(this, QStringLiteral("提示:"),
                                 QStringLiteral("Flow表中此jobname未找到,Flow表更新失败"), QMessageBox::Ok);
        return;
    }
    const std::string& flowGuid = found.front().flowGuid;
    flows.UpdatePreImportOrCheckTime(flowGuid, user.userId, 0, std::string(), user.userId, user.userName, 0,
                                     std::string());
    flows.UpdateState(user.userId, 1, 2, flowGuid);
    // The request goes out whether or not the updates were made.
    sendMsgToServer();
}

} // namespace KOZAV::UI
