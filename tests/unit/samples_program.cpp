#include "samples/BatchGenerator.h"
#include "samples/JobGenerator.h"
#include "tests/support/TestProgram.h"
#include "tests/unit/SamplesTree.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <optional>

using namespace KOZAV::Samples;
using namespace KOZAV::Test;

/// The program itself, and the sizes that it reads and shows.
class SamplesProgramTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void sizesAreRead_data();
    void sizesAreRead();
    void otherTextsAreNoSizes_data();
    void otherTextsAreNoSizes();
    void sizesAreShown_data();
    void sizesAreShown();
    void jobIsWritten();
    void jobIsPacked();
    void batchIsListedForAPerson();
    void batchIsListedAsJson();
    void helpNeedsNothing_data();
    void helpNeedsNothing();
    void versionIsTheProjects_data();
    void versionIsTheProjects();
    void wrongUseIsNamed_data();
    void wrongUseIsNamed();
    void failureIsNamed();
    void lostOutputIsAFailure();

private:
    int run(const QString& arguments);
    [[nodiscard]] BatchResult sameBatch(int companies, int jobs, bool unknownCompany) const;
    [[nodiscard]] QString path(const QString& name) const { return m_dir->filePath(name); }

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_out;
    QString m_errors;
};

namespace {

constexpr int done = 0;
constexpr int failed = 1;
constexpr int wrongUse = 2;

} // namespace

void SamplesProgramTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
}

/// Runs the program with the arguments, in which DIR stands for a folder that does not exist yet.
int SamplesProgramTest::run(const QString& arguments)
{
    QStringList list = arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    list.replaceInStrings(QStringLiteral("DIR"), path(QStringLiteral("a")));
    QProcess program;
    program.start(QStringLiteral(ZAV_SAMPLES_PROGRAM), list);
    if (!program.waitForFinished(60000) || program.exitStatus() != QProcess::NormalExit)
        qFatal("zav_samples: %s", qPrintable(program.errorString()));
    m_out = QString::fromUtf8(program.readAllStandardOutput());
    m_errors = QString::fromUtf8(program.readAllStandardError());
    return program.exitCode();
}

/// What the library makes of the options that the tests give to the program.
BatchResult SamplesProgramTest::sameBatch(int companies, int jobs, bool unknownCompany) const
{
    BatchRequest request;
    request.directory = path(QStringLiteral("same"));
    request.seed = 4;
    request.companies = companies;
    request.jobs = jobs;
    request.jobBytes = kSmallestJob;
    request.unknownCompany = unknownCompany;
    return generateBatch(request);
}

void SamplesProgramTest::sizesAreRead_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<quint64>("bytes");
    QTest::newRow("bytes") << QStringLiteral("102400") << quint64{102400};
    QTest::newRow("zero") << QStringLiteral("0") << quint64{0};
    QTest::newRow("K") << QStringLiteral("100K") << quint64{102400};
    QTest::newRow("k") << QStringLiteral("100k") << quint64{102400};
    QTest::newRow("M") << QStringLiteral("5M") << quint64{5242880};
    QTest::newRow("G") << QStringLiteral("8G") << quint64{8589934592};
    QTest::newRow("largest") << QStringLiteral("17179869183G") << quint64{17179869183U} * 1073741824U;
}

void SamplesProgramTest::sizesAreRead()
{
    QFETCH(QString, text);
    QFETCH(quint64, bytes);
    QCOMPARE(parseSize(text), std::make_optional(bytes));
}

void SamplesProgramTest::otherTextsAreNoSizes_data()
{
    QTest::addColumn<QString>("text");
    for (const char* text : {"", "K", "-1", "+1K", " 1K", "1 K", "1.5M", "1KB", "10X", "1e3", "0x10",
                             "17179869184G", "99999999999999999999"})
        QTest::newRow(text) << QString::fromLatin1(text);
    QTest::newRow("digits of another script") << QStringLiteral("１００K");
}

