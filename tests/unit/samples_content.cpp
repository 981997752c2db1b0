#include "samples/JobGenerator.h"
#include "tests/support/TestProgram.h"
#include "tests/unit/SamplesTree.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace KOZAV::Samples;
using namespace KOZAV::Test;

/// Reads a generated job the way a program that opens it would.
class SamplesContentTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void expectedFilesArePresent_data();
    void expectedFilesArePresent();
    void emptyFoldersArePresent();
    void checkSumFilesStateTheirFile();
    void matrixRowsHaveTheirFolders();
    void drillsNameTheirCopperLayers();
    void panelsRepeatSteps();
    void featuresFilesAreSound();
    void featuresLieInsideTheProfile();

private:
    [[nodiscard]] QString path(const QString& name) const { return m_job + QLatin1Char('/') + name; }
    [[nodiscard]] QList<QByteArray> lines(const QString& name) const
    {
        return readFile(path(name)).split('\n');
    }
    [[nodiscard]] QStringList featuresFiles() const;
    [[nodiscard]] QList<QMap<QByteArray, QByteArray>> matrixBlocks(const QByteArray& kind) const;

    QTemporaryDir m_dir;
    QString m_job;
};

namespace {

const QList<QByteArray> steps{"pcb", "array", "panel"};

/// The number in the line "F n" of a features file.
qint64 statedFeatures(const QList<QByteArray>& lines)
{
    for (const QByteArray& line : lines)
        if (line.startsWith("F "))
            return line.mid(2).toLongLong();
    return -1;
}

bool isFeature(const QByteArray& line)
{
    return line.startsWith("P ") || line.startsWith("L ") || line.startsWith("S ");
}

/// How many numbers of the record are coordinates.
int coordinates(const QByteArray& record)
{
    if (record.startsWith("L "))
        return 4;
    return record.startsWith("P ") || record.startsWith("OB ") || record.startsWith("OS ") ? 2 : 0;
}

/// Number of the symbol that the record is drawn with; -1 for records without one.
int symbolOf(const QByteArray& record)
{
    return record.startsWith("S ") || !isFeature(record)
               ? -1
               : record.split(' ').at(coordinates(record) + 1).toInt();
}

/// Largest x and y of the profile.
QPair<double, double> extent(const QList<QByteArray>& profile)
{
    QPair<double, double> largest(0, 0);
    for (const QByteArray& line : profile)
        if (line.startsWith("OS ")) {
            largest.first = qMax(largest.first, line.split(' ').at(1).toDouble());
            largest.second = qMax(largest.second, line.split(' ').at(2).toDouble());
        }
    return largest;
}

} // namespace

void SamplesContentTest::initTestCase()
{
    JobRequest request;
    request.directory = m_dir.path();
    request.name = QStringLiteral("job");
    request.bytes = 2U << 20U;
    request.seed = 11;
    request.steps = 3;
    request.layers = 6;
    const JobResult result = generateJob(request);
    QCOMPARE(result.error, QString());
    m_job = result.path;
}

QStringList SamplesContentTest::featuresFiles() const
{
    QStringList files;
    const QStringList names = readTree(m_job).keys();
    for (const QString& name : names)
        if (name.endsWith(QLatin1String("/features")) && QFileInfo(path(name)).size() > 0)
            files.append(name);
    return files;
}

QList<QMap<QByteArray, QByteArray>> SamplesContentTest::matrixBlocks(const QByteArray& kind) const
{
    static const QRegularExpression block(QStringLiteral("(STEP|LAYER) \\{\\n(.*?)\\n\\}\\n"),
                                          QRegularExpression::DotMatchesEverythingOption);
    QList<QMap<QByteArray, QByteArray>> blocks;
    auto matches = block.globalMatch(QString::fromLatin1(readFile(path(QStringLiteral("matrix/matrix")))));
    while (matches.hasNext()) {
        const auto match = matches.next();
        if (match.captured(1).toLatin1() != kind)
            continue;
        QMap<QByteArray, QByteArray> fields;
        const auto fieldLines = match.captured(2).toLatin1().split('\n');
        for (const QByteArray& line : fieldLines)
            fields.insert(line.trimmed().split('=').at(0), line.split('=').at(1));
        blocks.append(fields);
    }
    return blocks;
}

void SamplesContentTest::expectedFilesArePresent_data()
{
    QTest::addColumn<QString>("name");
    for (const char* name : {"matrix/matrix", "matrix/.matrix.sum", "misc/info", "misc/.info.sum",
                             "misc/attrlist", "misc/job_name", "steps/pcb/stephdr", "steps/pcb/profile",
                             "steps/pcb/attrlist", "steps/pcb/layers/l1_top/features",
                             "steps/pcb/layers/l1_top/.features.sum", "steps/pcb/layers/l6_bot/attrlist",
                             "steps/pcb/layers/comp_+_top/attrlist", "steps/panel/layers/l1_top/features"})
        QTest::newRow(name) << QString::fromLatin1(name);
}

void SamplesContentTest::expectedFilesArePresent()
{
    QFETCH(QString, name);
    QVERIFY(QFileInfo(path(name)).isFile());
    QVERIFY(QFileInfo(path(name)).size() > 0);
}

void SamplesContentTest::emptyFoldersArePresent()
{
    for (const char* name : {"input", "user"}) {
        const QDir folder(path(QString::fromLatin1(name)));
        QVERIFY2(folder.exists(), name);
        QVERIFY2(folder.isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), name);
    }
}

