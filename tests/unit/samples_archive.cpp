#include "samples/JobArchive.h"
#include "samples/JobGenerator.h"
#include "tests/support/TestProgram.h"
#include "tests/unit/SamplesTree.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <ctime>
#include <memory>

using namespace KOZAV::Samples;
using namespace KOZAV::Test;

Q_DECLARE_METATYPE(KOZAV::Samples::ArchiveKind)

class SamplesArchiveTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void archivesHoldTheTree_data() { addKinds(); }
    void archivesHoldTheTree();
    void sameFolderGivesTheSameArchive_data() { addKinds(); }
    void sameFolderGivesTheSameArchive();
    void tarEntriesHaveTimeAndNoOwner();
    void namesOfAnyLanguageAreKept_data() { addKinds(); }
    void namesOfAnyLanguageAreKept();
    void jobIsPackedWithoutARest_data() { addKinds(); }
    void jobIsPackedWithoutARest();
    void jobsCompressLikeRealOnes_data();
    void jobsCompressLikeRealOnes();
    void existingArchiveIsKept();
    void linksAreRefused();
    void missingFolderIsRefused();
    void suffixes();

private:
    static void addKinds();
    [[nodiscard]] QString path(const QString& name) const { return m_dir->filePath(name); }
    [[nodiscard]] JobResult makeJob(const QString& directory) const;
    [[nodiscard]] ArchiveRequest packing(const QString& folder, const QString& archive,
                                         ArchiveKind kind) const;
    [[nodiscard]] QString extract(const QString& archive, ArchiveKind kind) const;

    std::unique_ptr<QTemporaryDir> m_dir;
};

namespace {

/// What the program wrote to its standard output. It runs in a locale that knows all names, whatever the
/// test's own.
QByteArray run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    if (!process.waitForFinished(60000) || process.exitCode() != 0)
        qWarning("%s: %s", qPrintable(program), process.readAllStandardError().constData());
    return process.readAllStandardOutput();
}

bool areExtractorsPresent()
{
    return !QStandardPaths::findExecutable(QStringLiteral("tar")).isEmpty() &&
           !QStandardPaths::findExecutable(QStringLiteral("unzip")).isEmpty();
}

void setTimeZone(const char* zone)
{
#ifdef Q_OS_UNIX
    qputenv("TZ", zone);
    tzset();
#else
    Q_UNUSED(zone)
#endif
}

} // namespace

void SamplesArchiveTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
}

void SamplesArchiveTest::addKinds()
{
    QTest::addColumn<ArchiveKind>("kind");
    QTest::newRow("tgz") << ArchiveKind::Tgz;
    QTest::newRow("zip") << ArchiveKind::Zip;
    QTest::newRow("kos") << ArchiveKind::Kos;
    QTest::newRow("tar") << ArchiveKind::Tar;
}

JobResult SamplesArchiveTest::makeJob(const QString& directory) const
{
    JobRequest request;
    request.directory = path(directory);
    request.name = QStringLiteral("Job_1");
    request.seed = 21;
    return generateJob(request);
}

ArchiveRequest SamplesArchiveTest::packing(const QString& folder, const QString& archive,
                                           ArchiveKind kind) const
{
    return {folder, QStringLiteral("job_1"), path(archive), kind,
            QDateTime::fromSecsSinceEpoch(1650000000, Qt::UTC)};
}

QString SamplesArchiveTest::extract(const QString& archive, ArchiveKind kind) const
{
    QString target = path(QStringLiteral("extracted"));
    QDir().mkpath(target);
    if (kind == ArchiveKind::Zip)
        run(QStringLiteral("unzip"), {QStringLiteral("-q"), archive, QStringLiteral("-d"), target});
    else
        run(QStringLiteral("tar"), {QStringLiteral("-xf"), archive, QStringLiteral("-C"), target});
    return target;
}