void SamplesProgramTest::otherTextsAreNoSizes()
{
    QFETCH(QString, text);
    QVERIFY(!parseSize(text));
}

void SamplesProgramTest::sizesAreShown_data()
{
    QTest::addColumn<quint64>("bytes");
    QTest::addColumn<QString>("text");
    QTest::newRow("bytes") << quint64{700} << QStringLiteral("700 bytes");
    QTest::newRow("whole") << quint64{5242880} << QStringLiteral("5 M");
    QTest::newRow("tenths") << quint64{1610612736} << QStringLiteral("1.5 G");
    QTest::newRow("cut off") << quint64{102399} << QStringLiteral("99.9 K");
}

void SamplesProgramTest::sizesAreShown()
{
    QFETCH(quint64, bytes);
    QTEST(readableSize(bytes), "text");
}

void SamplesProgramTest::jobIsWritten()
{
    QCOMPARE(run(QStringLiteral("job DIR --name Ctrl --size 200K --seed 4 --steps 2 --layers 2")), done);
    QCOMPARE(m_errors, QString());
    const QString job = path(QStringLiteral("a/ctrl"));
    QCOMPARE(m_out.section(QLatin1Char(':'), 0, 0), job);
    QVERIFY2(m_out.contains(QStringLiteral(": %1 files, ").arg(measureTree(job).files)), qPrintable(m_out));
    QVERIFY(QFileInfo(job + QStringLiteral("/steps/array/layers/l2_bot/features")).isFile());
}

void SamplesProgramTest::jobIsPacked()
{
    QCOMPARE(run(QStringLiteral("job DIR --name Ctrl --size 100K --seed 4 --archive kos")), done);
    QCOMPARE(readTree(path(QStringLiteral("a"))).keys(), QStringList(QStringLiteral("Ctrl.kos")));
    QVERIFY2(m_out.contains(QLatin1String(", packed ")), qPrintable(m_out));
}

void SamplesProgramTest::batchIsListedForAPerson()
{
    QCOMPARE(run(QStringLiteral("batch DIR --seed 4 --companies 1 --jobs 8 --size 100K --unknown-company")),
             done);
    QCOMPARE(m_errors, QString());
    QVERIFY2(m_out.startsWith(QStringLiteral("深圳华兴电路 [HX]\n  folder   ")), qPrintable(m_out));
    QVERIFY2(m_out.contains(QStringLiteral("未登记公司 (known to no site)\n")), qPrintable(m_out));
    const BatchResult same = sameBatch(1, 8, true);
    QCOMPARE(same.error, QString());
    for (const BatchCompany& company : same.companies)
        for (const BatchEntry& entry : company.entries)
            QVERIFY2(
                m_out.contains(QStringLiteral("  %1  (%2 files, %3")
                                   .arg(entry.name, QString::number(entry.files), readableSize(entry.bytes))),
                qPrintable(entry.name));
    QVERIFY(m_out.contains(QStringLiteral("manifest broken)")));
    QVERIFY(m_out.contains(QStringLiteral("beside the companies\n  refused  misplaced.tgz")));
}

