// Unpacking of job archives. host_hostile_archives has those that mean harm.

#include "host/odb/JobUnpacker.h"
#include "host/odb/WorkFolder.h"
#include "samples/JobGenerator.h"
#include "tests/support/FolderTree.h"
#include "tests/support/RefusedOpenat2.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace KOZAV;
using namespace KOZAV::Host;
using namespace KOZAV::Test;

namespace {

/// Runs a Python script that writes the archive named by its first argument.
QString archiveBy(const QTemporaryDir& folder, const QString& script)
{
    QString archive = folder.filePath(QStringLiteral("archive"));
    run(QStringLiteral("python3"), {QStringLiteral("-c"), script, archive});
    return archive;
}

UnpackResult unpack(const QTemporaryDir& folder, const QString& archive, const UnpackLimits& limits = {})
{
    UnpackRequest request;
    request.archive = archive;
    request.folder = folder.filePath(QStringLiteral("work/job"));
    request.limits = limits;
    return unpackJob(request);
}

const QString tarHead = QStringLiteral("import sys, tarfile, io\n"
                                       "t = tarfile.open(sys.argv[1], 'w:gz')\n"
                                       "def add(name, kind=tarfile.REGTYPE, link='', data=b'data'):\n"
                                       "    i = tarfile.TarInfo(name)\n"
                                       "    i.type, i.linkname = kind, link\n"
                                       "    i.size = len(data) if kind == tarfile.REGTYPE else 0\n"
                                       "    t.addfile(i, io.BytesIO(data))\n");

} // namespace

class HostUnpacker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void archivesOfEveryKind_data();
    void archivesOfEveryKind();
    void linksByWayOfAnotherMakeNothingOutside();
    void linkBehindALink();
    void linksWithinTheJob();
    void linkRule_data();
    void linkRule();
    void limits_data();
    void limits();
    void cancelledInTheMiddle();
    void notAnArchive();
    void cutArchive();
    void folderInUse();
};

void HostUnpacker::initTestCase()
{
    QVERIFY2(refuseOpenat2(), "openat2() cannot be refused in this process");
}

void HostUnpacker::archivesOfEveryKind_data()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("tgz") << int(Samples::ArchiveKind::Tgz);
    QTest::newRow("zip") << int(Samples::ArchiveKind::Zip);
    QTest::newRow("kos") << int(Samples::ArchiveKind::Kos);
}

void HostUnpacker::archivesOfEveryKind()
{
    QFETCH(int, kind);
    const QTemporaryDir folder;
    Samples::JobRequest request;
    request.directory = folder.path();
    request.name = QStringLiteral("board");
    const auto plain = Samples::generateJob(request);
    QVERIFY2(plain.ok(), qPrintable(plain.error));
    request.archive = Samples::ArchiveKind(kind);
    request.archiveName = QStringLiteral("archive");
    request.directory = folder.filePath(QStringLiteral("packed"));
    const auto packed = Samples::generateJob(request);
    QVERIFY2(packed.ok(), qPrintable(packed.error));

    const UnpackResult result = unpack(folder, packed.path);
    QVERIFY2(result.ok(), qPrintable(result.error));
    QCOMPARE(result.bytes, qint64(plain.bytes));
    QCOMPARE(filesOf(folder.filePath(QStringLiteral("work/job/board"))), filesOf(plain.path));
}

void HostUnpacker::linksByWayOfAnotherMakeNothingOutside()
{
    // The first link goes up 40 real folders to the job's own; in there the second one, which goes up as far
    // as its name is long, is the door to the root of the file system. Each alone stays inside.
    const QTemporaryDir folder;
    const QString outside = folder.filePath(QStringLiteral("outside"));
    const QString archive = archiveBy(
        folder, tarHead + QStringLiteral("deep = '/'.join('d%d' % i for i in range(40))\n"
                                         "add(deep + '/up', tarfile.SYMTYPE, '../' * 40)\n"
                                         "add(deep + '/up/evil', tarfile.SYMTYPE, '../' * 41)\n"
                                         "add(deep + '/up/evil%1/made/link', tarfile.SYMTYPE, 'f')\n"
                                         "t.close()\n")
                              .arg(outside));
    const UnpackResult result = unpack(folder, archive);
    QVERIFY2(result.error.contains(QStringLiteral("/up/evil cannot be made: a symbolic link is on the way")),
             qPrintable(result.error));
    QVERIFY(!QFileInfo::exists(outside));
    QVERIFY(!QFileInfo(folder.filePath(QStringLiteral("work/job/evil"))).isSymLink());
}

void HostUnpacker::linkBehindALink()
{
    const QTemporaryDir folder;
    const QString archive =
        archiveBy(folder, tarHead + QStringLiteral("add('b/f')\nadd('a', tarfile.SYMTYPE, 'b')\n"
                                                   "add('a/l', tarfile.SYMTYPE, 'f')\nt.close()\n"));
    const UnpackResult result = unpack(folder, archive);
    QVERIFY2(result.error.contains(QStringLiteral("the link a/l cannot be made")), qPrintable(result.error));
    QVERIFY(!QFileInfo(folder.filePath(QStringLiteral("work/job/b/l"))).isSymLink());
}

