// The two import buttons: a whole batch directory, or the one chosen source.

#include "services/bll/Odbpp_CompanyBll.h"
#include "services/ui/ZAV_UICommon.h"
#include "ui/import_from_file/BatchDirectory.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>

#include <vector>

namespace KOZAV::UI {

void ZAV_ImportFromFile_Widget::on_m_pMultiImportPB_clicked()
{
    m_pProcessingLB->setVisible(true);
    m_pProgressBar->setVisible(true);

    const QFileInfoList companies = batchCompanies(m_strMultiImportDir);
    // An empty batch directory leaves the panel in its running look.
    if (companies.isEmpty())
        return;
    m_pProgressBar->setMaximum(companies.size());

    int batchNumber = 0;
    int companyCounter = 0;
    [[maybe_unused]] int resultSum = 0; // how many entries were not imported; shown nowhere
    for (const QFileInfo& company : companies) {
        resultSum += importBatchCompany(company, batchNumber);
        m_pProgressBar->setValue(++companyCounter);
    }

    m_pProcessingLB->setVisible(false);
    m_pProgressBar->setVisible(false);
    QMessageBox::information(this, QObject::tr("Information"), QStringLiteral("原始数据导入完成"),
                             QMessageBox::Ok);
    QMessageBox::information(this, QObject::tr("Information"),
                             QStringLiteral("当前批号：") + QString::number(batchNumber, 10),
                             QMessageBox::Ok);
    m_pProcessingLB->setVisible(false);
    m_pProgressBar->setVisible(false);
    ZAV_UICommon::interface()->refreshOrigFileTable();
}

int ZAV_ImportFromFile_Widget::importBatchCompany(const QFileInfo& company, int& batchNumber)
{
    const QString companyName = company.fileName();
    const QFileInfoList jobs = batchJobs(batchEntryPath(company));

    DataLib::BLL::Odbpp_CompanyBll companyBll;
    std::vector<DataLib::Model::Odbpp_Company> found;
    companyBll.select({{"CompanyName", companyName.toStdString()}}, {}, found);
    // The jobs of a company that does not exist still go to the pipelines, which say so one by one.
    const bool exists = !found.empty();
    if (exists)
        batchNumber = found.front().batchNumber + 1;

    int resultSum = 0;
    for (const QFileInfo& job : jobs) {
        const QString jobName = job.fileName();
        const QString jobPath = batchEntryPath(job);
        if (job.isDir())
            resultSum += l2Folders(companyName, jobName, jobPath, batchNumber);
        else
            resultSum += l2rartgzzip(companyName, jobName, jobPath, batchNumber);
    }

    if (exists)
        companyBll.UpdateBatchNumber(batchNumber, found.front().companyId);
    return resultSum;
}

void ZAV_ImportFromFile_Widget::on_m_pSingleImportPB_clicked()
{
    if (m_pSingleImportPathLE->text().isEmpty())
        return;

    const auto showSuccess = [this] {
        QMessageBox::information(this, QStringLiteral("单个导入"), QStringLiteral("导入成功!"),
                                 QMessageBox::Ok);
    };
    if (m_nSingleImportType == 1) {
        l2FoldersSingleImport(QString(), m_pFileNameLE->text(), m_strSingleImportPath);
        showSuccess();
        ZAV_UICommon::interface()->refreshOrigFileTable();
    } else if (m_nSingleImportType == 0) {
        // Only a folder import has the host's table reloaded.
        l2rartgzzipSingleImport(m_pFileNameLE->text(), m_strSingleImportPath);
        showSuccess();
    }
}

} // namespace KOZAV::UI
