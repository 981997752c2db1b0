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

} // namespace

class PackPiecesTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void joinToOneStream_data();
    void joinToOneStream();
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

ZAV_REGISTER_TEST(pack_pieces, PackPiecesTest, QCoreApplication)

#include "pack_pieces.moc"
