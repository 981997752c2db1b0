// The digest of a folder's content: of the folder while it is packed, and of the archive afterwards.

#include "backend/pack/FolderDigest.h"
#include "tests/support/PackBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QFile>
#include <QTest>

#include <unistd.h>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

constexpr qint64 someTime = 1'700'000'001;

void makeLink(const PackBox& box, const char* target, const std::string& name)
{
    if (::symlink(target, box.in(name).c_str()) != 0)
        qFatal("cannot make a link");
}

/// The page of the layout in another language: reads the folder itself.
QByteArray digestByPython(const PackBox& box)
{
    const QString program = QStringLiteral(
        "import hashlib, os, sys\n"
        "top = os.fsencode(sys.argv[1])\n"
        "found = []\n"
        "for where, folders, files in os.walk(top):\n"
        "  for name in folders + files:\n"
        "    path = os.path.join(where, name)\n"
        "    if os.path.islink(path): found.append((b'link', path, os.readlink(path)))\n"
        "    elif os.path.isfile(path): found.append((b'file', path, open(path, 'rb').read()))\n"
        "text = b'folder content 1\\n'\n"
        "total = 0\n"
        "for name, kind, content in sorted((os.path.relpath(p, top), k, c) for k, p, c in found):\n"
        "  if name == b'readme.json': continue\n"
        "  total += len(content)\n"
        "  text += b'%s %d %s %d:%s\\n' % (kind, len(content),\n"
        "          hashlib.sha256(content).hexdigest().encode(), len(name), name)\n"
        "print(total, hashlib.sha256(text).hexdigest())\n");
    const ProgramEnd end = runProgram(QStringLiteral("python3"),
                                      {QStringLiteral("-c"), program, QString::fromStdString(box.folder())});
    if (end.exitCode != 0)
        qFatal("%s", end.output.constData());
    return end.output.trimmed();
}

QByteArray textOf(const Result<ContentDigest>& digest)
{
    return digest.ok() ? QByteArray::number(digest->length) + ' ' + digest->sha256
                       : digest.message().toUtf8();
}

/// What the packing tells; the archive is removed.
QByteArray packedDigest(const PackBox& box, int threads = 0)
{
    const auto packed = box.pack(threads);
    QFile::remove(box.archive());
    return packed.ok() ? textOf(packed->content) : packed.message().toUtf8();
}

using MakeFolder = void (*)(const PackBox& box);

void makeSmallJob(const PackBox& box)
{
    writeFile(box.in("matrix/matrix"), "STEP {\n}\n");
    writeFile(box.in("misc/info"), "JOB_NAME=a\n");
    writeFile(box.in("empty"), "");
    makeLink(box, "matrix/matrix", "link");
}

} // namespace

Q_DECLARE_METATYPE(MakeFolder)

class PackDigestTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void isTheOneOfTheLayout_data();
    void isTheOneOfTheLayout();
    void doesNotDependOnThreads();
    void doesNotDependOnTimes();
    void leavesOutTheManifestAtTheTop();
    void dependsOnEverythingElse_data();
    void dependsOnEverythingElse();
    void ofAnArchiveThatOthersWrote();
    void ofADamagedArchive_data();
    void ofADamagedArchive();
};

void PackDigestTest::isTheOneOfTheLayout_data()
{
    QTest::addColumn<MakeFolder>("make");
    const auto row = [](const char* what, MakeFolder make) { QTest::newRow(what) << make; };
    row("empty folder", [](const PackBox&) {});
    row("folders alone", [](const PackBox& box) { makeFolder(box.in("a/b")); });
    row("small job", makeSmallJob);
    row("links and empty files alone", [](const PackBox& box) {
        writeFile(box.in("b"), "");
        writeFile(box.in("d"), "");
        makeLink(box, "b", "a");
        makeLink(box, "b", "c");
        makeLink(box, "d", "e");
    });
    row("names", [](const PackBox& box) {
        writeFile(box.in("电路板 \xf0\x9f\x98\x80"), "another script");
        writeFile(box.in("a\nfile 1"), "newline");
        writeFile(box.in("a"), "folder beside");
        writeFile(box.in("a.b/c"), "before the slash");
        writeFile(box.in("a0/c"), "behind the slash");
        writeFile(box.in("Z/.hidden"), "hidden");
    });
    // The longest whole file, the shortest that is cut, and one whose last piece is short.
    row("long files", [](const PackBox& box) {
        constexpr int longestWhole = 8 << 20;
        writeFile(box.in("whole"), randomBytes(longestWhole, 1));
        writeFile(box.in("cut"), randomBytes(longestWhole + 1, 2));
        writeFile(box.in("short end"), featureLines((11 << 20) + 12345, 3));
        writeFile(box.in("small"), "between");
    });
    row("many files", [](const PackBox& box) {
        for (int i = 0; i < 400; ++i)
            writeFile(box.in("layers/" + std::to_string(i) + "/features"), featureLines(i, 4));
    });
}

void PackDigestTest::isTheOneOfTheLayout()
{
    QFETCH(const MakeFolder, make);
    const PackBox box;
    make(box);
    const auto packed = box.pack();
    QVERIFY2(packed.ok(), qPrintable(packed.message()));
    QCOMPARE(textOf(packed->content), digestByPython(box));
    QCOMPARE(textOf(digestPackedFolder(local(box.archive()))), digestByPython(box));
}

