// Reading the matrix of a job.

#include "host/odb/Matrix.h"
#include "host/odb/OdbJob.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace KOZAV::Host;

namespace {

const QByteArray step = "STEP {\n    COL=1\n    NAME=PCB\n}\n";

QByteArray layer(int row, const char* name, const char* more = "")
{
    return "LAYER {\n    ROW=" + QByteArray::number(row) +
           "\n    CONTEXT=BOARD\n    TYPE=SIGNAL\n    NAME=" + name + "\n    POLARITY=POSITIVE\n" + more +
           "}\n";
}

} // namespace

class HostMatrix : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stepsAndLayersInOrder();
    void drillsKnowWhatTheyJoin();
    void otherBlocksKeysAndCommentsArePassedOver();
    void windowsLineEnds();
    void errors_data();
    void errors();
    void jobInTheFolderItself();
    void jobInAFolderWithin();
    void notAJob();
};

void HostMatrix::stepsAndLayersInOrder()
{
    const Matrix matrix =
        readMatrix("STEP {\nCOL=2\nNAME=panel\n}\n" + step + layer(2, "bottom") + layer(1, "top"));
    QCOMPARE(matrix.error, QString());
    QCOMPARE(int(matrix.steps.size()), 2);
    QCOMPARE(matrix.steps[0].name, QStringLiteral("PCB"));
    QCOMPARE(matrix.steps[1].name, QStringLiteral("panel"));
    QCOMPARE(int(matrix.layers.size()), 2);
    QCOMPARE(matrix.layers[0].name, QStringLiteral("top"));
    QCOMPARE(matrix.layers[0].type, QStringLiteral("SIGNAL"));
    QCOMPARE(matrix.layers[0].polarity, QStringLiteral("POSITIVE"));
    QVERIFY(matrix.layers[0].isBoard());
}

void HostMatrix::drillsKnowWhatTheyJoin()
{
    const Matrix matrix = readMatrix(step + layer(1, "drill", "START_NAME=top\nEND_NAME=bottom\n"));
    QCOMPARE(matrix.layers[0].startName, QStringLiteral("top"));
    QCOMPARE(matrix.layers[0].endName, QStringLiteral("bottom"));
}

void HostMatrix::otherBlocksKeysAndCommentsArePassedOver()
{
    const Matrix matrix = readMatrix("# comment\nNOTES {\nROW=x\n}\n" + step +
                                     layer(1, "名=a", "COLOR=3\nADD_TYPE=\n\n# more\n"));
    QCOMPARE(matrix.error, QString());
    QCOMPARE(matrix.layers[0].name, QStringLiteral("名=a"));
}

void HostMatrix::windowsLineEnds()
{
    const Matrix matrix = readMatrix(QByteArray(step + layer(1, "top")).replace("\n", "\r\n"));
    QCOMPARE(matrix.error, QString());
    QCOMPARE(matrix.layers[0].name, QStringLiteral("top"));
}

void HostMatrix::errors_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("error");
    QTest::newRow("empty") << QByteArray() << QStringLiteral("matrix line 1: there is no step");
    QTest::newRow("no layer") << step << QStringLiteral("matrix line 5: there is no layer");
    QTest::newRow("open block") << QByteArray(step + "LAYER {\nROW=1\n")
                                << QStringLiteral("matrix line 7: the last block is not closed");
    QTest::newRow("no value") << QByteArray("STEP {\nCOL\n}")
                              << QStringLiteral("matrix line 2: \"COL\" is not of the form KEY=VALUE");
    QTest::newRow("no block") << QByteArray("COL=1\n")
                              << QStringLiteral("matrix line 1: \"COL=1\" does not begin a block");
    QTest::newRow("row is text") << QByteArray(step + "LAYER {\nROW=one\nNAME=a\n}\n")
                                 << QStringLiteral("matrix line 8: ROW is missing or not a number");
    QTest::newRow("no name") << QByteArray("STEP {\nCOL=1\n}\n")
                             << QStringLiteral("matrix line 3: the step has no name");
    QTest::newRow("binary") << QByteArray("\x1f\x8b\x08\x00\x00", 5)
                            << QStringLiteral("matrix line 1: \"\" does not begin a block");
}

void HostMatrix::errors()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, error);
    const QString found = readMatrix(text).error;
    if (QByteArray(QTest::currentDataTag()) == "binary")
        QVERIFY2(found.endsWith(QStringLiteral("does not begin a block")), qPrintable(found));
    else
        QCOMPARE(found, error);
}

namespace {

void writeMatrix(const QString& folder, const QByteArray& text)
{
    QVERIFY(QDir().mkpath(folder + QStringLiteral("/matrix")));
    QFile file(folder + QStringLiteral("/matrix/matrix"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(text), qint64(text.size()));
}

} // namespace

void HostMatrix::jobInTheFolderItself()
{
    const QTemporaryDir folder;
    writeMatrix(folder.path(), step + layer(1, "top"));
    const OdbJob job = openOdbJob(folder.path());
    QCOMPARE(job.error, QString());
    QCOMPARE(job.folder, folder.path());
}

void HostMatrix::jobInAFolderWithin()
{
    const QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkpath(QStringLiteral("aaa")));
    writeMatrix(folder.filePath(QStringLiteral("board")), step + layer(1, "top"));
    const OdbJob job = openOdbJob(folder.path());
    QCOMPARE(job.error, QString());
    QCOMPARE(job.name, QStringLiteral("board"));
}

void HostMatrix::notAJob()
{
    const QTemporaryDir folder;
    QVERIFY(openOdbJob(folder.path()).error.contains(QStringLiteral("not an ODB++ job")));
    writeMatrix(folder.path(), "nonsense\n");
    QVERIFY(openOdbJob(folder.path()).error.startsWith(QStringLiteral("matrix line 1")));
}

QTEST_GUILESS_MAIN(HostMatrix)
#include "hostMatrix.moc"
