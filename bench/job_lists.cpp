// What a site's number of jobs costs the client: until its window is there with both lists read, its memory,
// a batch of ten, and the first page of searches; on the engines that $ZAV_TEST_SITE names. Arguments:
// numbers of jobs. Each measurement is of a process of its own. Prints milliseconds and MB as JSON.

#include "backend/Site.h"
#include "backend/database/Database.h"
#include "backend/store/DocumentStore.h"
#include "bench/Report.h"
#include "host/MainWindow.h"
#include "host/ServiceLog.h"
#include "host/Theme.h"
#include "host/core/JobsModel.h"
#include "host/core/RunGate.h"
#include "host/site/JobPages.h"
#include "host/site/SiteAccess.h"
#include "samples/JobGenerator.h"
#include "services/ui/ZAV_StdCommon.h"
#include "tests/support/DialogDriver.h"
#include "tests/support/FreshSite.h"
#include "tests/support/PanelView.h"
#include "ui/import_from_file/ZAV_ImportFromFile_Widget.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QTableView>
#include <QTest>
#include <QTextStream>

#include <map>

using namespace KOZAV;
using namespace KOZAV::Test;
using Bench::memory;

namespace {

constexpr int runs = 3;
constexpr int batchJobs = 10;

// A company for each of fifty runs of jobs, so that each company's lie together; one job of ten waits.
constexpr const char* fillSqlite[] = {
    "WITH RECURSIVE n (i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 49)"
    " INSERT INTO company (code, name, job_count, created_time, updated_time)"
    " SELECT printf('C%02d', i), printf('Company %02d', i), 2000000, '', '' FROM n",
    "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < ?)"
    " INSERT INTO orig_file (guid, job_name, stored_name, suffix, company_code, user_id, created_time,"
    " stored_length, stored_sha256) SELECT printf('%08x-0000-4000-8000-0000000000f0', i),"
    " printf('board_%d_rev_b', i * 7919 % 99991), printf('%08x-0000-4000-8000-0000000000f0.tgz', i), 'tgz',"
    " printf('C%02d', i / 20000 % 50), 1, strftime('%Y-%m-%dT%H:%M:%S.000Z', 1600000000 + i * 120,"
    " 'unixepoch'), i, lower(hex(randomblob(32))) FROM n",
    "INSERT INTO job_flow (guid, job_name, ko_serial_name, flow_no, user_id, orig_file_guid, state, "
    "sub_state,"
    " upload_batch_number, created_time) SELECT printf('%08x-0000-4000-8000-0000000000a0', id), job_name,"
    " company_code || printf('%07d', id), '20260131081500123', 1, guid, id % 10 > 0, 2 * (id % 10 > 0),"
    " id / 100, created_time FROM orig_file",
    "INSERT INTO job_compress (flow_guid, company_name, company_code, company_id, job_name, stored_name, "
    "suffix,"
    " remark, file_store, user_id, job_number, created_time) SELECT f.guid, c.name, c.code, c.id, f.job_name,"
    " o.stored_name, 'tgz', '', 'odbpp', 1, f.id, f.created_time FROM job_flow f JOIN orig_file o"
    " ON o.guid = f.orig_file_guid JOIN company c ON c.code = o.company_code ORDER BY f.id"};
constexpr const char* fillMariaDb[] = {
    "INSERT INTO company (code, name, job_count, created_time, updated_time) SELECT CONCAT('C', LPAD(seq, 2,"
    " '0')), CONCAT('Company ', LPAD(seq, 2, '0')), 2000000, '', '' FROM seq_0_to_49",
    "INSERT INTO orig_file (guid, job_name, stored_name, suffix, company_code, user_id, created_time,"
    " stored_length, stored_sha256) SELECT CONCAT(LPAD(HEX(seq), 8, '0'), '-0000-4000-8000-0000000000f0'),"
    " CONCAT('board_', seq * 7919 % 99991, '_rev_b'), CONCAT(LPAD(HEX(seq), 8, '0'),"
    " '-0000-4000-8000-0000000000f0.tgz'), 'tgz', CONCAT('C', LPAD(seq DIV 20000 % 50, 2, '0')), 1,"
    " DATE_FORMAT(FROM_UNIXTIME(1600000000 + seq * 120), '%Y-%m-%dT%H:%i:%s.000Z'), seq, SHA2(seq, 256)"
    " FROM seq_1_to_1000000 WHERE seq <= ?",
    "INSERT INTO job_flow (guid, job_name, ko_serial_name, flow_no, user_id, orig_file_guid, state, "
    "sub_state,"
    " upload_batch_number, created_time) SELECT CONCAT(LPAD(HEX(id), 8, '0'), "
    "'-0000-4000-8000-0000000000a0'),"
    " job_name, CONCAT(company_code, LPAD(id, 7, '0')), '20260131081500123', 1, guid, id % 10 > 0,"
    " 2 * (id % 10 > 0), id DIV 100, created_time FROM orig_file",
    "INSERT INTO job_compress (flow_guid, company_name, company_code, company_id, job_name, stored_name, "
    "suffix,"
    " remark, file_store, user_id, job_number, created_time) SELECT f.guid, c.name, c.code, c.id, f.job_name,"
    " o.stored_name, 'tgz', '', 'odbpp', 1, f.id, f.created_time FROM job_flow f JOIN orig_file o"
    " ON o.guid = f.orig_file_guid JOIN company c ON c.code = o.company_code ORDER BY f.id"};

void fill(Backend::Database& database, int jobs)
{
    const bool embedded = database.engineVersion().value().startsWith(QStringLiteral("SQLite"));
    const auto& statements = embedded ? fillSqlite : fillMariaDb;
    for (int i = 0; i < 4; ++i) {
        if (jobs == 0 && i > 0)
            break;
        const auto done = database.change(statements[i], i == 1 ? QVariantList{jobs} : QVariantList(),
                                          Backend::Durability::Deferred);
        if (!done.ok())
            qFatal("%s", qUtf8Printable(done.message()));
    }
    if (!embedded)
        (void)database.query("ANALYZE TABLE orig_file, job_flow, job_compress, company", {},
                             [](const QSqlQuery&) { return true; });
}

/// A site is refused whose newest rows have no files.
void storeNewest(Backend::Database& database, const QString& anyFile)
{
    const auto settings = Backend::Site::current().settings();
    auto* const store = Backend::Site::current().documentStore().value();
    const auto names =
        database.list<std::string>("SELECT stored_name FROM orig_file ORDER BY id DESC LIMIT 200", {},
                                   [](Backend::RowReader& row) { return row.utf8(); });
    for (const std::string& name : names.value())
        if (!store->put(Backend::storeLocation(settings->documentStore), name, anyFile.toStdString()).ok())
            qFatal("a file cannot be stored");
}

void tell(const char* what, double figure)
{
    QTextStream(stdout) << what << '\t' << figure << '\n';
}

bool isCounted(const Host::MainWindow& window, const char* label)
{
    const auto* text = window.findChild<QLabel*>(QLatin1String(label));
    return text && !text->text().isEmpty();
}

bool waitFor(const std::function<bool()>& condition)
{
    return QTest::qWaitFor(condition, 300000);
}

/// Searches as the view has them read, on a connection that has read nothing of them yet.
void timeSearches(int jobs)
{
    const auto search = [](const char* what, const std::function<void(Host::JobQuery&)>& change) {
        Host::JobQuery query;
        change(query);
        QElapsedTimer timer;
        timer.start();
        Host::JobPages pages;
        std::vector<Host::ListedJob> found;
        if (!pages.begin(query).reason.isEmpty() || !pages.read({}, {}, 200, found).reason.isEmpty())
            qFatal("a search failed");
        tell(what, static_cast<double>(timer.nsecsElapsed()) / 1e6);
        qint64 counted = 0;
        bool more = false;
        timer.start();
        if (!pages.count(counted, more).reason.isEmpty())
            qFatal("jobs could not be counted");
        tell(qPrintable(QStringLiteral("count: ") + QLatin1String(what)),
             static_cast<double>(timer.nsecsElapsed()) / 1e6);
    };
    using Query = Host::JobQuery;
    search("everything", [](Query&) {});
    search("generated name", [](Query& q) { q.generatedName = QStringLiteral("C000000"); });
    search("all of a prefix", [](Query& q) { q.generatedName = QStringLiteral("C0"); });
    search("name", [](Query& q) { q.jobName = QStringLiteral("board_777"); });
    search("company", [](Query& q) { q.companyCode = QStringLiteral("C00"); });
    search("company by name", [](Query& q) {
        q.companyCode = QStringLiteral("C00");
        q.order = Query::Order::JobName;
    });
    search("waiting", [](Query& q) { q.state = Host::FlowState(0, 0); });
    search("waiting by name", [](Query& q) {
        q.state = Host::FlowState(0, 0);
        q.order = Query::Order::JobName;
    });
    search("batch", [jobs](Query& q) { q.batchNumber = jobs / 200; });
    search("a month", [](Query& q) {
        q.from = QDateTime::fromSecsSinceEpoch(1602000000);
        q.until = q.from.addDays(30);
    });
    search("waiting of a company in a month", [](Query& q) {
        q.companyCode = QStringLiteral("C00");
        q.state = Host::FlowState(0, 0);
        q.from = QDateTime::fromSecsSinceEpoch(1602000000);
        q.until = q.from.addDays(30);
    });
    search("by state, backwards", [](Query& q) { q.order = Query::Order::State; });
}

/// The role of one process: the client from its start to a batch.
int runClient(const QStringList& arguments)
{
    QElapsedTimer timer;
    timer.start();
    Host::ServiceLog log;
    Host::SiteAccess access(arguments.at(0));
    if (const QString failure = access.open(); !failure.isEmpty())
        qFatal("%s", qUtf8Printable(failure));
    Host::MainWindow window(access, log);
    window.show();
    if (!waitFor([&] { return isCounted(window, "jobsCount") && isCounted(window, "waitingCount"); }))
        return 1;
    tell("start ms", static_cast<double>(timer.elapsed()));
    tell("start MB", memory("VmRSS:"));
    const int jobs = arguments.at(2).toInt();

    DialogDriver dialogs;
    const PanelView panel(*window.importPanel());
    dialogs.expectFileDialog({arguments.at(1)});
    QTest::mouseClick(panel.openFolder, Qt::LeftButton);
    dialogs.expectMessage();
    dialogs.expectMessage();
    const auto* jobsShown = window.findChild<QTableView*>(QStringLiteral("jobsTable"))->model();
    const auto newest = [jobsShown] { return jobsShown->index(0, Host::JobsModel::StoredName).data(); };
    const QVariant before = newest();
    timer.start();
    QTest::mouseClick(panel.batchImport, Qt::LeftButton);
    tell("batch, panel's slot ms", static_cast<double>(timer.elapsed()));
    if (!waitFor([&] { return newest() != before; }) || !dialogs.complaint().isEmpty())
        qFatal("the batch was not imported: %s", qUtf8Printable(dialogs.complaint()));
    tell("batch until the lists show it ms", static_cast<double>(timer.elapsed()));
    tell("after it MB", memory("VmRSS:"));
    tell("most MB", memory("VmHWM:"));
    timeSearches(jobs);
    timer.start();
    const auto waiting = UI::ZAV_StdCommon::interface()->getInputJobList();
    tell("list of the job list panel ms", static_cast<double>(timer.elapsed()));
    tell("with it MB", memory("VmRSS:"));
    return waiting.empty() ? 1 : 0;
}

void makeBatch(const QString& directory)
{
    for (int i = 0; i < batchJobs; ++i) {
        Samples::JobRequest request;
        request.directory = directory + QStringLiteral("/Company 00");
        request.name = QStringLiteral("bench_%1").arg(i);
        request.archive = Samples::ArchiveKind::Tgz;
        QDir().mkpath(request.directory);
        const auto made = Samples::generateJob(request);
        if (!made.ok())
            qFatal("%s", qUtf8Printable(made.error));
    }
}

void measure(int jobs)
{
    const FreshSite site;
    site.configure(QStringLiteral("database/read_timeout"), QStringLiteral("900"));
    site.configure(QStringLiteral("database/write_timeout"), QStringLiteral("900"));
    // The store is opened while there are no rows yet.
    (void)Backend::Site::current().documentStore();
    fill(*Backend::Site::current().database().value(), jobs);
    const QString batch = site.path(QStringLiteral("batch"));
    makeBatch(batch);
    storeNewest(*Backend::Site::current().database().value(), site.configuration());
    QStringList order;
    std::map<QString, std::vector<double>> figures;
    for (int run = 0; run < runs; ++run) {
        QProcess client;
        client.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        client.start(QCoreApplication::applicationFilePath(),
                     {QStringLiteral("--client"), site.configuration(), batch, QString::number(jobs)});
        if (!client.waitForFinished(-1) || client.exitCode() != 0)
            qFatal("a client failed");
        for (const QByteArray& line : client.readAllStandardOutput().split('\n')) {
            const QList<QByteArray> parts = line.split('\t');
            if (parts.size() != 2)
                continue;
            const QString what = QString::fromUtf8(parts[0]);
            if (figures[what].empty())
                order << what;
            figures[what].push_back(parts[1].toDouble());
        }
    }
    for (const QString& what : order) {
        const QString unit = what.section(QLatin1Char(' '), -1) == QLatin1String("MB") ? QStringLiteral("MB")
                                                                                       : QStringLiteral("ms");
        Bench::report(what, QStringLiteral("ours"), jobs, unit, figures[what]);
    }
}

} // namespace

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.value(0) == QLatin1String("--client"))
        return runClient(arguments.mid(1));
    for (const QString& jobs : arguments)
        measure(jobs.toInt());
    return 0;
}
