#include "tests/support/PackBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

constexpr qint64 someTime = 1'700'000'001; // odd: an archive's own times are even

/// A job folder with one of everything.
void makeJob(const PackBox& box)
{
    writeFile(box.in("steps/pcb/layers/top/features"), featureLines(400'000, 1));
    writeFile(box.in("steps/pcb/layers/top/.hidden"), "hidden");
    writeFile(box.in("matrix/matrix"), "STEP {\n}\n");
    writeFile(box.in("matrix/a;b 'c' \"d\" %"), "odd name");
    writeFile(box.in("misc/电路板 \xf0\x9f\x98\x80"), "named in another script");
    writeFile(box.in("empty file"), "");
    writeFile(box.in("random"), randomBytes(200'000, 2));
    makeFolder(box.in("empty folder/inside"));
    makeFolder(box.in(".hidden folder"));
    if (::symlink("../matrix/matrix", box.in("misc/link").c_str()) != 0)
        qFatal("cannot make a link");
    ::chmod(box.in("matrix/matrix").c_str(), S_IRUSR | S_IWUSR | S_IXUSR | S_IRGRP);
}

/// Kinds, permissions and times of what is in a folder; unzip does not set the times of links.
QByteArray listing(const QString& folder)
{
    const QString script =
        QStringLiteral("cd \"$0\" && find . -mindepth 1 \\( -type l -printf '%p %y %l\\n' -o "
                       "-printf '%p %y %m %Ts\\n' \\) | sort");
    return runProgram(QStringLiteral("sh"), {QStringLiteral("-c"), script, folder}).output;
}

quint32 attributesOf(const QString& line)
{
    return line.section(QLatin1Char(' '), 3, 3).toUInt(nullptr, 16);
}

} // namespace

class PackContentTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void isTheSameAfterExtraction_data();
    void isTheSameAfterExtraction();
    void countsWhatItPacked();
    void hasUnixAttributes();
    void ofAnEmptyFolderIsAValidArchive();
    void ofLongFilesIsOneStream_data();
    void ofLongFilesIsOneStream();
    void namesWithNewlineAndBackslash();
    void doesNotDependOnThreadsOrOrder();
    void canBeReadByOthersAsTheUserWants();
};

void PackContentTest::isTheSameAfterExtraction_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("unzip") << QStringLiteral("unzip")
                           << QStringList{QStringLiteral("-q"), QStringLiteral("-d")};
    QTest::newRow("bsdtar") << QStringLiteral("bsdtar") << QStringList{QStringLiteral("-xpC")};
}

void PackContentTest::isTheSameAfterExtraction()
{
    QFETCH(const QString, program);
    QFETCH(QStringList, arguments);
    PackBox box;
    makeJob(box);
    const ProgramEnd found =
        runProgram(QStringLiteral("sh"),
                   {QStringLiteral("-c"),
                    QStringLiteral("find \"$0\" -depth -mindepth 1 -exec touch -h -d @%1 {} +").arg(someTime),
                    QString::fromStdString(box.folder())});
    QCOMPARE(found.exitCode, 0);
    const auto packed = box.pack();
    QVERIFY2(packed.ok(), qPrintable(packed.message()));

    const QString extracted = box.beside(QStringLiteral("extracted"));
    makeFolder(local(extracted));
    if (program == QLatin1String("unzip"))
        arguments << extracted << box.archive();
    else
        arguments << extracted << QStringLiteral("-f") << box.archive();
    const ProgramEnd end = runProgram(program, arguments);
    QVERIFY2(end.exitCode == 0, end.output.constData());
    const QString original = QString::fromStdString(box.folder());
    const ProgramEnd compared =
        runProgram(QStringLiteral("diff"),
                   {QStringLiteral("-r"), QStringLiteral("--no-dereference"), original, extracted});
    QVERIFY2(compared.exitCode == 0, compared.output.constData());
    if (program == QLatin1String("unzip"))
        QCOMPARE(listing(extracted), listing(original));
}

void PackContentTest::countsWhatItPacked()
{
    PackBox box;
    makeJob(box);
    const auto packed = box.pack();
    QVERIFY2(packed.ok(), qPrintable(packed.message()));
    QCOMPARE(packed->files, qint64(8));
    QCOMPARE(packed->folders, qint64(9));
    const QByteArray others = "hiddenSTEP {\n}\nodd namenamed in another script../matrix/matrix";
    QCOMPARE(packed->inputBytes, qint64(400'000 + 200'000 + others.size()));
    QCOMPARE(packed->archiveBytes, qint64(readFile(local(box.archive())).size()));
    QCOMPARE(entriesByPython(box.archive()).size(), 17);
    QCOMPARE(namesOf(box.archiveFolder()), QStringList(QStringLiteral("job.zip")));
}

void PackContentTest::hasUnixAttributes()
{
    PackBox box;
    writeFile(box.in("a"), "a");
    makeFolder(box.in("b"));
    QCOMPARE(::symlink("a", box.in("c").c_str()), 0);
    ::chmod(box.in("a").c_str(), S_IRUSR | S_IXUSR | S_IRGRP);
    QVERIFY(box.pack().ok());
    const QStringList entries = entriesByPython(box.archive());
    QCOMPARE(entries.size(), 3);
    QCOMPARE(attributesOf(entries.at(0)), 0100540U << 16U);
    QCOMPARE(attributesOf(entries.at(1)), 0040700U << 16U | 0x10U);
    QCOMPARE(attributesOf(entries.at(2)), 0120777U << 16U);
}

void PackContentTest::ofAnEmptyFolderIsAValidArchive()
{
    PackBox box;
    const auto packed = box.pack();
    QVERIFY2(packed.ok(), qPrintable(packed.message()));
    QCOMPARE(packed->archiveBytes, qint64(22));
    QCOMPARE(readFile(local(box.archive())), QByteArray("PK\x05\x06") + QByteArray(18, '\0'));
    QCOMPARE(entriesByPython(box.archive()), QStringList());
}

void PackContentTest::ofLongFilesIsOneStream_data()
{
    QTest::addColumn<QByteArray>("content");
    constexpr int mebibyte = 1 << 20;
    const QByteArray lines = featureLines(9 * mebibyte, 1);
    QTest::newRow("longest in one piece") << featureLines(8 * mebibyte, 2);
    QTest::newRow("one byte longer") << featureLines(8 * mebibyte + 1, 3);
    QTest::newRow("compressible") << lines + lines;
    QTest::newRow("incompressible") << randomBytes(10 * mebibyte, 4);
    QTest::newRow("zeros") << QByteArray(12 * mebibyte, '\0');
    QTest::newRow("mixed") << randomBytes(3'000'000, 5) + lines + QByteArray(3'000'000, '\0') +
                                  randomBytes(3'000'001, 6);
}

void PackContentTest::ofLongFilesIsOneStream()
{
    QFETCH(const QByteArray, content);
    PackBox box;
    writeFile(box.in("long"), content);
    writeFile(box.in("short"), "short");
    const auto packed = box.pack(3);
    QVERIFY2(packed.ok(), qPrintable(packed.message()));
    QCOMPARE(entriesByPython(box.archive()).size(), 2);
    const ProgramEnd end =
        runProgram(QStringLiteral("unzip"), {QStringLiteral("-p"), box.archive(), QStringLiteral("long")});
    QCOMPARE(end.exitCode, 0);
    QVERIFY(end.output == content);
}

void PackContentTest::namesWithNewlineAndBackslash()
{
    PackBox box;
    const QByteArrayList names = {"a\nb", "a\\b", "a\tb", QByteArray(255, 'n')};
    for (const QByteArray& name : names)
        writeFile(box.in(name.toStdString()), name);
    const auto packed = box.pack();
    QVERIFY2(packed.ok(), qPrintable(packed.message()));
    QStringList expected;
    for (const QByteArray& name : names)
        expected << QString::fromLatin1(name.toHex());
    expected.sort();
    QStringList found;
    for (const QString& entry : entriesByPython(box.archive()))
        found << entry.section(QLatin1Char(' '), 0, 0);
    QCOMPARE(found, expected);
}

void PackContentTest::doesNotDependOnThreadsOrOrder()
{
    const QByteArray content = randomBytes(9 << 20, 1) + featureLines(3 << 20, 1);
    std::vector<std::string> names = {"b", "a-b", "a/x", "a/y", "a.b", "Z", "a/sub/z"};
    QByteArray first;
    for (const int threads : {1, 2, 5}) {
        PackBox box;
        std::reverse(names.begin(), names.end());
        for (const std::string& name : names)
            writeFile(box.in(name), name == "b" ? content : QByteArray::fromStdString(name));
        for (const char* path : {"b", "a-b", "a/x", "a/y", "a.b", "Z", "a/sub/z", "a/sub", "a"})
            setModified(box.in(path), someTime);
        QVERIFY(box.pack(threads).ok());
        const QByteArray archive = readFile(local(box.archive()));
        if (first.isNull())
            first = archive;
        QVERIFY(archive == first);
        QStringList order;
        for (const QString& entry : entriesByPython(box.archive()))
            order << QString::fromUtf8(QByteArray::fromHex(entry.section(QLatin1Char(' '), 0, 0).toLatin1()));
        QCOMPARE(order.join(QLatin1Char(' ')), QStringLiteral("Z a-b a.b a/ a/sub/ a/sub/z a/x a/y b"));
    }
}

void PackContentTest::canBeReadByOthersAsTheUserWants()
{
    const mode_t before = ::umask(S_IWGRP | S_IRWXO);
    PackBox box;
    writeFile(box.in("a"), "a");
    const bool packed = box.pack().ok();
    ::umask(before);
    QVERIFY(packed);
    struct stat data = {};
    QCOMPARE(::stat(local(box.archive()).c_str(), &data), 0);
    QCOMPARE(data.st_mode & mode_t(07777), mode_t(0640));
}

ZAV_REGISTER_TEST(pack_content, PackContentTest, QCoreApplication)

#include "pack_content.moc"