void SamplesContentTest::checkSumFilesStateTheirFile()
{
    int checked = 0;
    const QStringList names = readTree(m_job).keys();
    for (const QString& name : names) {
        if (!name.endsWith(QLatin1String(".sum")))
            continue;
        QString file = name;
        file.chop(4);
        file.remove(file.lastIndexOf(QLatin1Char('.')), 1);
        const QByteArray content = readFile(path(file));
        quint32 sum = 0;
        for (const char byte : content)
            sum += static_cast<unsigned char>(byte);
        const QByteArray stated =
            "SIZE=" + QByteArray::number(content.size()) + "\nSUM=" + QByteArray::number(sum) + "\n";
        QVERIFY2(readFile(path(name)).startsWith(stated), qPrintable(name));
        ++checked;
    }
    QVERIFY(checked > 50);
}

void SamplesContentTest::matrixRowsHaveTheirFolders()
{
    const auto stepBlocks = matrixBlocks("STEP");
    const auto layerBlocks = matrixBlocks("LAYER");
    QCOMPARE(stepBlocks.size(), steps.size());
    for (int step = 0; step < steps.size(); ++step) {
        QCOMPARE(stepBlocks.at(step).value("NAME"), steps.at(step).toUpper());
        QCOMPARE(stepBlocks.at(step).value("COL"), QByteArray::number(step + 1));
        QStringList wanted;
        for (int row = 0; row < layerBlocks.size(); ++row) {
            QCOMPARE(layerBlocks.at(row).value("ROW"), QByteArray::number(row + 1));
            wanted.append(QString::fromLatin1(layerBlocks.at(row).value("NAME").toLower()));
        }
        const QDir folder(path(QStringLiteral("steps/%1/layers").arg(QString::fromLatin1(steps.at(step)))));
        QStringList found = folder.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
        wanted.sort();
        found.sort();
        QCOMPARE(found, wanted);
    }
}

void SamplesContentTest::drillsNameTheirCopperLayers()
{
    QList<QByteArray> copper;
    QMap<QByteArray, QByteArray> spans;
    const auto blocks = matrixBlocks("LAYER");
    for (const auto& block : blocks) {
        if (block.value("TYPE") == "SIGNAL" || block.value("TYPE") == "POWER_GROUND")
            copper.append(block.value("NAME"));
        if (block.value("TYPE") == "DRILL")
            spans.insert(block.value("NAME"), block.value("START_NAME") + ">" + block.value("END_NAME"));
    }
    QCOMPARE(copper.size(), 6);
    QCOMPARE(spans.size(), 2);
    QCOMPARE(spans.value("DRILL"), copper.first() + ">" + copper.last());
    QCOMPARE(spans.value("DRILL_1-2"), copper.first() + ">" + copper.at(1));
}

void SamplesContentTest::panelsRepeatSteps()
{
    QVERIFY(!readFile(path(QStringLiteral("steps/pcb/stephdr"))).contains("STEP-REPEAT"));
    QVERIFY(readFile(path(QStringLiteral("steps/array/stephdr"))).contains("STEP-REPEAT {\n    NAME=PCB\n"));
    QVERIFY(
        readFile(path(QStringLiteral("steps/panel/stephdr"))).contains("STEP-REPEAT {\n    NAME=ARRAY\n"));
}

void SamplesContentTest::featuresFilesAreSound()
{
    static const QRegularExpression record(
        QStringLiteral("^(P( [\\d.]+){2} \\d+ P 0 [0-3];0=\\d,1=\\d+|L( [\\d.]+){4} \\d+ P 0;0=\\d,1=\\d+|"
                       "S P 0|OB( [\\d.]+){2} I|OS( [\\d.]+){2}|OE|SE|)$"));
    const QStringList files = featuresFiles();
    QVERIFY(files.size() > 40);
    for (const QString& name : files) {
        const auto content = lines(name);
        QVERIFY2(content.at(0) == "UNITS=INCH", qPrintable(name));
        const int begin = content.indexOf("#Layer features") + 2;
        int symbols = 0;
        for (int line = 0; line < begin; ++line)
            symbols += content.at(line).startsWith('$') ? 1 : 0;
        qint64 features = 0;
        for (int line = begin; line < content.size(); ++line) {
            const QByteArray& text = content.at(line);
            QVERIFY2(record.match(QString::fromLatin1(text)).hasMatch(),
                     (name.toLatin1() + ": " + text).constData());
            QVERIFY2(symbolOf(text) < symbols, (name.toLatin1() + ": " + text).constData());
            features += isFeature(text) ? 1 : 0;
        }
        QVERIFY2(features == statedFeatures(content), qPrintable(name));
    }
}

void SamplesContentTest::featuresLieInsideTheProfile()
{
    for (const QByteArray& step : steps) {
        const QString folder = QStringLiteral("steps/%1/").arg(QString::fromLatin1(step));
        const auto board = extent(lines(folder + QStringLiteral("profile")));
        QVERIFY(board.first > 1 && board.second > 1);
        const QStringList files = featuresFiles().filter(folder);
        for (const QString& name : files) {
            const auto content = lines(name);
            for (int line = content.indexOf("#Layer features") + 2; line < content.size(); ++line) {
                const auto fields = content.at(line).split(' ');
                for (int i = 0; i < coordinates(content.at(line)); ++i) {
                    const double value = fields.at(i + 1).toDouble();
                    const double most = i % 2 == 0 ? board.first : board.second;
                    QVERIFY2(value >= 0 && value <= most,
                             (name.toLatin1() + ": " + content.at(line)).constData());
                }
            }
        }
    }
}

ZAV_REGISTER_TEST(samples_content, SamplesContentTest, QCoreApplication)

#include "samples_content.moc"
