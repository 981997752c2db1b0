#include "tests/support/PackBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

#include <sys/resource.h>
#include <unistd.h>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

namespace {

constexpr qint64 gibibyte = 1LL << 30;
constexpr qint64 hugeLength = 5 * gibibyte + 17;

qint64 largestMemory()
{
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<qint64>(usage.ru_maxrss) * 1024;
}

} // namespace

class PackHugeTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void filesNeedLittleMemory();
};

void PackHugeTest::filesNeedLittleMemory()
{
    PackBox box;
    writeFile(box.in("before"), "before");
    writeFile(box.in("huge"), "");
    writeFile(box.in("later"), "later");
    QCOMPARE(::truncate(box.in("huge").c_str(), hugeLength), 0);
    const qint64 memoryBefore = largestMemory();
    const auto packed = box.pack();
    QVERIFY2(packed.ok(), qPrintable(packed.message()));
    QCOMPARE(packed->inputBytes, hugeLength + 11);
    QVERIFY2(largestMemory() - memoryBefore < gibibyte / 4, qPrintable(QString::number(largestMemory())));
    // Python reads the huge entry to its end and compares its CRC-32.
    const QStringList entries = entriesByPython(box.archive());
    QCOMPARE(entries.size(), 3);
    QVERIFY(entries.at(1).startsWith(QString::fromLatin1(QByteArray("huge").toHex()) +
                                     QStringLiteral(" 5368709137 ")));
    QVERIFY(
        entries.at(2).startsWith(QString::fromLatin1(QByteArray("later").toHex()) + QStringLiteral(" 5 ")));
}

ZAV_REGISTER_TEST(pack_huge, PackHugeTest, QCoreApplication)

#include "pack_huge.moc"
