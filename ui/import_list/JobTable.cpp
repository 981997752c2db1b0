// The job table of the job list panel: filling, filtering, clearing.

#include "services/ui/ZAV_StdCommon.h"
#include "ui/import_list/ZAV_Import_Widget.h"

#include <QComboBox>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QTableWidget>

#include <utility>

namespace KOZAV::UI {

using DataLib::Model::Odbpp_Job_C;

void ZAV_Import_Widget::FillImportTableWidget()
{
    const std::vector<Odbpp_Job_C> jobs = ZAV_StdCommon::interface()->getInputJobList();
    std::vector<ListedJob> all;
    all.reserve(jobs.size());
    for (const Odbpp_Job_C& job : jobs)
        all.push_back({&job, QString::fromStdString(job.jobName)});
    appendJobs(all);
    m_pImportTW->repaint();
}

void ZAV_Import_Widget::clearTableData()
{
    // The same end as taking out row after row, whose cost grows with the square of the rows.
    m_pImportTW->setRowCount(0);
}

void ZAV_Import_Widget::appendJobs(const std::vector<ListedJob>& jobs)
{
    int row = m_pImportTW->rowCount();
    m_pImportTW->setRowCount(row + static_cast<int>(jobs.size()));
    {
        // One update of the view at the end instead of one for each item.
        const QSignalBlocker quiet(m_pImportTW->model());
        for (const auto& [job, name] : jobs) {
            m_pImportTW->setItem(row, 0, new QTableWidgetItem(QString::fromStdString(job->flowId)));
            m_pImportTW->setItem(row, 1, new QTableWidgetItem(QString::number(job->jobId)));
            m_pImportTW->setItem(row, 2, new QTableWidgetItem(name));
            ++row;
        }
    }
    m_pImportTW->viewport()->update();
}

void ZAV_Import_Widget::updateImportJobTable()
{
    clearTableData();
    on_m_pFilterLE_textEdited(m_pFilterLE->text());
}

void ZAV_Import_Widget::slotImportJobList()
{
    updateImportJobTable();
}

void ZAV_Import_Widget::on_m_pFilterLE_textEdited(const QString& text)
{
    clearTableData();
    const std::vector<Odbpp_Job_C> jobs = ZAV_StdCommon::interface()->getInputJobList();
    // Only the entry "all", which stands first, is filtered by text.
    const bool byText = m_pFilterCMB->currentIndex() == 0;
    std::vector<ListedJob> kept;
    kept.reserve(jobs.size());
    for (const Odbpp_Job_C& job : jobs) {
        QString name = QString::fromStdString(job.jobName);
        if (!byText || name.contains(text, Qt::CaseSensitive))
            kept.push_back({&job, std::move(name)});
    }
    appendJobs(kept);
}

void ZAV_Import_Widget::on_m_pFilterCMB_currentIndexChanged(int)
{
    on_m_pFilterLE_textEdited(m_pFilterLE->text());
}

QString ZAV_Import_Widget::currentJobName() const
{
    const QTableWidgetItem* item = m_pImportTW->item(m_pImportTW->currentRow(), 2);
    return item ? item->text() : QString();
}

} // namespace KOZAV::UI
