// Imports and requests on an embedded site, killed at each call of the operating system that they make, and
// with each of these calls failing.
//
// A run that nobody disturbs lists the calls below the folder of site and batch, and those to the robot. For
// each of them there are trials: the client is killed at it; it fails with each error that its manual names,
// once, and from then on with all calls of its kind. ImportTrial judges what is left. Calls that read the
// same file again and again stand for each other: of such a row the first, the middle and the last are tried.
//
// Without $ZAV_FAULT_LOOP=whole only a sample is tried: points spread over the whole plan, each chosen by
// chance within its stretch. $ZAV_FAULT_SEED chooses others.

#include "tests/fault/ImportTrial.h"
#include "tests/support/ClientProgram.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QTest>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>
#include <vector>

using namespace KOZAV::Test;

namespace {

constexpr int longestRunMs = 20'000;
/// The plan is dealt out to so many rows of the test.
constexpr int slices = 48;
constexpr int slicesOfSample = 4;
constexpr size_t pointsOfSample = 40;

struct Point
{
    int number = 0;
    QByteArray kind;
    QByteArray name;
    bool isNew = false;
    QByteArray path;
};

struct Strike
{
    Point point;
    int error = 0; ///< 0: killed
    bool onwards = false;

    [[nodiscard]] QString text() const
    {
        const QString how = error == 0 ? QStringLiteral("killed")
                                       : QString::fromLatin1(::strerrorname_np(error)) +
                                             (onwards ? QStringLiteral(" from then on") : QString());
        return QStringLiteral("%1 at call %2, %3 of %4")
            .arg(how)
            .arg(point.number)
            .arg(QString::fromLatin1(point.name), QString::fromLocal8Bit(point.path));
    }
};

/// The errors of a kind of calls, as their manuals name them.
std::vector<int> errorsOf(const Point& point)
{
    if (point.kind == "open")
        return point.isNew ? std::vector<int>{EACCES, EMFILE, ENOSPC} : std::vector<int>{EACCES, EMFILE};
    if (point.kind == "write")
        return {ENOSPC, EIO, EDQUOT};
    if (point.kind == "receive")
        return {ECONNRESET};
    if (point.kind == "send")
        return {EPIPE, ECONNRESET};
    if (point.kind == "rename" || point.kind == "link")
        return {EIO, EXDEV, ENOSPC};
    if (point.kind == "remove")
        return {EACCES};
    if (point.kind == "mkdir")
        return {EACCES, ENOSPC};
    if (point.kind == "connect")
        return {ECONNREFUSED, ETIMEDOUT};
    return {EIO}; // read, list, sync
}

/// The calls that the tracer has written down.
std::vector<Point> pointsIn(const QString& log)
{
    std::vector<Point> points;
    for (const QByteArray& line : readFile(local(log)).split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        if (fields.size() >= 5)
            points.push_back(
                {fields[0].toInt(), fields[1], fields[2], fields[3] == "new", fields.mid(4).join(' ')});
    }
    return points;
}

/// Takes what is between the first, the middle and the last out of rows of equal reads.
std::vector<Point> withoutRepetition(const std::vector<Point>& all)
{
    std::vector<Point> points;
    for (size_t begin = 0, end = 0; begin < all.size(); begin = end) {
        while (end < all.size() && all[end].path == all[begin].path && all[end].name == all[begin].name)
            ++end;
        const bool isRow = all[begin].kind == "read" && end - begin > 3;
        for (size_t at = begin; at < end; ++at)
            if (!isRow || at == begin || at == (begin + end) / 2 || at == end - 1)
                points.push_back(all[at]);
    }
    return points;
}

bool isWhole()
{
    return qgetenv("ZAV_FAULT_LOOP") == "whole";
}

/// A part of each stretch of the plan.
std::vector<Strike> sampleOf(const std::vector<Strike>& plan)
{
    QRandomGenerator chance(static_cast<quint32>(qEnvironmentVariableIntValue("ZAV_FAULT_SEED")) + 1U);
    std::vector<Strike> sample;
    for (size_t i = 0; i < pointsOfSample; ++i) {
        const size_t begin = plan.size() * i / pointsOfSample;
        const size_t end = plan.size() * (i + 1) / pointsOfSample;
        if (begin < end)
            sample.push_back(plan[begin + chance.bounded(static_cast<quint32>(end - begin))]);
    }
    return sample;
}

/// Where in an import a call belongs to, by what it touches.
enum class Place { Source, Staging, Store, Rows, Work, Robot };

Place placeOf(const Point& point)
{
    if (point.path.startsWith("port ") || point.path.startsWith("socket:"))
        return Place::Robot;
    if (point.path.contains("/data/upload"))
        return Place::Staging;
    if (point.path.contains("/data/store"))
        return Place::Store;
    if (point.path.contains("/data/site.db"))
        return Place::Rows;
    if (point.path.contains("/data/download"))
        return Place::Work;
    return Place::Source;
}

/// The kinds that a check may find after a fault, each because of what the fault has kept from being done.
QSet<QString> explainedBy(const Strike& strike)
{
    const QSet<QString> unfinished = {
        QStringLiteral("file-orphan"),      // stored, and no row yet
        QStringLiteral("orig-file-unused"), // that row, and no flow yet
        QStringLiteral("half-import"),      // a flow, and not its last row yet
        QStringLiteral("batch-behind"),     // jobs of a batch that has not come to its company's number
    };
    // The folder of a program that cannot be removed, by a kill or for want of files, folders or removals:
    // manifests that are not back may lie in it.
    const QString workLeftover = QStringLiteral("work-leftover");
    QSet<QString> kinds;
    if (strike.error == 0) {
        kinds = unfinished;
        kinds << workLeftover << QStringLiteral("temp-leftover") // nobody was left to remove it
              << QStringLiteral("sum-stale")                     // a stored file's sum file comes after it
              << QStringLiteral("data-missing");                 // or before it, without attributes
        return kinds;
    }
    if (strike.onwards || placeOf(strike.point) == Place::Work)
        kinds << workLeftover;
    if (strike.onwards) // all later calls of the kind: those of the rows too
        kinds += unfinished;
    switch (placeOf(strike.point)) {
    case Place::Rows:
        kinds += unfinished;
        break;
    case Place::Store: // rows are written only after a look at the stored file
        kinds += unfinished;
        kinds << QStringLiteral("data-missing") << QStringLiteral("temp-leftover");
        break;
    default:
        break;
    }
    return kinds;
}

} // namespace