void SamplesArchiveTest::archivesHoldTheTree()
{
    if (!areExtractorsPresent())
        QSKIP("needs tar and unzip");
    QFETCH(ArchiveKind, kind);
    const JobResult job = makeJob(QStringLiteral("a"));
    const QString archive = QStringLiteral("job.%1").arg(archiveSuffix(kind));
    const ArchiveResult packed = writeArchive(packing(job.path, archive, kind));
    QCOMPARE(packed.error, QString());
    QCOMPARE(packed.files, job.files);
    QCOMPARE(packed.bytes, static_cast<quint64>(QFileInfo(path(archive)).size()));
    const QString extracted = extract(path(archive), kind);
    QCOMPARE(QDir(extracted).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList(QStringLiteral("job_1")));
    QCOMPARE(readTree(extracted + QStringLiteral("/job_1")), readTree(job.path));
}

void SamplesArchiveTest::sameFolderGivesTheSameArchive()
{
    QFETCH(ArchiveKind, kind);
    const QByteArray zone = qgetenv("TZ");
    setTimeZone("Asia/Shanghai");
    const JobResult first = makeJob(QStringLiteral("a"));
    const ArchiveResult a = writeArchive(packing(first.path, QStringLiteral("one"), kind));
    setTimeZone("America/New_York");
    const JobResult second = makeJob(QStringLiteral("b"));
    const ArchiveResult b = writeArchive(packing(second.path, QStringLiteral("two"), kind));
    setTimeZone(zone.constData());
    QCOMPARE(a.error, QString());
    QCOMPARE(b.error, QString());
    QVERIFY(a.bytes > 1000);
    QVERIFY(readFile(path(QStringLiteral("one"))) == readFile(path(QStringLiteral("two"))));
}

void SamplesArchiveTest::tarEntriesHaveTimeAndNoOwner()
{
    if (!areExtractorsPresent())
        QSKIP("needs tar and unzip");
    const JobResult job = makeJob(QStringLiteral("a"));
    QCOMPARE(writeArchive(packing(job.path, QStringLiteral("job.tgz"), ArchiveKind::Tgz)).error, QString());
    const QByteArray listing =
        run(QStringLiteral("tar"), {QStringLiteral("--utc"), QStringLiteral("--numeric-owner"),
                                    QStringLiteral("-tvf"), path(QStringLiteral("job.tgz"))});
    QList<QByteArray> lines = listing.trimmed().split('\n');
    QVERIFY(lines.size() > 80);
    QList<QByteArray> names;
    for (const QByteArray& line : qAsConst(lines)) {
        const auto fields = line.simplified().split(' ');
        QCOMPARE(fields.at(0), line.startsWith('d') ? QByteArray("drwxr-xr-x") : QByteArray("-rw-r--r--"));
        QCOMPARE(fields.at(1), QByteArray("0/0"));
        QCOMPARE(fields.at(3) + " " + fields.at(4), QByteArray("2022-04-15 05:20"));
        names.append(fields.at(5).endsWith('/') ? fields.at(5).chopped(1) : fields.at(5));
    }
    QList<QByteArray> sorted = names;
    std::sort(sorted.begin(), sorted.end());
    QCOMPARE(names, sorted);
    QCOMPARE(names.first(), QByteArray("job_1"));
}

void SamplesArchiveTest::namesOfAnyLanguageAreKept()
{
    if (!areExtractorsPresent())
        QSKIP("needs tar and unzip");
    QFETCH(ArchiveKind, kind);
    const QString folder = path(QStringLiteral("a"));
    QVERIFY(QDir().mkpath(folder + QStringLiteral("/中 文/empty")));
    writeFile(folder + QStringLiteral("/中 文/é.txt"), "text");
    writeFile(folder + QStringLiteral("/.hidden"), "");
    writeFile(folder + QLatin1Char('/') + QString(120, QChar(0x540d)).left(80), "long name");
    const ArchiveResult packed = writeArchive(packing(folder, QStringLiteral("packed"), kind));
    QCOMPARE(packed.error, QString());
    QCOMPARE(packed.files, quint64{3});
    QCOMPARE(readTree(extract(path(QStringLiteral("packed")), kind) + QStringLiteral("/job_1")),
             readTree(folder));
}