void PackDigestTest::doesNotDependOnThreads()
{
    const PackBox box;
    writeFile(box.in("long"), featureLines(12 << 20, 5));
    writeFile(box.in("longer"), featureLines(17 << 20, 6));
    makeSmallJob(box);
    const QByteArray one = packedDigest(box, 1);
    for (const int threads : {2, 5})
        QCOMPARE(packedDigest(box, threads), one);
    QCOMPARE(one, digestByPython(box));
}

void PackDigestTest::doesNotDependOnTimes()
{
    const PackBox box;
    makeSmallJob(box);
    const auto before = box.pack();
    QVERIFY2(before.ok(), qPrintable(before.message()));
    const QByteArray archive = readFile(local(box.archive()));
    QVERIFY(QFile::remove(box.archive()));
    setModified(box.in("matrix/matrix"), someTime);
    const auto packed = box.pack();
    QVERIFY2(packed.ok(), qPrintable(packed.message()));
    QCOMPARE(textOf(packed->content), textOf(before->content));
    QVERIFY(readFile(local(box.archive())) != archive);
}

void PackDigestTest::leavesOutTheManifestAtTheTop()
{
    const PackBox box;
    makeSmallJob(box);
    const QByteArray without = packedDigest(box);
    writeFile(box.in("readme.json"), "{\"resource\": \"one\"}");
    const auto packed = box.pack();
    QVERIFY2(packed.ok(), qPrintable(packed.message()));
    QCOMPARE(textOf(packed->content), without);
    QCOMPARE(textOf(digestPackedFolder(local(box.archive()))), without);
}

void PackDigestTest::dependsOnEverythingElse_data()
{
    QTest::addColumn<MakeFolder>("change");
    const auto row = [](const char* what, MakeFolder change) { QTest::newRow(what) << change; };
    row("content", [](const PackBox& box) { writeFile(box.in("matrix/matrix"), "STEP {\n}\r"); });
    row("another file", [](const PackBox& box) { writeFile(box.in("more"), ""); });
    row("a manifest elsewhere", [](const PackBox& box) { writeFile(box.in("misc/readme.json"), "{}"); });
    row("case of the manifest", [](const PackBox& box) { writeFile(box.in("Readme.json"), "{}"); });
    row("name", [](const PackBox& box) {
        QVERIFY(
            QFile::rename(QString::fromStdString(box.in("empty")), QString::fromStdString(box.in("full"))));
    });
    row("target of a link", [](const PackBox& box) {
        QVERIFY(QFile::remove(QString::fromStdString(box.in("link"))));
        makeLink(box, "misc/info", "link");
    });
    row("a file in place of a link", [](const PackBox& box) {
        QVERIFY(QFile::remove(QString::fromStdString(box.in("link"))));
        writeFile(box.in("link"), "matrix/matrix");
    });
}

void PackDigestTest::dependsOnEverythingElse()
{
    QFETCH(const MakeFolder, change);
    const PackBox box;
    makeSmallJob(box);
    const QByteArray before = packedDigest(box);
    change(box);
    QVERIFY(packedDigest(box) != before);
    QCOMPARE(packedDigest(box), digestByPython(box));
}

/// In the order in which the disk has the entries, without folders, and as a Unix program writes links.
void PackDigestTest::ofAnArchiveThatOthersWrote()
{
    const PackBox box;
    makeSmallJob(box);
    writeFile(box.in("电路板"), "another script");
    const QByteArray expected = packedDigest(box);
    const ProgramEnd end = runProgram(QStringLiteral("sh"),
                                      {QStringLiteral("-c"),
                                       QStringLiteral("cd \"$0\" && find . ! -type d | sort -r | bsdtar -cf "
                                                      "\"$1\" --format zip -T - -s ',^\\./,,'"),
                                       QString::fromStdString(box.folder()), box.archive()});
    QVERIFY2(end.exitCode == 0, end.output.constData());
    QCOMPARE(textOf(digestPackedFolder(local(box.archive()))), expected);
}

void PackDigestTest::ofADamagedArchive_data()
{
    QTest::addColumn<QByteArray>("content");
    const PackBox box;
    makeSmallJob(box);
    writeFile(box.in("features"), featureLines(100'000, 7));
    QVERIFY(box.pack().ok());
    const QByteArray archive = readFile(local(box.archive()));
    QTest::newRow("empty file") << QByteArray();
    QTest::newRow("no archive") << QByteArray(500, 'x');
    QTest::newRow("cut off") << archive.left(archive.size() - 100);
    QByteArray flipped = archive;
    const int inFeatures = archive.indexOf("features") + 2000;
    flipped[inFeatures] = static_cast<char>(~flipped.at(inFeatures));
    QTest::newRow("flipped byte") << flipped;
}

void PackDigestTest::ofADamagedArchive()
{
    QFETCH(const QByteArray, content);
    const PackBox box;
    writeFile(local(box.archive()), content);
    const auto digest = digestPackedFolder(local(box.archive()));
    QCOMPARE(digest.code(), ErrorCode::Corrupt);
    QVERIFY2(digest.message().contains(QStringLiteral("job.zip")), qPrintable(digest.message()));
}

ZAV_REGISTER_TEST(pack_digest, PackDigestTest, QCoreApplication)

#include "pack_digest.moc"