class ImportFaultLoop final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void batch_data() { addSlices(); }
    void batch();
    void request_data() { addSlices(); }
    void request();
    void cleanupTestCase();

private:
    static void addSlices();
    void loop(bool isRequest);
    static DisturbedRun runTraced(const ImportTrial& trial, const QString& log, const QStringList& strike);
    static std::vector<Strike> planOf(ImportTrial& trial);

    struct Loop
    {
        explicit Loop(bool isRequest)
            : trial(tally, isRequest)
            , plan(planOf(trial))
        {
        }
        TrialTally tally;
        ImportTrial trial;
        std::vector<Strike> plan;
    };
    std::unique_ptr<Loop> m_loops[2]; ///< of the batch and of the request
};

void ImportFaultLoop::initTestCase()
{
    qputenv("ZAV_TEST_SITE", "sqlite/local");
    const ProgramEnd end =
        runProgram(QStringLiteral(ZAV_FAULT_TRACER), {QStringLiteral("--log"), QStringLiteral("/dev/null"),
                                                      QStringLiteral("--"), QStringLiteral("/bin/true")});
    if (end.exitCode != 0)
        QSKIP("calls of a program cannot be traced here");
}

void ImportFaultLoop::addSlices()
{
    QTest::addColumn<int>("slice");
    for (int slice = 0; slice < (isWhole() ? slices : slicesOfSample); ++slice)
        QTest::addRow("slice %d", slice) << slice;
}