void SamplesProgramTest::batchIsListedAsJson()
{
    QCOMPARE(
        run(QStringLiteral("batch DIR --seed 4 --companies 2 --jobs 8 --size 100K --unknown-company --json")),
        done);
    QJsonParseError error{};
    const QJsonObject listing = QJsonDocument::fromJson(m_out.toUtf8(), &error).object();
    QCOMPARE(error.error, QJsonParseError::NoError);
    QCOMPARE(listing.value(QStringLiteral("directory")).toString(), path(QStringLiteral("a")));
    QCOMPARE(listing.value(QStringLiteral("seed")).toString(), QStringLiteral("4"));
    const QJsonArray companies = listing.value(QStringLiteral("companies")).toArray();
    QCOMPARE(companies.size(), 3);
    QCOMPARE(companies.at(0).toObject().value(QStringLiteral("name")).toString(),
             QStringLiteral("深圳华兴电路"));
    QCOMPARE(companies.at(0).toObject().value(QStringLiteral("code")).toString(), QStringLiteral("HX"));
    QCOMPARE(companies.at(0).toObject().value(QStringLiteral("known")), QJsonValue(true));
    QCOMPARE(companies.at(2).toObject().value(QStringLiteral("known")), QJsonValue(false));
    const QJsonArray entries = companies.at(0).toObject().value(QStringLiteral("entries")).toArray();
    QCOMPARE(entries.size(), 11);
    const BatchResult same = sameBatch(2, 8, true);
    QCOMPARE(same.error, QString());
    const BatchEntry& first = same.companies.front().entries.front();
    const QJsonObject wantedEntry{{QStringLiteral("name"), first.name},
                                  {QStringLiteral("kind"), QStringLiteral("folder")},
                                  {QStringLiteral("manifest"), QStringLiteral("good")},
                                  {QStringLiteral("resource"), first.texts.resource},
                                  {QStringLiteral("customer2"), first.texts.customer2},
                                  {QStringLiteral("customer3"), first.texts.customer3},
                                  {QStringLiteral("files"), static_cast<double>(first.files)},
                                  {QStringLiteral("bytes"), static_cast<double>(first.bytes)}};
    QCOMPARE(entries.at(0).toObject(), wantedEntry);
    QCOMPARE(entries.at(1).toObject().value(QStringLiteral("kind")).toString(), QStringLiteral("archive"));
    QCOMPARE(entries.at(10).toObject().value(QStringLiteral("kind")).toString(), QStringLiteral("refused"));
    QCOMPARE(listing.value(QStringLiteral("outside")).toArray().size(), 1);
}

void SamplesProgramTest::helpNeedsNothing_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("tells");
    const QString usage = QStringLiteral("Usage: zav_samples job DIR --name NAME --size SIZE --seed N [");
    const QString archive = QStringLiteral("--archive KIND");
    const QString companies = QStringLiteral("--companies N");
    QTest::newRow("--help") << QStringLiteral("--help") << usage;
    QTest::newRow("-h") << QStringLiteral("-h") << usage;
    QTest::newRow("before a verb") << QStringLiteral("--help job DIR") << usage;
    QTest::newRow("job --help") << QStringLiteral("job --help") << archive;
    QTest::newRow("job -h") << QStringLiteral("job -h") << archive;
    QTest::newRow("behind other options") << QStringLiteral("job DIR --name a --help") << archive;
    QTest::newRow("batch --help") << QStringLiteral("batch --help") << companies;
    QTest::newRow("batch -h") << QStringLiteral("batch -h") << companies;
}

void SamplesProgramTest::helpNeedsNothing()
{
    QFETCH(QString, arguments);
    QFETCH(QString, tells);
    QCOMPARE(run(arguments), done);
    QVERIFY2(m_out.contains(tells), qPrintable(m_out));
    QCOMPARE(m_errors, QString());
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("a"))));
}

void SamplesProgramTest::versionIsTheProjects_data()
{
    QTest::addColumn<QString>("arguments");
    for (const char* arguments : {"--version", "-v", "job --version", "batch --version"})
        QTest::newRow(arguments) << QString::fromLatin1(arguments);
}

void SamplesProgramTest::versionIsTheProjects()
{
    QFETCH(QString, arguments);
    QCOMPARE(run(arguments), done);
    QCOMPARE(m_out, QStringLiteral("zav_samples " ZAV_PROJECT_VERSION "\n"));
    QCOMPARE(m_errors, QString());
}