void SamplesArchiveTest::jobIsPackedWithoutARest()
{
    QFETCH(ArchiveKind, kind);
    const JobResult folder = makeJob(QStringLiteral("a"));
    JobRequest request;
    request.directory = path(QStringLiteral("b"));
    request.name = QStringLiteral("Job_1");
    request.seed = 21;
    request.archive = kind;
    const JobResult job = generateJob(request);
    QCOMPARE(job.error, QString());
    const QString name = QStringLiteral("Job_1.%1").arg(archiveSuffix(kind));
    QCOMPARE(readTree(path(QStringLiteral("b"))).keys(), QStringList(name));
    QCOMPARE(job.path, path(QStringLiteral("b/")) + name);
    QCOMPARE(job.files, folder.files);
    QCOMPARE(job.bytes, folder.bytes);
    QCOMPARE(job.archiveBytes, static_cast<quint64>(QFileInfo(job.path).size()));
    QCOMPARE(QFileInfo(job.path).lastModified(), folder.savedAt);

    ArchiveRequest sameByHand = packing(folder.path, QStringLiteral("by-hand"), kind);
    sameByHand.time = folder.savedAt;
    QCOMPARE(writeArchive(sameByHand).error, QString());
    QVERIFY(readFile(job.path) == readFile(path(QStringLiteral("by-hand"))));
}

void SamplesArchiveTest::jobsCompressLikeRealOnes_data()
{
    QTest::addColumn<quint64>("bytes");
    QTest::addColumn<quint64>("seed");
    QTest::newRow("the smallest") << kSmallestJob << quint64{1};
    QTest::newRow("1M") << quint64{1U << 20U} << quint64{2};
    QTest::newRow("5M") << quint64{5U << 20U} << quint64{3};
}

void SamplesArchiveTest::jobsCompressLikeRealOnes()
{
    JobRequest request;
    request.directory = path(QStringLiteral("a"));
    request.name = QStringLiteral("job");
    QFETCH(quint64, bytes);
    QFETCH(quint64, seed);
    request.bytes = bytes;
    request.seed = seed;
    request.archive = ArchiveKind::Tgz;
    const JobResult job = generateJob(request);
    QCOMPARE(job.error, QString());
    // Real jobs have 22 to 23 % of their size after zlib's level 1; small ones repeat themselves less.
    const quint64 percent = job.archiveBytes * 100 / job.bytes;
    QVERIFY2(percent >= 18 && percent <= 30, qPrintable(QString::number(percent)));
}

void SamplesArchiveTest::existingArchiveIsKept()
{
    const JobResult job = makeJob(QStringLiteral("a"));
    writeFile(path(QStringLiteral("job.zip")), "mine");
    const ArchiveResult packed = writeArchive(packing(job.path, QStringLiteral("job.zip"), ArchiveKind::Zip));
    QCOMPARE(packed.error, QStringLiteral("%1 exists already").arg(path(QStringLiteral("job.zip"))));
    QCOMPARE(readFile(path(QStringLiteral("job.zip"))), QByteArray("mine"));
}

void SamplesArchiveTest::linksAreRefused()
{
    const JobResult job = makeJob(QStringLiteral("a"));
    const QString link = job.path + QStringLiteral("/user/link");
    if (!QFile::link(job.path, link))
        QSKIP("needs symbolic links");
    const ArchiveResult packed = writeArchive(packing(job.path, QStringLiteral("job.tgz"), ArchiveKind::Tgz));
    QCOMPARE(packed.error, QStringLiteral("cannot pack %1: neither a file nor a folder").arg(link));
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("job.tgz"))));
}

void SamplesArchiveTest::missingFolderIsRefused()
{
    const QString folder = path(QStringLiteral("none"));
    const ArchiveResult packed = writeArchive(packing(folder, QStringLiteral("job.tgz"), ArchiveKind::Tgz));
    QCOMPARE(packed.error, QStringLiteral("%1 is not a folder").arg(folder));
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("job.tgz"))));
}

void SamplesArchiveTest::suffixes()
{
    QCOMPARE(archiveKind(QStringLiteral("tgz")), std::make_optional(ArchiveKind::Tgz));
    QCOMPARE(archiveKind(QStringLiteral("zip")), std::make_optional(ArchiveKind::Zip));
    QCOMPARE(archiveKind(QStringLiteral("kos")), std::make_optional(ArchiveKind::Kos));
    for (const char* other : {"tar", "ZIP", "rar", ""})
        QVERIFY2(!archiveKind(QString::fromLatin1(other)), other);
}

ZAV_REGISTER_TEST(samples_archive, SamplesArchiveTest, QCoreApplication)

#include "samples_archive.moc"
