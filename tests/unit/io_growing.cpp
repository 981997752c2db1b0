#include "backend/io/GrowingFile.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <thread>
#include <vector>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

/// A file to be written in steps.
class WrittenFile final
{
public:
    WrittenFile()
        : m_path(local(m_folder.filePath(QStringLiteral("file"))))
    {
        writeFile(m_path, {});
        m_file.setFileName(m_folder.filePath(QStringLiteral("file")));
        m_file.open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    }

    [[nodiscard]] const std::string& path() const { return m_path; }
    bool write(const char* bytes, qint64 size) { return m_file.write(bytes, size) == size; }

private:
    QTemporaryDir m_folder;
    std::string m_path;
    QFile m_file;
};

/// Everything that a reader gets, in the steps in which it becomes final.
Result<QByteArray> readToEnd(GrowingFile& growing)
{
    QByteArray content;
    for (;;) {
        const auto length = growing.waitBeyond(content.size());
        if (!length.ok())
            return length.status();
        const qint64 more = length.value() - content.size();
        if (more == 0)
            return content;
        std::vector<char> block(static_cast<std::size_t>(more));
        const auto read = growing.file().readAt(block.data(), more, content.size());
        if (!read.ok())
            return read.status();
        content.append(block.data(), static_cast<int>(read.value()));
    }
}

} // namespace

class IoGrowingTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void tellsWhatIsFinal();
    void neverGoesBack();
    void endIsFinal();
    void failureIsTold();
    void failureIsToldToOneWhoWaits();
    void missingFileCannotBegin();
    void everyByteArrivesOnce_data();
    void everyByteArrivesOnce();
    void readerThatGivesUpHoldsUpNobody();
};

void IoGrowingTest::tellsWhatIsFinal()
{
    GrowingFile growing;
    growing.advance(10);
    QCOMPARE(growing.waitBeyond(0).value(), qint64(10));
    QCOMPARE(growing.waitBeyond(9).value(), qint64(10));
    QCOMPARE(growing.readBytes(), qint64(9));
    growing.finish(12);
    QCOMPARE(growing.waitBeyond(10).value(), qint64(12));
    QCOMPARE(growing.waitBeyond(12).value(), qint64(12));
    QCOMPARE(growing.waitForEnd().value(), qint64(12));
    QVERIFY(!growing.isGivenUp());
}

void IoGrowingTest::neverGoesBack()
{
    GrowingFile growing;
    growing.advance(10);
    growing.advance(5);
    QCOMPARE(growing.waitBeyond(0).value(), qint64(10));
}

void IoGrowingTest::endIsFinal()
{
    GrowingFile finished;
    finished.finish(3);
    finished.fail(Status::io(QStringLiteral("too late")));
    finished.advance(9);
    QCOMPARE(finished.waitForEnd().value(), qint64(3));
    QCOMPARE(finished.waitBeyond(3).value(), qint64(3));

    GrowingFile failed;
    failed.fail(Status::noSpace(QStringLiteral("full")));
    failed.finish(3);
    QCOMPARE(failed.waitForEnd().code(), ErrorCode::NoSpace);
}

/// Also where final bytes are left: they are of no use.
void IoGrowingTest::failureIsTold()
{
    GrowingFile growing;
    growing.advance(10);
    growing.fail(Status::noSpace(QStringLiteral("full")));
    const auto beyond = growing.waitBeyond(5);
    QCOMPARE(beyond.code(), ErrorCode::NoSpace);
    QCOMPARE(beyond.message(), QStringLiteral("full"));
    QCOMPARE(growing.waitForEnd().code(), ErrorCode::NoSpace);
}

void IoGrowingTest::failureIsToldToOneWhoWaits()
{
    for (int round = 0; round < 200; ++round) {
        GrowingFile growing;
        Status seen;
        std::thread reader([&] { seen = growing.waitBeyond(0).status(); });
        growing.fail(Status::io(QStringLiteral("the disk is gone")));
        reader.join();
        QCOMPARE(seen.code(), ErrorCode::Io);
    }
}

void IoGrowingTest::missingFileCannotBegin()
{
    const QTemporaryDir folder;
    GrowingFile growing;
    QCOMPARE(growing.begin(local(folder.filePath(QStringLiteral("none"))), "name").code(),
             ErrorCode::NotFound);
}

void IoGrowingTest::everyByteArrivesOnce_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("step");
    QTest::newRow("nothing") << 0 << 1;
    QTest::newRow("byte by byte") << 20'000 << 1;
    QTest::newRow("small steps") << 1'000'000 << 37;
    QTest::newRow("large steps") << 8'000'000 << 1'000'003;
}

void IoGrowingTest::everyByteArrivesOnce()
{
    QFETCH(int, size);
    QFETCH(int, step);
    WrittenFile file;
    const QByteArray content = randomBytes(size, 5);
    GrowingFile growing;
    QVERIFY(growing.begin(file.path(), file.path()).ok());
    bool written = true;
    std::thread writer([&] {
        for (int done = 0; done < size; done += step) {
            const int count = std::min(step, size - done);
            written = written && file.write(content.constData() + done, count);
            growing.advance(done + count);
        }
        growing.finish(size);
    });
    const auto read = readToEnd(growing);
    writer.join();
    QVERIFY(written);
    QVERIFY2(read.ok(), qPrintable(read.message()));
    QVERIFY(read.value() == content);
    QCOMPARE(growing.readBytes(), qint64(size));
}

void IoGrowingTest::readerThatGivesUpHoldsUpNobody()
{
    GrowingFile growing;
    std::thread reader([&] {
        (void)growing.waitBeyond(100);
        growing.giveUp();
    });
    qint64 done = 0;
    while (!growing.isGivenUp())
        growing.advance(++done);
    reader.join();
    QVERIFY(done > 100);
    growing.advance(done + 1);
    growing.finish(done + 1);
    QCOMPARE(growing.waitForEnd().value(), done + 1);
}

ZAV_REGISTER_TEST(io_growing, IoGrowingTest, QCoreApplication)

#include "io_growing.moc"
