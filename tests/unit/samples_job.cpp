#include "samples/JobGenerator.h"
#include "samples/Random.h"
#include "tests/support/TestProgram.h"
#include "tests/unit/SamplesTree.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#endif

using namespace KOZAV::Samples;
using namespace KOZAV::Test;

class SamplesJobTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { m_dir = std::make_unique<QTemporaryDir>(); }

    void randomNumbersAreThoseOfSplitMix64();
    void jobIsTheSameOnEveryMachine();
    void sameSeedGivesTheSameJob();
    void otherSeedGivesAnotherJob();
    void sizeIsReached_data();
    void sizeIsReached();
    void everythingHasTheTimeOfTheSave();
    void nameIsInLowerCase();
    void emptyFolderIsTaken();
    void usedFolderIsRefused();
    void fileInThePlaceIsRefused();
    void invalidRequestsAreRefused_data();
    void invalidRequestsAreRefused();
    void unwritablePlaceIsNamed();
    void fullDiskLeavesNothing();

private:
    [[nodiscard]] QString path(const QString& name) const { return m_dir->filePath(name); }
    [[nodiscard]] JobRequest request(const QString& directory, quint64 seed) const;

    std::unique_ptr<QTemporaryDir> m_dir;
};

JobRequest SamplesJobTest::request(const QString& directory, quint64 seed) const
{
    JobRequest request;
    request.directory = path(directory);
    request.name = QStringLiteral("job");
    request.seed = seed;
    return request;
}

void SamplesJobTest::randomNumbersAreThoseOfSplitMix64()
{
    Random random(1234567);
    QCOMPARE(random.next(), Q_UINT64_C(6457827717110365317));
    QCOMPARE(random.next(), Q_UINT64_C(3203168211198807973));
    QCOMPARE(random.next(), Q_UINT64_C(9817491932198370423));
}

void SamplesJobTest::jobIsTheSameOnEveryMachine()
{
    // A change of what is generated changes this hash; so would a compiler or a library that gives other
    // bytes.
    const JobResult result = generateJob(request(QStringLiteral("a"), 1));
    QCOMPARE(result.error, QString());
    QCOMPARE(digest(readTree(result.path)),
             QByteArray("f5b9498dcf3116f44eee818d7d2687648225275625a0ed6c2b6a6d8186357db3"));
}

void SamplesJobTest::sameSeedGivesTheSameJob()
{
    JobRequest first = request(QStringLiteral("a"), 7);
    first.bytes = 400U << 10U;
    first.steps = 3;
    JobRequest second = first;
    second.directory = path(QStringLiteral("b"));
    const JobResult a = generateJob(first);
    const JobResult b = generateJob(second);
    QCOMPARE(a.error, QString());
    QCOMPARE(b.error, QString());
    QCOMPARE(readTree(b.path), readTree(a.path));
    QCOMPARE(readTimes(b.path), readTimes(a.path));
}

void SamplesJobTest::otherSeedGivesAnotherJob()
{
    const JobResult a = generateJob(request(QStringLiteral("a"), 7));
    const JobResult b = generateJob(request(QStringLiteral("b"), 8));
    const Tree first = readTree(a.path);
    const Tree second = readTree(b.path);
    QCOMPARE(second.keys(), first.keys());
    const QString features = QStringLiteral("steps/pcb/layers/l1_top/features");
    QVERIFY(second.value(features) != first.value(features));
    QVERIFY(b.savedAt != a.savedAt);
}

void SamplesJobTest::sizeIsReached_data()
{
    QTest::addColumn<quint64>("bytes");
    QTest::addColumn<int>("steps");
    QTest::addColumn<int>("layers");
    QTest::newRow("100K") << quint64{100U << 10U} << 1 << 4;
    QTest::newRow("100K, one layer") << quint64{100U << 10U} << 1 << 1;
    QTest::newRow("100K, sixteen layers") << quint64{100U << 10U} << 1 << 16;
    QTest::newRow("5M") << quint64{5U << 20U} << 1 << 4;
    QTest::newRow("5M, three steps") << quint64{5U << 20U} << 3 << 8;
    QTest::newRow("as many steps and layers as there may be") << quint64{4U << 20U} << 20 << 64;
    QTest::newRow("the least that five steps take") << quint64{114U << 10U} << 5 << 4;
    QTest::newRow("40M, pieces of a file") << quint64{40U << 20U} << 1 << 2;
}

