#include "samples/Program.h"
#include "samples/SizeText.h"
#include "tests/unit/SamplesTree.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <optional>

using namespace KOZAV::Samples;
using namespace KOZAV::Test;

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
    void helpIsShown();
    void wrongUseIsNamed_data();
    void wrongUseIsNamed();
    void failureIsNamed();

private:
    int run(const QString& arguments);
    [[nodiscard]] QString path(const QString& name) const { return m_dir->filePath(name); }

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_out;
    QString m_errors;
};

void SamplesProgramTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
}

/// Runs the program with the arguments, in which DIR stands for a folder that does not exist yet.
int SamplesProgramTest::run(const QString& arguments)
{
    QStringList list = arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    list.replaceInStrings(QStringLiteral("DIR"), path(QStringLiteral("a")));
    list.prepend(QStringLiteral("zav_samples"));
    m_out.clear();
    m_errors.clear();
    QTextStream out(&m_out);
    QTextStream errors(&m_errors);
    return runProgram(list, out, errors);
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
    QCOMPARE(run(QStringLiteral("job DIR --name Ctrl --size 200K --seed 4 --steps 2 --layers 2")), kExitDone);
    QCOMPARE(m_errors, QString());
    const QString job = path(QStringLiteral("a/ctrl"));
    QCOMPARE(m_out.section(QLatin1Char(':'), 0, 0), job);
    QVERIFY2(m_out.contains(QStringLiteral(": %1 files, ").arg(measureTree(job).files)), qPrintable(m_out));
    QVERIFY(QFileInfo(job + QStringLiteral("/steps/array/layers/l2_bot/features")).isFile());
}

void SamplesProgramTest::jobIsPacked()
{
    QCOMPARE(run(QStringLiteral("job DIR --name Ctrl --size 100K --seed 4 --archive kos")), kExitDone);
    QCOMPARE(readTree(path(QStringLiteral("a"))).keys(), QStringList(QStringLiteral("Ctrl.kos")));
    QVERIFY2(m_out.contains(QLatin1String(", packed ")), qPrintable(m_out));
}

void SamplesProgramTest::batchIsListedForAPerson()
{
    QCOMPARE(run(QStringLiteral("batch DIR --seed 4 --companies 1 --jobs 1 --size 100K --unknown-company")),
             kExitDone);
    QVERIFY2(m_out.startsWith(QStringLiteral("深圳华兴电路 [HX]\n  folder   ")), qPrintable(m_out));
    QVERIFY2(m_out.contains(QStringLiteral("未登记公司 (known to no site)\n")), qPrintable(m_out));
}

void SamplesProgramTest::batchIsListedAsJson()
{
    QCOMPARE(run(QStringLiteral("batch DIR --seed 4 --companies 2 --jobs 1 --size 100K --json")), kExitDone);
    const QJsonObject listing = QJsonDocument::fromJson(m_out.toUtf8()).object();
    QCOMPARE(listing.value(QStringLiteral("companies")).toArray().size(), 2);
}

void SamplesProgramTest::helpIsShown()
{
    QCOMPARE(run(QStringLiteral("job --help")), kExitDone);
    QVERIFY(m_out.startsWith(QLatin1String("usage: zav_samples job DIR --name NAME")));
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
    row("batch DIR", "--seed is missing");
    row("batch DIR --seed 1 --companies 0", "the number of companies must be 1 to 100, not 0");
    row("batch DIR --seed 1 --size 1K", "a job has 100 K to 8 G, not 1 K");
}

void SamplesProgramTest::wrongUseIsNamed()
{
    QFETCH(QString, arguments);
    QFETCH(QString, error);
    QCOMPARE(run(arguments), kExitUsage);
    QCOMPARE(m_errors.section(QLatin1Char('\n'), 0, 0), QStringLiteral("zav_samples: ") + error);
    QVERIFY(m_errors.contains(QLatin1String("\nusage: ")));
    QCOMPARE(m_out, QString());
    QVERIFY(!QFileInfo::exists(path(QStringLiteral("a"))));
}

void SamplesProgramTest::failureIsNamed()
{
    QCOMPARE(run(QStringLiteral("job DIR --name a --size 100K --seed 1")), kExitDone);
    const Tree before = readTree(path(QStringLiteral("a")));
    QCOMPARE(run(QStringLiteral("job DIR --name a --size 100K --seed 1")), kExitFailed);
    QCOMPARE(m_errors, QStringLiteral("zav_samples: the folder %1 exists and is not empty\n")
                           .arg(path(QStringLiteral("a/a"))));
    QCOMPARE(run(QStringLiteral("batch DIR --seed 1")), kExitFailed);
    QCOMPARE(m_errors, QStringLiteral("zav_samples: the folder %1 exists and is not empty\n")
                           .arg(path(QStringLiteral("a"))));
    QCOMPARE(readTree(path(QStringLiteral("a"))), before);
}

QTEST_GUILESS_MAIN(SamplesProgramTest)
#include "samplesProgram.moc"
