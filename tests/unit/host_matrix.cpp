// Reading the matrix of a job.

#include "host/odb/OdbJob.h"
#include "tests/support/RefusedOpenat2.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <sys/sysmacros.h>

using namespace KOZAV::Host;
using namespace KOZAV::Test;

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
    void initTestCase();
    void stepsAndLayersInOrder();
    void drillsKnowWhatTheyJoin();
    void otherBlocksKeysAndCommentsArePassedOver();
    void windowsLineEnds();
    void errors_data();
    void errors();
    void jobInTheFolderItself();
    void jobInAFolderWithin();
    void notAJob();
    void matrixThatIsNotReadByItsKind_data();
    void matrixThatIsNotReadByItsKind();
    void readableMatrixBesideOneThatIsNot();
    void deviceAsMatrix();
    void matrixThatIsTooLong();
};

void HostMatrix::initTestCase()
{
    QVERIFY2(refuseOpenat2(), "openat2() cannot be refused in this process");
}

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

void HostMatrix::matrixThatIsNotReadByItsKind_data()
{
    QTest::addColumn<QString>("command"); // run in the job's folder
    QTest::addColumn<QString>("reason");
    const QString notRegular = QStringLiteral("matrix/matrix cannot be read: it is not a regular file");
    const QString link = QStringLiteral("matrix/matrix cannot be read: a symbolic link is on the way");
    QTest::newRow("pipe") << QStringLiteral("mkdir matrix; mkfifo matrix/matrix") << notRegular;
    QTest::newRow("folder") << QStringLiteral("mkdir -p matrix/matrix") << notRegular;
    QTest::newRow("link outside") << QStringLiteral("mkdir matrix; ln -s ../../other matrix/matrix") << link;
    QTest::newRow("link to a device")
        << QStringLiteral("mkdir matrix; ln -s /dev/zero matrix/matrix") << link;
    QTest::newRow("link to a pipe") << QStringLiteral("mkfifo p; mkdir matrix; ln -s ../p matrix/matrix")
                                    << link;
    QTest::newRow("link inside") << QStringLiteral("cp ../other m; mkdir matrix; ln -s ../m matrix/matrix")
                                 << link;
    QTest::newRow("folder linked outside")
        << QStringLiteral("mkdir ../m; cp ../other ../m/matrix; ln -s ../m matrix") << link;
    QTest::newRow("job linked outside")
        << QStringLiteral("mkdir -p ../j/matrix; cp ../other ../j/matrix/matrix; "
                          "ln -s ../j board")
        << QStringLiteral("there is no matrix/matrix");
    QTest::newRow("pipe in a folder within")
        << QStringLiteral("mkdir -p board/matrix; mkfifo board/matrix/matrix")
        << QStringLiteral("board/matrix/matrix cannot be read: it is not a regular file");
}

void HostMatrix::matrixThatIsNotReadByItsKind()
{
    QFETCH(QString, command);
    QFETCH(QString, reason);
    const QTemporaryDir folder;
    QFile other(folder.filePath(QStringLiteral("other")));
    QVERIFY(other.open(QIODevice::WriteOnly));
    QVERIFY(other.write(step + layer(1, "top")) > 0);
    other.close();
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("job")));
    QProcess shell;
    shell.setWorkingDirectory(folder.filePath(QStringLiteral("job")));
    shell.start(QStringLiteral("sh"), {QStringLiteral("-ec"), command});
    QVERIFY(shell.waitForFinished() && shell.exitCode() == 0);

    const OdbJob job = openOdbJob(folder.filePath(QStringLiteral("job")));
    QVERIFY2(job.error.startsWith(reason), qPrintable(job.error));
    QVERIFY(job.matrix.layers.empty());
}

void HostMatrix::readableMatrixBesideOneThatIsNot()
{
    const QTemporaryDir folder;
    writeMatrix(folder.filePath(QStringLiteral("board")), step + layer(1, "top"));
    QVERIFY(QDir(folder.path()).mkpath(QStringLiteral("aaa/matrix/matrix")));
    QVERIFY(QFile::link(QStringLiteral("board"), folder.filePath(QStringLiteral("bbb"))));
    const OdbJob job = openOdbJob(folder.path());
    QCOMPARE(job.error, QString());
    QCOMPARE(job.name, QStringLiteral("board"));
}

void HostMatrix::deviceAsMatrix()
{
    const QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkpath(QStringLiteral("matrix")));
    const QByteArray path = QFile::encodeName(folder.filePath(QStringLiteral("matrix/matrix")));
    if (::mknod(path.constData(), S_IFCHR | 0600, makedev(1, 5)) != 0)
        QSKIP("a device can be made by root only");
    QCOMPARE(openOdbJob(folder.path()).error,
             QStringLiteral("matrix/matrix cannot be read: it is not a regular file"));
}

void HostMatrix::matrixThatIsTooLong()
{
    const QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkpath(QStringLiteral("matrix")));
    QFile file(folder.filePath(QStringLiteral("matrix/matrix")));
    constexpr qint64 limit = 64LL * 1024 * 1024;
    QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(limit + 1));
    QCOMPARE(openOdbJob(folder.path()).error,
             QStringLiteral("the matrix cannot be read: it is longer than 67108864 bytes"));
}

ZAV_REGISTER_TEST(host_matrix, HostMatrix, QCoreApplication)

#include "host_matrix.moc"
