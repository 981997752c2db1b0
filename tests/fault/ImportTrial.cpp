#include "tests/fault/ImportTrial.h"

#include "backend/Site.h"
#include "backend/check/SiteCheck.h"
#include "backend/records/JobListing.h"
#include "tests/support/AdminSession.h"
#include "tests/support/ClientProgram.h"
#include "tests/support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QRegularExpression>
#include <QTest>

#include <filesystem>

namespace KOZAV::Test {

namespace {

const QString company = QStringLiteral("华兴");
const QString customer = QStringLiteral("客户 7");
const QByteArray manifest = QStringLiteral("{\"customer2\": \"%1\"}").arg(customer).toUtf8();

std::filesystem::path pathOf(const QString& path)
{
    return QFile::encodeName(path).toStdString();
}

void replaceFolder(const QString& from, const QString& to)
{
    std::filesystem::remove_all(pathOf(to));
    std::filesystem::copy(pathOf(from), pathOf(to), std::filesystem::copy_options::recursive);
}

bool isTakenBack(const Backend::JobRecord& job)
{
    return Backend::isVoided(job) || (job.state == -1 && job.subState == -1);
}

/// What the client has told of each entry: the heading that it stands below.
QMap<QString, QString> reportOf(const QString& output)
{
    static const QRegularExpression headings(QStringLiteral("^(\\D+): \\d+( |$)"));
    QMap<QString, QString> told;
    QString heading;
    for (const QString& line : output.split(QLatin1Char('\n'))) {
        if (line.isEmpty())
            heading.clear();
        else if (const auto match = headings.match(line); match.hasMatch())
            heading = match.captured(1);
        else if (const QStringList fields = line.split(QStringLiteral("  "), Qt::SkipEmptyParts);
                 !heading.isEmpty() && fields.size() > 1 && fields[0] == company)
            told.insert(fields[1].trimmed(), heading);
    }
    return told;
}

} // namespace

QString TrialTally::text() const
{
    QStringList kinds;
    for (auto kind = found.begin(); kind != found.end(); ++kind)
        kinds << QStringLiteral("%1 %2").arg(kind.key()).arg(kind.value());
    return QStringLiteral(
               "points tried %1, lost %2, falsely successful %3, falsely failed %4, duplicates %5, "
               "unexplained %6; findings of checks: %7")
        .arg(points)
        .arg(lost)
        .arg(falselySuccessful)
        .arg(falselyFailed)
        .arg(duplicates)
        .arg(unexplained)
        .arg(kinds.isEmpty() ? QStringLiteral("none") : kinds.join(QStringLiteral(", ")));
}

ImportTrial::ImportTrial(TrialTally& tally, bool oneWaits)
    : m_tally(tally)
    , m_oneWaits(oneWaits)
{
    m_site.addCompany(QStringLiteral("HX"), company);
    m_site.configure(QStringLiteral("robot/port"), QString::number(m_robot.port()));
    const QString folder = batch() + QLatin1Char('/') + company + QLatin1Char('/');
    m_entries = {{QStringLiteral("saved.kos"), QStringLiteral("saved"), randomBytes(20'000, 1)},
                 {QStringLiteral("packed.zip"), QStringLiteral("packed"), emptyZip(randomBytes(20'000, 2))},
                 {QStringLiteral("folder"), QStringLiteral("folder"), {}}};
    for (const Entry& entry : m_entries) {
        if (!entry.content.isEmpty())
            writeFile(local(folder + entry.name), entry.content);
    }
    // Small, since each of its files is a row of calls, and a job that the client can open.
    writeFile(local(folder + QStringLiteral("folder/matrix/matrix")),
              "STEP {\n COL=1\n NAME=PCB\n}\n"
              "LAYER {\n ROW=1\n CONTEXT=BOARD\n TYPE=SIGNAL\n NAME=TOP\n POLARITY=POSITIVE\n}\n");
    writeFile(local(folder + QStringLiteral("folder/steps/pcb/features")), featureLines(20'000, 3));
    writeFile(local(folder + QStringLiteral("folder/readme.json")), manifest);
    if (oneWaits) {
        const ClientRun client = runClient(
            {QStringLiteral("--config"), m_site.configuration(), QStringLiteral("--batch"), batch()});
        for (const auto& job : m_site.jobs())
            if (job.jobName == m_entries.back().base)
                m_waitingJob = job.generatedName;
        if (client.exitCode != 0 || m_waitingJob.isEmpty())
            qFatal("the batch cannot be imported: %s", client.everything().constData());
    }
    m_documentsBefore = documentsReceived();
    Backend::Site::current().close();
    replaceFolder(m_site.path({}), m_template.filePath(QStringLiteral("site")));
}

QString ImportTrial::batch() const
{
    return m_site.path(QStringLiteral("batch"));
}

QStringList ImportTrial::arguments() const
{
    QStringList arguments = {QStringLiteral("--config"), m_site.configuration()};
    if (m_oneWaits)
        return arguments << QStringLiteral("--import") << m_waitingJob;
    return arguments << QStringLiteral("--batch") << batch();
}

void ImportTrial::restore()
{
    Backend::Site::current().close();
    replaceFolder(m_template.filePath(QStringLiteral("site")), m_site.path({}));
    m_documentsBefore = documentsReceived();
    m_faults.clear();
}

QString ImportTrial::judge(const DisturbedRun& run, const QSet<QString>& explained)
{
    Backend::Site::current().close();
    ++m_tally.points;
    if (m_oneWaits)
        judgeRequest(run, explained);
    else
        judgeBatch(run, explained);
    Backend::Site::current().close();
    return m_faults.join(QStringLiteral("; "));
}

void ImportTrial::judgeBatch(const DisturbedRun& run, const QSet<QString>& explained)
{
    if (!run.killed)
        compareWithReport(run);
    checkAndRepair(explained);
    importTheRest();
    expectAllOnce();
    expectManifest(run);
    expectCleanSite();
}

void ImportTrial::judgeRequest(const DisturbedRun& run, const QSet<QString>& explained)
{
    const auto state = [this] {
        for (const auto& job : m_site.jobs())
            if (job.generatedName == m_waitingJob)
                return qMakePair(job.state, job.subState);
        return qMakePair(-9, -9);
    };
    const auto requests = [this] { return documentsReceived() - m_documentsBefore; };
    const auto waiting = qMakePair(0, 0);
    const auto handedOver = qMakePair(1, 2);
    const bool isDone = state() == handedOver && requests() == 1;
    if (!run.killed && run.exitCode == 0 && !isDone)
        complain(m_tally.falselySuccessful, QStringLiteral("exit code 0 without a request or its state"));
    // With exit code 1 it may say that the request was sent and the row not changed, or that it does not
    // know.
    const bool isTrue = run.output.contains(QStringLiteral("sent: ") + m_waitingJob) ||
                        run.output.contains(QStringLiteral("is not known"));
    if (!run.killed && run.exitCode != 0 && isDone && !isTrue)
        complain(m_tally.falselyFailed, QStringLiteral("told as failed after all was done: ") + run.output);
    if (requests() > 1)
        complain(m_tally.duplicates, QStringLiteral("the robot was asked twice"));
    checkAndRepair(explained);
    // Who was told that the row could not be changed asks once more: the robot may have been asked before.
    QString said;
    if (state() == waiting) {
        const ClientRun again = runClient(arguments());
        said = again.output + again.errors;
        if (again.exitCode != 0)
            complain(m_tally.lost,
                     QStringLiteral("the second request fails: ") + again.output + again.errors);
    } else if (requests() == 0) {
        const AdminOutcome again =
            runAdmin(m_site.configuration(), {QStringLiteral("job"), QStringLiteral("resend"), m_waitingJob,
                                              QStringLiteral("--yes")});
        if (again.code != Admin::ExitCode::Success)
            complain(m_tally.lost, QStringLiteral("the request cannot be sent again: ") + again.err);
    }
    if (state() != handedOver)
        complain(m_tally.lost, QStringLiteral("the job is in no state to go on from"));
    if (requests() == 0)
        complain(m_tally.lost, QStringLiteral("the robot was never asked; at the second try: ") + said);
    expectAllOnce();
    expectCleanSite();
}

/// An exit code of 0 and the heading "Imported" are the client's word that a job is there.
void ImportTrial::compareWithReport(const DisturbedRun& run)
{
    const auto told = reportOf(run.output);
    for (const Entry& entry : m_entries) {
        const QString heading = told.value(entry.name);
        const bool isThere = !wholeJobs(entry).empty();
        if (!isThere && (heading == QStringLiteral("Imported") || run.exitCode == 0))
            complain(m_tally.falselySuccessful,
                     QStringLiteral("%1 is told as \"%2\", exit code %3, and not there")
                         .arg(entry.name, heading)
                         .arg(run.exitCode));
        if (isThere && heading == QStringLiteral("Not imported"))
            complain(m_tally.falselyFailed,
                     entry.name + QStringLiteral(" is told as not imported, and there"));
    }
}

/// What a start of the client mends, the second run will.
void ImportTrial::checkAndRepair(const QSet<QString>& explained)
{
    const auto first = check({});
    QSet<QString> kinds;
    for (const Finding& finding : first) {
        ++m_tally.found[finding.kind];
        kinds.insert(finding.kind);
        if (!explained.contains(finding.kind))
            complain(m_tally.unexplained,
                     QStringLiteral("a check finds %1, %2").arg(finding.kind, finding.text));
    }
    // Twice: the file of an original-file row that the first removes is an orphan to the second.
    for (int turn = 0; turn < 2 && !kinds.isEmpty(); ++turn) {
        QStringList repair;
        for (const auto& rule : Backend::findingRules()) {
            const QString kind = QString::fromLatin1(rule.name);
            if (rule.isMendable && (kinds.contains(kind) || explained.contains(kind)))
                repair << kind;
        }
        (void)check(repair);
        kinds.clear();
        for (const Finding& finding : check({}))
            kinds.insert(finding.kind);
        kinds.remove(QStringLiteral("work-leftover"));
    }
    for (const QString& kind : qAsConst(kinds))
        complain(m_tally.unexplained, QStringLiteral("after the repair a check finds ") + kind);
}

/// Nothing is left after the second run.
void ImportTrial::expectCleanSite()
{
    for (const Finding& finding : check({}))
        complain(m_tally.unexplained,
                 QStringLiteral("after the second run a check finds %1, %2").arg(finding.kind, finding.text));
}

/// The operator runs the same batch once more, without what is known.
void ImportTrial::importTheRest()
{
    Backend::Site::current().close();
    const ClientRun again = runClient(arguments() << QStringLiteral("--skip-known"));
    if (again.exitCode != 0)
        complain(m_tally.lost, QStringLiteral("the second run fails: ") + again.output + again.errors);
}

void ImportTrial::expectAllOnce()
{
    for (const Entry& entry : m_entries) {
        const size_t jobs = wholeJobs(entry).size();
        if (jobs == 0)
            complain(m_tally.lost, entry.name + QStringLiteral(" is not there"));
        else if (jobs > 1)
            complain(m_tally.duplicates, QStringLiteral("%1 is there %2 times").arg(entry.name).arg(jobs));
    }
}

/// The text of the manifest is in the rows or in its folder. The panel removes a manifest that it could not
/// read like any other: where the client could not read it either, it is to say so.
void ImportTrial::expectManifest(const DisturbedRun& run)
{
    bool isInRows = false;
    for (const auto& job : wholeJobs(m_entries.back()))
        isInRows = isInRows || job.customer2 == customer;
    const QString folder = batch() + QLatin1Char('/') + company + QStringLiteral("/folder");
    const bool isTold =
        run.output.contains(QStringLiteral("manifest-not-kept")) ||
        run.output.contains(QStringLiteral("the manifest of %1 could not be kept").arg(folder));
    if (!isInRows && !isTold && readFile(local(folder + QStringLiteral("/readme.json"))) != manifest)
        complain(m_tally.lost, QStringLiteral("the manifest is neither in the rows nor in its folder"));
}

std::vector<Backend::JobRecord> ImportTrial::wholeJobs(const Entry& entry) const
{
    std::vector<Backend::JobRecord> jobs;
    for (const auto& job : m_site.jobs()) {
        if (!job.complete || isTakenBack(job) || job.jobName != entry.base)
            continue;
        const QString fetched = m_site.fetch(job);
        if (!fetched.isEmpty() && (entry.content.isEmpty() || readFile(local(fetched)) == entry.content))
            jobs.push_back(job);
        QFile::remove(fetched);
    }
    return jobs;
}

/// @return the findings but notices, by their kinds; of a failure its text
std::vector<ImportTrial::Finding> ImportTrial::check(const QStringList& repair)
{
    QStringList arguments = {QStringLiteral("check"), QStringLiteral("--json"), QStringLiteral("--settle"),
                             QStringLiteral("0")};
    if (!repair.isEmpty())
        arguments << QStringLiteral("--repair") << repair.join(QLatin1Char(','));
    const AdminOutcome outcome = runAdmin(m_site.configuration(), arguments);
    if (!outcome.json().contains(QStringLiteral("findings")))
        return {{QStringLiteral("failure"), outcome.err}};
    std::vector<Finding> findings;
    for (const auto& value : outcome.json().value(QStringLiteral("findings")).toArray()) {
        const QJsonObject finding = value.toObject();
        const auto field = [&finding](const char* name) {
            return finding.value(QLatin1String(name)).toString();
        };
        if (field("weight") != QStringLiteral("notice"))
            findings.push_back({field("kind"), field("subject") + QStringLiteral(": ") + field("text")});
    }
    return findings;
}

/// Of all connections that were made by now: the robot reads on a thread of its own.
int ImportTrial::documentsReceived()
{
    const auto allRead = [this] { return m_robot.disconnectionCount() == m_robot.connectionCount(); };
    if (!m_robot.barrier() || !QTest::qWaitFor(allRead))
        qFatal("the robot does not read what was sent to it");
    int documents = 0;
    for (const QByteArray& bytes : m_robot.received())
        documents += bytes.contains("jobname") && bytes.trimmed().endsWith('}') ? 1 : 0;
    return documents;
}

void ImportTrial::complain(int& figure, const QString& what)
{
    ++figure;
    m_faults << what;
}

} // namespace KOZAV::Test
