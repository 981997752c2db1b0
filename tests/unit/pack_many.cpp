#include "tests/support/PackBox.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

class PackManyTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void entriesThanAPlainArchiveCanHold();
};

void PackManyTest::entriesThanAPlainArchiveCanHold()
{
    constexpr int folders = 70;
    constexpr int filesEach = 1000;
    PackBox box;
    for (int folder = 0; folder < folders; ++folder) {
        for (int file = 0; file < filesEach; ++file) {
            const std::string name = std::to_string(folder) + '/' + std::to_string(file);
            writeFile(box.in(name), QByteArray::fromStdString(name));
        }
    }
    const auto packed = box.pack();
    QVERIFY2(packed.ok(), qPrintable(packed.message()));
    QCOMPARE(packed->files, qint64(folders * filesEach));
    const QStringList entries = entriesByPython(box.archive());
    QCOMPARE(entries.size(), folders * filesEach + folders);
    const ProgramEnd end =
        runProgram(QStringLiteral("unzip"), {QStringLiteral("-p"), box.archive(), QStringLiteral("69/999")});
    QCOMPARE(end.output, QByteArray("69/999"));
}

ZAV_REGISTER_TEST(pack_many, PackManyTest, QCoreApplication)

#include "pack_many.moc"
