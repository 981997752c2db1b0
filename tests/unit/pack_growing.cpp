#include "backend/io/GrowingFile.h"
#include "tests/support/PackBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QFile>
#include <QTest>

#include <sys/stat.h>

#include <thread>
#include <vector>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

/// What a reader gets behind a writer: each byte once, as soon as it is final.
struct Read
{
    Status failure;
    QByteArray content;
    int steps = 0;
};

Read readToEnd(GrowingFile& growing)
{
    Read read;
    for (;; ++read.steps) {
        const auto length = growing.waitBeyond(read.content.size());
        if (!length.ok()) {
            read.failure = length.status();
            return read;
        }
        const qint64 more = length.value() - read.content.size();
        if (more == 0)
            return read;
        std::vector<char> block(static_cast<std::size_t>(more));
        const auto got = growing.file().readAt(block.data(), more, read.content.size());
        if (!got.ok() || got.value() != more) {
            read.failure =
                got.ok() ? Status::io(QStringLiteral("there are fewer bytes than were final")) : got.status();
            return read;
        }
        read.content.append(block.data(), static_cast<int>(more));
    }
}

Result<PackResult> packGrowing(const PackBox& box, int threads, GrowingFile& growing)
{
    PackRequest request;
    request.folder = box.folder();
    request.target = local(box.archive());
    request.threads = threads;
    request.isStaged = true;
    request.growing = &growing;
    return packFolder(request);
}

} // namespace

class PackGrowingTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void readerGetsTheArchive_data();
    void readerGetsTheArchive();
    void digestIsThatOfTheArchive();
    void failureIsToldToTheReader();
    void endsWhenItIsGivenUp();
};

void PackGrowingTest::readerGetsTheArchive_data()
{
    QTest::addColumn<int>("files");
    QTest::addColumn<int>("size");
    QTest::newRow("nothing") << 0 << 0;
    QTest::newRow("empty files") << 30 << 0;
    QTest::newRow("one small file") << 1 << 10;
    QTest::newRow("many small files") << 2000 << 500;
    QTest::newRow("files as long as the buffer") << 7 << (256 << 10);
    QTest::newRow("long files") << 3 << (9 << 20);
}

/// Also where libzip goes back to headers that are on the disk already.
void PackGrowingTest::readerGetsTheArchive()
{
    QFETCH(const int, files);
    QFETCH(const int, size);
    PackBox box;
    for (int i = 0; i < files; ++i)
        writeFile(box.in("f" + std::to_string(i)), randomBytes(size, static_cast<quint32>(i)));
    for (const int threads : {1, 3}) {
        GrowingFile growing;
        Read read;
        std::thread reader([&] { read = readToEnd(growing); });
        const auto packed = packGrowing(box, threads, growing);
        reader.join();
        QVERIFY2(packed.ok(), qPrintable(packed.message()));
        QVERIFY2(read.failure.ok(), qPrintable(read.failure.message()));
        QVERIFY(read.content == readFile(local(box.archive())));
        QCOMPARE(qint64(read.content.size()), packed->archiveBytes);
        QVERIFY(files != 2000 || read.steps > 1);
        QVERIFY(QFile::remove(box.archive()));
    }
}

void PackGrowingTest::digestIsThatOfTheArchive()
{
    PackBox box;
    for (int i = 0; i < 5; ++i)
        writeFile(box.in("f" + std::to_string(i)), featureLines(400'000, static_cast<quint32>(i)));
    GrowingFile growing;
    Result<ContentDigest> digest = Status::internal(QStringLiteral("not read"));
    std::thread reader([&] { digest = digestGrowing(growing); });
    const auto packed = packGrowing(box, 2, growing);
    reader.join();
    QVERIFY2(packed.ok(), qPrintable(packed.message()));
    QVERIFY2(digest.ok(), qPrintable(digest.message()));
    QCOMPARE(digest->length, packed->archiveBytes);
    const QByteArray archive = readFile(local(box.archive()));
    QCOMPARE(digest->sha256, QCryptographicHash::hash(archive, QCryptographicHash::Sha256).toHex());
}

void PackGrowingTest::failureIsToldToTheReader()
{
    PackBox box;
    writeFile(box.in("a"), "content");
    QCOMPARE(::mkfifo(box.in("pipe").c_str(), S_IRUSR | S_IWUSR), 0);
    GrowingFile growing;
    const auto packed = packGrowing(box, 2, growing);
    QCOMPARE(packed.code(), ErrorCode::InvalidArgument);
    const auto end = growing.waitForEnd();
    QCOMPARE(end.code(), ErrorCode::InvalidArgument);
    QCOMPARE(end.message(), packed.message());
    QCOMPARE(namesOf(box.archiveFolder()), QStringList());
}

void PackGrowingTest::endsWhenItIsGivenUp()
{
    PackBox box;
    for (int i = 0; i < 100; ++i)
        writeFile(box.in("f" + std::to_string(i)), randomBytes(300'000, static_cast<quint32>(i)));
    GrowingFile growing;
    std::thread reader([&] {
        (void)growing.waitBeyond(0);
        growing.giveUp();
    });
    const auto packed = packGrowing(box, 2, growing);
    reader.join();
    QCOMPARE(packed.code(), ErrorCode::Stopped);
    QCOMPARE(growing.waitForEnd().code(), ErrorCode::Stopped);
    QCOMPARE(namesOf(box.archiveFolder()), QStringList());
}

ZAV_REGISTER_TEST(pack_growing, PackGrowingTest, QCoreApplication)

#include "pack_growing.moc"
