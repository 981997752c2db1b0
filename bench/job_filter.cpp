// Time from a key press in the filter line of the job list panel to the painted table, the fetch of the list
// from the database included, beside the same rows put into a bare QTableWidget in bulk. Prints milliseconds
// as JSON. Arguments: numbers of rows, rising.

#include "backend/Site.h"
#include "backend/SiteCreation.h"
#include "backend/records/SiteRecords.h"
#include "bench/Report.h"
#include "services/bll/Odbpp_JobCompressBll.h"
#include "services/bll/Odbpp_JobFlowBll.h"
#include "services/common/Common.h"
#include "services/ui/ZAV_StdCommon.h"
#include "ui/import_list/ZAV_Import_Widget.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QLineEdit>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>

#include <vector>

using namespace KOZAV;

namespace {

constexpr int runs = 7;

/// Makes jobs from ... to - 1, which all have the same stored file.
void addJobs(int from, int to, const DataLib::Model::Odbpp_Company& company, const std::string& storedName)
{
    const std::string fileStore = Common::commonInterface()->getConfig().mongoFsName;
    DataLib::BLL::Odbpp_JobFlowBll flows;
    DataLib::BLL::Odbpp_JobCompressBll compresses;
    for (int number = from; number < to; ++number) {
        const std::string flowGuid = flows.insertflowbeforeorigfile(
            "board", 1, "F1", QStringLiteral("AB%1").arg(number, 6, 10, QLatin1Char('0')).toStdString());
        compresses.inputJobCompress(company.companyLabel, company.companyCode, company.companyId, "board",
                                    flowGuid, storedName, "tgz", "", fileStore, 1, number);
    }
}

/// Stores a file, whatever is in it. @return its name
std::string storeFile(const QString& localPath)
{
    const auto config = Common::commonInterface()->getConfig();
    std::string name = "board.tgz";
    if (Common::MongodbPut(config.mongoDbName, config.mongoFsName, localPath.toStdString(), name) != 0)
        qFatal("the file of the jobs cannot be stored");
    return name;
}

/// Paints whatever of the widget waits to be painted.
void paint(QWidget& widget)
{
    widget.repaint();
    QApplication::sendPostedEvents();
}

/// @param changed  something in the database is changed before every key press, as by another operator's
/// import
std::vector<double> timePanel(UI::ZAV_Import_Widget& panel, const std::string& flowGuid, bool changed)
{
    auto* filter = panel.findChild<QLineEdit*>();
    auto* table = panel.findChild<QTableWidget*>();
    std::vector<double> times;
    for (int run = 0; run < runs; ++run) {
        filter->clear();
        if (changed)
            DataLib::BLL::Odbpp_JobFlowBll().updateUploadBatchNum(run, flowGuid);
        QElapsedTimer timer;
        timer.start();
        QTest::keyClick(filter, 'A'); // every job has it
        paint(*table->viewport());
        times.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
    }
    return times;
}

void fill(QTableWidget& table, const std::vector<DataLib::Model::Odbpp_Job_C>& jobs)
{
    table.setRowCount(0);
    table.setRowCount(static_cast<int>(jobs.size()));
    for (int row = 0; row < table.rowCount(); ++row) {
        const auto& job = jobs[static_cast<std::size_t>(row)];
        table.setItem(row, 0, new QTableWidgetItem(QString::fromStdString(job.flowId)));
        table.setItem(row, 1, new QTableWidgetItem(QString::number(job.jobId)));
        table.setItem(row, 2, new QTableWidgetItem(QString::fromStdString(job.jobName)));
    }
}

std::vector<double> timeBareTable(const std::vector<DataLib::Model::Odbpp_Job_C>& jobs)
{
    QTableWidget table(0, 3);
    table.setColumnHidden(0, true);
    table.setColumnHidden(1, true);
    table.horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    table.resize(600, 400);
    table.show();
    std::vector<double> times;
    for (int run = 0; run < runs; ++run) {
        QElapsedTimer timer;
        timer.start();
        fill(table, jobs);
        paint(*table.viewport());
        times.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
    }
    return times;
}

} // namespace

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    const QTemporaryDir directory;
    const QString configuration = directory.filePath(QStringLiteral("zav.ini"));
    const auto made = Backend::createSite({configuration, directory.filePath(QStringLiteral("data"))});
    if (!made.ok())
        qFatal("%s", qUtf8Printable(made.message()));
    Backend::Site::current().setConfigurationPath(configuration);

    const std::string storedName = storeFile(configuration);
    const auto company = Backend::addCompany(*Backend::Site::current().database().value(),
                                             QStringLiteral("AB"), QStringLiteral("Acme"));

    int filled = 0;
    for (const QString& argument : QCoreApplication::arguments().mid(1)) {
        const int rows = argument.toInt();
        addJobs(filled, rows, company.value(), storedName);
        filled = rows;
        const auto jobs = UI::ZAV_StdCommon::interface()->getInputJobList();
        UI::ZAV_Import_Widget panel(nullptr);
        panel.resize(600, 400);
        panel.show();
        const auto tell = [rows](const char* contender, const std::vector<double>& values) {
            Bench::report(QStringLiteral("key press"), QLatin1String(contender), rows, QStringLiteral("ms"),
                          values);
        };
        tell("ours", timePanel(panel, jobs.front().flowId, false));
        tell("ours-after-a-change", timePanel(panel, jobs.front().flowId, true));
        tell("bare-table", timeBareTable(jobs));
    }
    Backend::Site::current().close();
    return 0;
}
