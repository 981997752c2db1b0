#include "backend/pack/PieceCompressor.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <zlib.h>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

const unsigned char* bytesOf(const QByteArray& bytes)
{
    return reinterpret_cast<const unsigned char*>(bytes.constData());
}

/// What a reader gets from a raw deflate stream that has to end where its bytes end; null where it is broken.
QByteArray inflated(std::vector<unsigned char>& stream, int expectedSize)
{
    QByteArray output(expectedSize + 1, '?');
    z_stream state = {};
    if (inflateInit2(&state, -MAX_WBITS) != Z_OK)
        return {};
    state.next_in = stream.data();
    state.avail_in = static_cast<uInt>(stream.size());
    state.next_out = reinterpret_cast<unsigned char*>(output.data());
    state.avail_out = static_cast<uInt>(output.size());
    const int result = inflate(&state, Z_FINISH);
    const bool whole = result == Z_STREAM_END && state.avail_in == 0;
    output.truncate(static_cast<int>(state.total_out));
    inflateEnd(&state);
    return whole ? output : QByteArray();
}

/// The length of content as one piece; -1 where that fails.
int packedSize(const QByteArray& content, int level)
{
    std::vector<unsigned char> piece;
    const auto size = static_cast<std::size_t>(content.size());
    const Status compressed = PieceCompressor(level).compress(bytesOf(content), size, true, &piece);
    return compressed.ok() && inflated(piece, content.size()) == content ? static_cast<int>(piece.size())
                                                                         : -1;
}

/// The same few lines over and over, with a number in each that differs.
QByteArray repeatedLines(int size)
{
    QByteArray lines;
    for (int i = 0; lines.size() < size; ++i)
        lines += "L 12.3450 67.8900 12.3450 " + QByteArray::number(i % 977) + ".5000 4 P 0 ;1=0.2540,7\n";
    return lines;
}

} // namespace

class PackPiecesTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void joinToOneStream_data();
    void joinToOneStream();
    void thatAreDenseAreStored_data();
    void thatAreDenseAreStored();
    void thatRepeatThemselvesStaySmall();
};

void PackPiecesTest::joinToOneStream_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("pieceSize");
    QTest::newRow("lines") << featureLines(3'000'000, 1) << (1 << 20);
    QTest::newRow("random") << randomBytes(3'000'000, 2) << (1 << 20);
    QTest::newRow("zeros") << QByteArray(3'000'000, '\0') << (1 << 20);
    QTest::newRow("one piece") << featureLines(1'000'000, 3) << (1 << 20);
    QTest::newRow("single bytes") << QByteArray("single bytes") << 1;
    // Small pieces end at every place within a byte.
    for (const int size : {2, 3, 5, 7, 11, 50, 333, 4096, 65535, 65537})
        QTest::addRow("lines in pieces of %d", size) << featureLines(20 * size + 1, 4) << size;
    for (const int size : {3, 100, 5000})
        QTest::addRow("random in pieces of %d", size) << randomBytes(30 * size, 5) << size;
}

void PackPiecesTest::joinToOneStream()
{
    QFETCH(const QByteArray, content);
    QFETCH(const int, pieceSize);
    for (int level = 1; level <= 9; ++level) {
        PieceCompressor compressor(level);
        std::vector<unsigned char> stream;
        std::vector<unsigned char> piece;
        for (int at = 0; at < content.size(); at += pieceSize) {
            const int size = qMin(pieceSize, content.size() - at);
            const Status compressed = compressor.compress(bytesOf(content) + at, static_cast<size_t>(size),
                                                          at + size == content.size(), &piece);
            QVERIFY2(compressed.ok(), qPrintable(compressed.message()));
            stream.insert(stream.end(), piece.begin(), piece.end());
        }
        QVERIFY(inflated(stream, content.size()) == content);
    }
}

void PackPiecesTest::thatAreDenseAreStored_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("mostBytes");
    const QByteArray dense = randomBytes(600'000, 6);
    const QByteArray lines = featureLines(600'000, 7);
    constexpr int blockHeader = 5;
    QTest::newRow("dense") << dense << dense.size() + (dense.size() / 65535 + 1) * blockHeader;
    QTest::newRow("dense in the middle") << lines + dense + lines << 1'200'000;
    QTest::newRow("dense at the beginning") << dense + lines << 900'000;
    QTest::newRow("dense at the end") << lines + dense << 900'000;
    QTest::newRow("dense but for the middle") << dense + lines + dense << 1'500'000;
}

void PackPiecesTest::thatAreDenseAreStored()
{
    QFETCH(const QByteArray, content);
    QFETCH(const int, mostBytes);
    for (int level = 1; level <= 9; ++level) {
        const int size = packedSize(content, level);
        QVERIFY2(size > 0 && size <= mostBytes, qPrintable(QString::number(size)));
    }
}

/// Whatever level is taken for them: they lose a fiftieth of their content at most.
void PackPiecesTest::thatRepeatThemselvesStaySmall()
{
    for (const int size : {255'000, 300'000, 2'000'000}) {
        const QByteArray content = repeatedLines(size);
        const int small = packedSize(content, 6);
        const int usual = packedSize(content, 5);
        QVERIFY(small > 0);
        QVERIFY2(usual > 0 && usual <= small + content.size() / 50,
                 qPrintable(QStringLiteral("%1 and %2").arg(usual).arg(small)));
    }
}

ZAV_REGISTER_TEST(pack_pieces, PackPiecesTest, QCoreApplication)

#include "pack_pieces.moc"
