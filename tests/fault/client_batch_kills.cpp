// A batch that is killed at points spread over its whole run, then a start, then the batch once more.

#include "admin/Application.h"
#include "backend/Site.h"
#include "backend/config/Settings.h"
#include "services/ui/ZAV_StdCommon.h"
#include "tests/support/ClientProgram.h"
#include "tests/support/FreshSite.h"
#include "tests/support/KilledClient.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <algorithm>
#include <vector>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

constexpr int points = 40;
constexpr int companies = 2;
constexpr int foldersOfEach = 3;
constexpr int jobs = companies * (foldersOfEach + 1);

QString companyName(int company)
{
    return QStringLiteral("公司%1").arg(company);
}

/// The batch: of each company three job folders with manifests that differ, and an archive.
class Batch final
{
public:
    explicit Batch(const FreshSite& site)
        : m_site(site)
    {
        for (int company = 0; company < companies; ++company) {
            site.addCompany(QStringLiteral("C%1").arg(company), companyName(company));
            for (int job = 0; job < foldersOfEach; ++job) {
                const QString folder = jobFolder(company, job);
                writeFile(local(folder + QStringLiteral("/steps/features")),
                          featureLines(200'000, quint32(job)));
                writeFile(local(folder + QStringLiteral("/readme.json")), manifest(company, job));
            }
            writeFile(local(path() + QStringLiteral("/%1/archive.tgz").arg(companyName(company))),
                      randomBytes(100'000, quint32(company)));
        }
    }

    [[nodiscard]] QString path() const { return m_site.path(QStringLiteral("batch")); }

    [[nodiscard]] static QString customer(int company, int job)
    {
        return QStringLiteral("客户 %1.%2").arg(company).arg(job);
    }

    [[nodiscard]] static QByteArray manifest(int company, int job)
    {
        return QStringLiteral("{\"customer2\": \"%1\"}").arg(customer(company, job)).toUtf8();
    }

    [[nodiscard]] QString jobFolder(int company, int job) const
    {
        return path() + QStringLiteral("/%1/job%2").arg(companyName(company)).arg(job);
    }

private:
    const FreshSite& m_site;
};

QStringList arguments(const FreshSite& site, const QString& batch)
{
    return {QStringLiteral("--config"), site.configuration(), QStringLiteral("--batch"), batch};
}

/// Whether a complete job has the texts of that folder's manifest.
bool isImported(const FreshSite& site, int company, int job)
{
    const auto all = site.jobs();
    return std::any_of(all.begin(), all.end(), [&](const Backend::JobRecord& record) {
        return record.complete && record.customer2 == Batch::customer(company, job);
    });
}

} // namespace

class ClientBatchKills final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void aKilledBatchLosesNothing_data();
    void aKilledBatchLosesNothing();

private:
    void importsAreWhole(const FreshSite& site) const;
    void checkIsClean(const FreshSite& site) const;
    void manifestsAreBackOrUsed(const FreshSite& site, const Batch& batch) const;

    std::vector<SystemCall> m_calls; ///< of a whole batch, in order
};

/// Counts the calls of a run that nobody disturbs.
void ClientBatchKills::initTestCase()
{
    if (!canInject())
        QSKIP("strace cannot inject faults here");
    const FreshSite site;
    const Batch batch(site);
    m_calls = clientCalls(arguments(site, batch.path()), site.path(QStringLiteral("trace")));
    QVERIFY2(m_calls.size() > points, qPrintable(QString::number(m_calls.size())));
}

void ClientBatchKills::aKilledBatchLosesNothing_data()
{
    QTest::addColumn<int>("point");
    for (int point = 1; point <= points; ++point)
        QTest::addRow("%d of %d", point, points) << point;
}

void ClientBatchKills::importsAreWhole(const FreshSite& site) const
{
    size_t complete = 0;
    for (const Backend::JobRecord& job : site.jobs()) {
        if (!job.complete)
            continue;
        ++complete;
        QVERIFY2(!site.fetch(job).isEmpty(), qPrintable(job.generatedName));
    }
    QCOMPARE(UI::ZAV_StdCommon::interface()->getInputJobList().size(), complete);
}

/// What may be left has an end in a check's repair: rows without the last one, and stored files without rows.
void ClientBatchKills::checkIsClean(const FreshSite& site) const
{
    const QStringList check = {QStringLiteral("--config"), site.configuration(), QStringLiteral("check"),
                               QStringLiteral("--settle"), QStringLiteral("0")};
    const QStringList repair = {
        QStringLiteral("--repair"),
        QStringLiteral(
            "half-import,orig-file-unused,file-orphan,data-missing,sum-stale,temp-leftover,batch-behind")};
    // Twice: the file of an original-file row that the first removes is an orphan to the second.
    for (const QStringList& arguments : {check + repair, check + repair, check}) {
        QBuffer out;
        QBuffer err;
        out.open(QIODevice::WriteOnly);
        err.open(QIODevice::WriteOnly);
        const Admin::ExitCode code = Admin::runCommandLine(arguments, out, err);
        if (arguments == check)
            QVERIFY2(code == Admin::ExitCode::Success, (out.data() + err.data()).constData());
    }
}

void ClientBatchKills::manifestsAreBackOrUsed(const FreshSite& site, const Batch& batch) const
{
    for (int company = 0; company < companies; ++company) {
        for (int job = 0; job < foldersOfEach; ++job) {
            const QString readme = batch.jobFolder(company, job) + QStringLiteral("/readme.json");
            if (isImported(site, company, job))
                QVERIFY2(!QFileInfo::exists(readme), qPrintable(readme));
            else
                QCOMPARE(readFile(local(readme)), Batch::manifest(company, job));
        }
    }
}

void ClientBatchKills::aKilledBatchLosesNothing()
{
    QFETCH(const int, point);
    const FreshSite site;
    const Batch batch(site);
    const SystemCall& last = m_calls.at(m_calls.size() * static_cast<size_t>(point) / (points + 1));
    const ProgramEnd killed = killClient(arguments(site, batch.path()), last);
    QCOMPARE(killed.exitCode, -1);
    importsAreWhole(site);

    // A start is enough for what was left.
    const QString nothing = site.path(QStringLiteral("nothing"));
    QVERIFY(QDir().mkpath(nothing));
    const ClientRun started = runClient(arguments(site, nothing));
    QVERIFY2(started.exitCode == 0, started.everything().constData());
    manifestsAreBackOrUsed(site, batch);
    const QString cache = Backend::Site::current().settings()->downloadCache;
    QCOMPARE(QDir(cache + QStringLiteral("work")).entryList({QStringLiteral("process-*")}, QDir::Dirs),
             QStringList());

    checkIsClean(site);

    const size_t before = UI::ZAV_StdCommon::interface()->getInputJobList().size();
    const ClientRun again = runClient(arguments(site, batch.path()));
    QVERIFY2(again.exitCode == 0, again.everything().constData());
    QCOMPARE(UI::ZAV_StdCommon::interface()->getInputJobList().size(), before + jobs);
    importsAreWhole(site);
    checkIsClean(site);
    for (int company = 0; company < companies; ++company)
        for (int job = 0; job < foldersOfEach; ++job)
            QVERIFY(isImported(site, company, job));
}

ZAV_REGISTER_TEST(client_batch_kills, ClientBatchKills, QCoreApplication)

#include "client_batch_kills.moc"
