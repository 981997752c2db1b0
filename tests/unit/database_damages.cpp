#include "tests/support/FilledDatabase.h"
#include "tests/support/FlawText.h"
#include "tests/support/TemporaryDatabase.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <algorithm>
#include <limits>
#include <random>

using namespace KOZAV::Backend;
using namespace KOZAV::Test;

/// How many of 60 damages each of the three looks at a database finds: the one at opening, the daily reading,
/// and the examination. The damages are spread over a database of 9 MB by a generator with a fixed seed: 45
/// single bits, 15 ends cut off.
class DatabaseDamagesTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void eachLookFindsItsShare();
    void openingTakesItsTimeOnly();

private:
    TemporaryDatabase m_whole;
};

namespace {

constexpr int jobs = 8000;
constexpr int bitFlips = 45;
constexpr int cuts = 15;
constexpr qint64 expectedBytes = 9'000'000;

struct Found
{
    int opening = 0;
    int reading = 0;
    int examination = 0;
};

/// Has all three look at the same damaged file.
void count(const DatabaseSettings& settings, Found& found)
{
    found.opening += Database::open(settings).ok() ? 0 : 1;
    found.reading += Database::readThrough(settings).ok() ? 0 : 1;
    const auto flaws = Database::examine(settings);
    found.examination += flaws.ok() && flaws->empty() ? 0 : 1;
}

void flipBit(const QString& path, std::mt19937_64& numbers)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    const qint64 place = static_cast<qint64>(numbers() % static_cast<quint64>(file.size()));
    char byte = 0;
    QVERIFY(file.seek(place) && file.getChar(&byte) && file.seek(place));
    QVERIFY(file.putChar(static_cast<char>(byte ^ (1 << (numbers() % 8)))));
}

} // namespace

void DatabaseDamagesTest::initTestCase()
{
    {
        const auto database = m_whole.open();
        QVERIFY(database);
        const Status filled = addJobs(*database, jobs);
        QVERIFY2(filled.ok(), qPrintable(filled.message()));
        QCOMPARE(flawsOf(*database), QString());
    }
    QVERIFY2(std::abs(QFileInfo(m_whole.file()).size() - expectedBytes) < expectedBytes / 10,
             qPrintable(QString::number(QFileInfo(m_whole.file()).size())));
}

void DatabaseDamagesTest::eachLookFindsItsShare()
{
    std::mt19937_64 numbers(20260131);
    Found flips;
    Found cutOff;
    for (int i = 0; i < bitFlips + cuts; ++i) {
        const TemporaryDatabase copy;
        QVERIFY(QFile::copy(m_whole.file(), copy.file()));
        const qint64 length = QFileInfo(copy.file()).size();
        if (i < bitFlips)
            flipBit(copy.file(), numbers);
        else
            QVERIFY(
                QFile::resize(copy.file(), static_cast<qint64>(numbers() % static_cast<quint64>(length))));
        count(copy.settings(), i < bitFlips ? flips : cutOff);
    }
    qInfo("of %d bits: opening %d, reading %d, examination %d; of %d cuts: %d, %d, %d", bitFlips,
          flips.opening, flips.reading, flips.examination, cuts, cutOff.opening, cutOff.reading,
          cutOff.examination);
    QVERIFY(flips.opening <= flips.reading);
    QVERIFY(flips.reading > 0);
    QVERIFY(flips.examination > bitFlips / 2);
    QCOMPARE(cutOff.opening, cuts);
    QCOMPARE(cutOff.reading, cuts);
    QCOMPARE(cutOff.examination, cuts);
}

void DatabaseDamagesTest::openingTakesItsTimeOnly()
{
    constexpr int rounds = 5;
    qint64 fastest = std::numeric_limits<qint64>::max();
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer timer;
        timer.start();
        const auto database = m_whole.open();
        fastest = std::min(fastest, timer.nsecsElapsed());
    }
    qInfo("opened in %.1f ms", static_cast<double>(fastest) / 1e6);
    constexpr qint64 longestNs = 50'000'000;
    QVERIFY(fastest < longestNs);
}

ZAV_REGISTER_TEST(database_damages, DatabaseDamagesTest, QCoreApplication)

#include "database_damages.moc"