void SamplesJobTest::sizeIsReached()
{
    QFETCH(quint64, bytes);
    JobRequest wanted = request(QStringLiteral("a"), 3);
    wanted.bytes = bytes;
    QFETCH(int, steps);
    QFETCH(int, layers);
    wanted.steps = steps;
    wanted.layers = layers;
    const JobResult result = generateJob(wanted);
    QCOMPARE(result.error, QString());
    const TreeSize found = measureTree(result.path);
    QCOMPARE(result.files, found.files);
    QCOMPARE(result.bytes, found.bytes);
    QVERIFY2(found.bytes >= bytes * 95 / 100 && found.bytes <= bytes * 105 / 100,
             qPrintable(QString::number(found.bytes)));
}

void SamplesJobTest::everythingHasTheTimeOfTheSave()
{
    const JobResult result = generateJob(request(QStringLiteral("a"), 7));
    const auto times = readTimes(result.path);
    QVERIFY(times.size() > 80);
    for (auto entry = times.constBegin(); entry != times.constEnd(); ++entry)
        QVERIFY2(entry.value() == result.savedAt.toMSecsSinceEpoch(), qPrintable(entry.key()));
    QCOMPARE(QFileInfo(result.path).lastModified(), result.savedAt);
    const QByteArray saved = result.savedAt.toString(QStringLiteral("yyyyMMdd.HHmmss")).toLatin1();
    QVERIFY(readFile(result.path + QStringLiteral("/misc/info")).contains("\nSAVE_DATE=" + saved + "\n"));
}

void SamplesJobTest::nameIsInLowerCase()
{
    JobRequest wanted = request(QStringLiteral("a"), 7);
    wanted.name = QStringLiteral("Ctrl_REV-c+1");
    const JobResult result = generateJob(wanted);
    QCOMPARE(result.path, path(QStringLiteral("a/ctrl_rev-c+1")));
    QCOMPARE(readFile(result.path + QStringLiteral("/misc/job_name")), QByteArray("ctrl_rev-c+1\n"));
    QVERIFY(readFile(result.path + QStringLiteral("/misc/info")).startsWith("JOB_NAME=ctrl_rev-c+1\n"));
}

void SamplesJobTest::emptyFolderIsTaken()
{
    QVERIFY(QDir().mkpath(path(QStringLiteral("a/job"))));
    QCOMPARE(generateJob(request(QStringLiteral("a"), 1)).error, QString());
}

void SamplesJobTest::usedFolderIsRefused()
{
    QVERIFY(QDir().mkpath(path(QStringLiteral("a/job"))));
    writeFile(path(QStringLiteral("a/job/.hidden")), "mine");
    const JobResult result = generateJob(request(QStringLiteral("a"), 1));
    QCOMPARE(result.error,
             QStringLiteral("the folder %1 exists and is not empty").arg(path(QStringLiteral("a/job"))));
    QCOMPARE(readTree(path(QStringLiteral("a/job"))).keys(), QStringList(QStringLiteral(".hidden")));
}

void SamplesJobTest::fileInThePlaceIsRefused()
{
    writeFile(path(QStringLiteral("job")), "mine");
    const JobResult result = generateJob(request(QString(), 1));
    QVERIFY2(result.error.endsWith(QLatin1String("/job exists and is not a folder")),
             qPrintable(result.error));
    QCOMPARE(readFile(path(QStringLiteral("job"))), QByteArray("mine"));
}