DisturbedRun ImportFaultLoop::runTraced(const ImportTrial& trial, const QString& log,
                                        const QStringList& strike)
{
    QProcess tracer;
    tracer.setProcessChannelMode(QProcess::MergedChannels);
    tracer.start(QStringLiteral(ZAV_FAULT_TRACER),
                 QStringList{QStringLiteral("--below"), trial.site().path({}),
                             QStringLiteral("--socket-port"), QString::number(trial.robotPort()),
                             QStringLiteral("--log"), log} +
                     strike + QStringList{QStringLiteral("--"), clientProgram()} + trial.arguments());
    DisturbedRun run;
    if (!tracer.waitForFinished(longestRunMs)) {
        tracer.kill();
        tracer.waitForFinished();
        run.exitCode = -1;
    } else {
        run.exitCode = tracer.exitCode();
        run.killed = run.exitCode == 128 + SIGKILL;
    }
    run.output = QString::fromUtf8(tracer.readAll());
    return run;
}

std::vector<Strike> ImportFaultLoop::planOf(ImportTrial& trial)
{
    const QTemporaryDir folder;
    const QString log = folder.filePath(QStringLiteral("calls"));
    trial.restore();
    const DisturbedRun run = runTraced(trial, log, {});
    if (run.exitCode != 0)
        qFatal("an undisturbed run fails: %s", qUtf8Printable(run.output));
    const std::vector<Point> points = pointsIn(log);
    std::vector<Strike> plan;
    for (const Point& point : withoutRepetition(points)) {
        plan.push_back({point, 0, false});
        for (const int error : errorsOf(point)) {
            plan.push_back({point, error, false});
            plan.push_back({point, error, true});
        }
    }
    qInfo("%zu calls, %zu trials", points.size(), plan.size());
    return isWhole() ? plan : sampleOf(plan);
}

void ImportFaultLoop::loop(bool isRequest)
{
    QFETCH(const int, slice);
    auto& made = m_loops[isRequest ? 1 : 0];
    if (!made)
        made = std::make_unique<Loop>(isRequest);
    ImportTrial& trial = made->trial;
    const QString log = trial.site().path(QStringLiteral("struck"));
    int faults = 0;
    const auto step = static_cast<size_t>(isWhole() ? slices : slicesOfSample);
    for (size_t at = static_cast<size_t>(slice); at < made->plan.size(); at += step) {
        Strike strike = made->plan[at];
        trial.restore();
        QStringList orders = {QStringLiteral("--at"), QString::number(strike.point.number),
                              QStringLiteral("--kind"), QString::fromLatin1(strike.point.kind)};
        if (strike.error == 0)
            orders << QStringLiteral("--kill");
        else
            orders << QStringLiteral("--fail") << QString::number(strike.error);
        if (strike.onwards)
            orders << QStringLiteral("--onwards");
        const DisturbedRun run = runTraced(trial, log, orders);
        // Threads do not always come in the same order: what was struck may be a neighbour.
        if (const auto struck = pointsIn(log); !struck.empty())
            strike.point = struck.front();
        QString fault = run.exitCode < 0 || (run.exitCode > 128 && !run.killed)
                            ? QStringLiteral("hangs or crashes, %1: ").arg(run.exitCode) + run.output
                            : QString();
        if (const QString judged = trial.judge(run, explainedBy(strike)); !judged.isEmpty())
            fault += judged;
        if (!fault.isEmpty()) {
            ++faults;
            qWarning("%s: %s; the client said:\n%s", qUtf8Printable(strike.text()), qUtf8Printable(fault),
                     qUtf8Printable(run.output));
        }
    }
    QCOMPARE(faults, 0);
}

void ImportFaultLoop::batch()
{
    loop(false);
}

void ImportFaultLoop::request()
{
    loop(true);
}

void ImportFaultLoop::cleanupTestCase()
{
    for (const auto& made : m_loops)
        if (made)
            qInfo("%s: %s", made == m_loops[0] ? "batch" : "request", qUtf8Printable(made->tally.text()));
}

ZAV_REGISTER_TEST(import_fault_loop, ImportFaultLoop, QCoreApplication)

#include "import_fault_loop.moc"