void HostUnpacker::linksWithinTheJob()
{
    const QTemporaryDir folder;
    const QString archive =
        archiveBy(folder, tarHead + QStringLiteral("add('a/l', tarfile.SYMTYPE, '../b/f')\nadd('b/f')\n"
                                                   "add('new/folder/d', tarfile.SYMTYPE, '../../b')\n"
                                                   "t.close()\n"));
    const UnpackResult result = unpack(folder, archive);
    QVERIFY2(result.ok(), qPrintable(result.error));
    for (const char* const path : {"work/job/a/l", "work/job/new/folder/d/f"}) {
        QFile linked(folder.filePath(QString::fromLatin1(path)));
        QVERIFY2(linked.open(QIODevice::ReadOnly), path);
        QCOMPARE(linked.readAll(), QByteArray("data"));
    }
}

void HostUnpacker::linkRule_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("target");
    QTest::addColumn<bool>("inside");
    QTest::newRow("beside") << QStringLiteral("a/l") << QByteArray("f") << true;
    QTest::newRow("up once") << QStringLiteral("a/l") << QByteArray("../f") << true;
    QTest::newRow("up too far") << QStringLiteral("a/l") << QByteArray("../../f") << false;
    QTest::newRow("at the top") << QStringLiteral("l") << QByteArray("../f") << false;
    QTest::newRow("down and up") << QStringLiteral("a/l") << QByteArray("b/../f") << false;
    QTest::newRow("dot") << QStringLiteral("l") << QByteArray(".") << true;
    QTest::newRow("empty") << QStringLiteral("l") << QByteArray("") << false;
    QTest::newRow("absolute") << QStringLiteral("l") << QByteArray("/f") << false;
}

void HostUnpacker::linkRule()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, target);
    QFETCH(bool, inside);
    QCOMPARE(linkStaysInside(path, target), inside);
}

void HostUnpacker::limits_data()
{
    QTest::addColumn<QString>("entries");
    QTest::addColumn<QString>("reason");
    QTest::newRow("entries") << QStringLiteral("[add('f%d' % i) for i in range(11)]")
                             << QStringLiteral("more than 10 entries");
    QTest::newRow("bytes") << QStringLiteral("import random\nadd('f', data=random.randbytes(300000))")
                           << QStringLiteral("more than 200000 bytes");
    QTest::newRow("ratio") << QStringLiteral("add('f', data=b'0' * 190000)")
                           << QStringLiteral("more than 50 times its size");
    QTest::newRow("depth") << QStringLiteral("add('a/b/c/d/e/f')")
                           << QStringLiteral("more than 4 folders deep");
}

void HostUnpacker::limits()
{
    QFETCH(QString, entries);
    QFETCH(QString, reason);
    const QTemporaryDir folder;
    UnpackLimits limits;
    limits.entries = 10;
    limits.totalBytes = 200000;
    limits.ratio = 50;
    limits.ratioFromBytes = 100000;
    limits.depth = 4;
    const UnpackResult result =
        unpack(folder, archiveBy(folder, tarHead + entries + QStringLiteral("\nt.close()\n")), limits);
    QVERIFY2(result.error.contains(reason), qPrintable(result.error));
}

void HostUnpacker::cancelledInTheMiddle()
{
    const QTemporaryDir folder;
    std::atomic<bool> cancelled{false};
    UnpackRequest request;
    request.archive =
        archiveBy(folder, tarHead + QStringLiteral("[add('f%d' % i) for i in range(50)]\nt.close()\n"));
    request.folder = folder.filePath(QStringLiteral("work"));
    request.cancelled = &cancelled;
    request.progress = [&cancelled](qint64) { cancelled = true; };
    const UnpackResult result = unpackJob(request);
    QVERIFY(result.cancelled);
    QVERIFY(!result.ok());
    QVERIFY(result.files < 50);
}

void HostUnpacker::notAnArchive()
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("text.tgz")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.write("this is no archive") > 0);
    file.close();
    const UnpackResult result = unpack(folder, file.fileName());
    QVERIFY2(result.error.startsWith(QStringLiteral("the archive cannot be read")), qPrintable(result.error));
    QVERIFY(!unpack(folder, folder.filePath(QStringLiteral("absent"))).ok());
}

void HostUnpacker::cutArchive()
{
    const QTemporaryDir folder;
    const QString archive = archiveBy(
        folder,
        tarHead + QStringLiteral("import random\nadd('f', data=random.randbytes(300000))\nt.close()\n"));
    QVERIFY(QFile::resize(archive, 100000));
    const UnpackResult result = unpack(folder, archive);
    QVERIFY2(result.error.startsWith(QStringLiteral("the archive cannot be read")), qPrintable(result.error));
}

void HostUnpacker::folderInUse()
{
    const QTemporaryDir folder;
    const QString archive = archiveBy(folder, tarHead + QStringLiteral("add('f')\nt.close()\n"));
    QVERIFY(QDir(folder.path()).mkpath(QStringLiteral("work/job/there")));
    QVERIFY(unpack(folder, archive).error.contains(QStringLiteral("is not empty")));
}

ZAV_REGISTER_TEST(host_unpacker, HostUnpacker, QCoreApplication)

#include "host_unpacker.moc"