void SamplesProgramTest::wrongUseIsNamed_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("error");
    const auto row = [](const char* arguments, const char* error) {
        QTest::newRow(arguments) << QString::fromLatin1(arguments) << QString::fromLatin1(error);
    };
    row("", "\"job\" or \"batch\" is wanted");
    row("jobs DIR", "\"jobs\" is unknown: \"job\" or \"batch\" is wanted");
    row("job --name a --size 1M --seed 1", "exactly one directory is wanted");
    row("job DIR DIR --name a --size 1M --seed 1", "exactly one directory is wanted");
    row("job DIR --size 1M --seed 1", "--name is missing");
    row("job DIR --name a --seed 1", "--size is missing");
    row("job DIR --name a --size 1M", "--seed is missing");
    row("job DIR --name a --size 1X --seed 1", "--size wants a size such as 100K, 5M or 8G, not \"1X\"");
    row("job DIR --name a --size 99K --seed 1", "a job has 100 K to 8 G, not 99 K");
    row("job DIR --name a --size 9G --seed 1", "a job has 100 K to 8 G, not 9 G");
    row("job DIR --name a --size 1M --seed x", "--seed wants a number, not \"x\"");
    row("job DIR --name a --size 1M --seed 1 --steps x", "--steps wants a number, not \"x\"");
    row("job DIR --name a --size 1M --seed 1 --layers 0", "the number of layers must be 1 to 64, not 0");
    row("job DIR --name a --size 1M --seed 1 --archive tar", "--archive wants tgz, zip or kos, not \"tar\"");
    row("job DIR --name a --size 1M --seed 1 --colour red", "Unknown option 'colour'.");
    row("--colour red job DIR", "Unknown option 'colour'.");
    row("batch DIR --seed 1 --name a", "Unknown option 'name'.");
    row("batch DIR --seed 1 --json=yes", "Unexpected value after '--json'.");
    row("batch DIR", "--seed is missing");
    row("batch DIR --seed 1 --companies 0", "the number of companies must be 1 to 100, not 0");
    row("batch DIR --seed 1 --size 1K", "a job has 100 K to 8 G, not 1 K");
}

void SamplesProgramTest::wrongUseIsNamed()
{
    QFETCH(QString, arguments);
    QFETCH(QString, error);
    QCOMPARE(run(arguments), wrongUse);
    QCOMPARE(m_errors.section(QLatin1Char('\n'), 0, 0), QStringLiteral("zav_samples: ") + error);
    QVERIFY(m_errors.contains(QLatin1String("\nUsage: ")));
    QCOMPARE(m_out, QString());
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("a"))));
}

void SamplesProgramTest::failureIsNamed()
{
    QCOMPARE(run(QStringLiteral("job DIR --name a --size 100K --seed 1")), done);
    const Tree before = readTree(path(QStringLiteral("a")));
    QCOMPARE(run(QStringLiteral("job DIR --name a --size 100K --seed 1")), failed);
    QCOMPARE(m_errors, QStringLiteral("zav_samples: the folder %1 exists and is not empty\n")
                           .arg(path(QStringLiteral("a/a"))));
    QCOMPARE(run(QStringLiteral("batch DIR --seed 1")), failed);
    QCOMPARE(m_errors, QStringLiteral("zav_samples: the folder %1 exists and is not empty\n")
                           .arg(path(QStringLiteral("a"))));
    QCOMPARE(readTree(path(QStringLiteral("a"))), before);
}

void SamplesProgramTest::lostOutputIsAFailure()
{
    const QString full = QStringLiteral("/dev/full");
    if (!QFileInfo::exists(full))
        QSKIP("needs /dev/full");
    for (const char* arguments : {"--help", "--version"}) {
        QProcess program;
        program.setStandardOutputFile(full);
        program.start(QStringLiteral(ZAV_SAMPLES_PROGRAM), {QString::fromLatin1(arguments)});
        QVERIFY(program.waitForFinished(60000));
        QCOMPARE(program.exitCode(), failed);
        QCOMPARE(program.readAllStandardError(),
                 QByteArray("zav_samples: standard output cannot be written\n"));
    }
}

ZAV_REGISTER_TEST(samples_program, SamplesProgramTest, QCoreApplication)

#include "samples_program.moc"