void SamplesJobTest::invalidRequestsAreRefused_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<quint64>("bytes");
    QTest::addColumn<int>("steps");
    QTest::addColumn<int>("layers");
    QTest::addColumn<QString>("error");
    const QString job = QStringLiteral("job");
    const quint64 fits = 1U << 20U;
    const QString badName =
        QStringLiteral("\"%1\" is no job name: 1 to 64 letters, digits, \"_\", \"+\" or \"-\"");
    QTest::newRow("no name") << QString() << fits << 1 << 4 << badName.arg(QString());
    QTest::newRow("path") << QStringLiteral("../a") << fits << 1 << 4 << badName.arg(QStringLiteral("../a"));
    QTest::newRow("dot") << QStringLiteral("a.b") << fits << 1 << 4 << badName.arg(QStringLiteral("a.b"));
    QTest::newRow("line end") << QStringLiteral("a\n") << fits << 1 << 4
                              << badName.arg(QStringLiteral("a\n"));
    QTest::newRow("small") << job << kSmallestJob - 1 << 1 << 4
                           << QStringLiteral("a job has 100 K to 8 G, not 99.9 K");
    QTest::newRow("large") << job << kLargestJob + 1 << 1 << 4
                           << QStringLiteral("a job has 100 K to 8 G, not 8 G");
    QTest::newRow("no step") << job << fits << 0 << 4
                             << QStringLiteral("the number of steps must be 1 to 20, not 0");
    QTest::newRow("steps") << job << fits << 21 << 4
                           << QStringLiteral("the number of steps must be 1 to 20, not 21");
    QTest::newRow("no layer") << job << fits << 1 << 0
                              << QStringLiteral("the number of layers must be 1 to 64, not 0");
    QTest::newRow("layers") << job << fits << 1 << 65
                            << QStringLiteral("the number of layers must be 1 to 64, not 65");
    QTest::newRow("too many for the size")
        << job << quint64{113U << 10U} << 5 << 4
        << QStringLiteral("a job with so many steps and layers takes at least 114K");
}

void SamplesJobTest::invalidRequestsAreRefused()
{
    JobRequest wanted = request(QStringLiteral("a"), 1);
    QFETCH(QString, name);
    QFETCH(quint64, bytes);
    QFETCH(int, steps);
    QFETCH(int, layers);
    wanted.name = name;
    wanted.bytes = bytes;
    wanted.steps = steps;
    wanted.layers = layers;
    QTEST(generateJob(wanted).error, "error");
    QVERIFY(!QFileInfo::exists(wanted.directory));
}

void SamplesJobTest::unwritablePlaceIsNamed()
{
    writeFile(path(QStringLiteral("file")), "mine");
    const JobResult result = generateJob(request(QStringLiteral("file"), 1));
    QVERIFY2(result.error.startsWith(
                 QStringLiteral("cannot make the folder %1").arg(path(QStringLiteral("file/job")))),
             qPrintable(result.error));
}

void SamplesJobTest::fullDiskLeavesNothing()
{
#ifdef Q_OS_UNIX
    // No file may grow past a limit: the write that meets it fails as on a full disk.
    rlimit before{};
    QCOMPARE(getrlimit(RLIMIT_FSIZE, &before), 0);
    rlimit limited = before;
    limited.rlim_cur = 100000;
    auto* const handler = std::signal(SIGXFSZ, SIG_IGN);
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &limited), 0);
    JobRequest wanted = request(QStringLiteral("a"), 1);
    wanted.bytes = 5U << 20U;
    const JobResult folder = generateJob(wanted);
    wanted.bytes = 600U << 10U;
    wanted.archive = ArchiveKind::Tgz;
    const JobResult archive = generateJob(wanted);
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);

    const QString place = path(QStringLiteral("a"));
    QVERIFY2(folder.error.startsWith(QStringLiteral("cannot write %1/job/steps/pcb/layers/").arg(place)),
             qPrintable(folder.error));
    QVERIFY2(folder.error.endsWith(QLatin1String(": File too large")), qPrintable(folder.error));
    QCOMPARE(archive.error, QStringLiteral("cannot write %1/job.tgz: File too large").arg(place));
    QCOMPARE(readTree(place).keys(), QStringList());
#else
    QSKIP("limits the size of files with setrlimit");
#endif
}

ZAV_REGISTER_TEST(samples_job, SamplesJobTest, QCoreApplication)

#include "samples_job.moc"
