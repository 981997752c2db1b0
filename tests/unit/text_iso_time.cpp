#include "backend/Text.h"
#include "tests/support/TestProgram.h"

#include <QTest>

using KOZAV::Backend::isoTime;

class TextIsoTimeTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void isWhatQtWrites_data();
    void isWhatQtWrites();
    void invalidTimeIsEmpty();
};

void TextIsoTimeTest::isWhatQtWrites_data()
{
    QTest::addColumn<qint64>("milliseconds");
    QTest::newRow("epoch") << qint64(0);
    QTest::newRow("before it") << qint64(-1);
    QTest::newRow("every place") << qint64(1769847312456);
    QTest::newRow("leap day") << qint64(1709164799999);
    QTest::newRow("year 1") << QDateTime(QDate(1, 1, 1), QTime(0, 0), Qt::UTC).toMSecsSinceEpoch();
    QTest::newRow("year 9999")
        << QDateTime(QDate(9999, 12, 31), QTime(23, 59, 59, 999), Qt::UTC).toMSecsSinceEpoch();
    QTest::newRow("now") << QDateTime::currentMSecsSinceEpoch();
}

void TextIsoTimeTest::isWhatQtWrites()
{
    QFETCH(qint64, milliseconds);
    const QDateTime utc = QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC);
    QCOMPARE(isoTime(utc), utc.toString(Qt::ISODateWithMs).toLatin1());
    QCOMPARE(isoTime(utc.toOffsetFromUtc(3600)), isoTime(utc));
}

void TextIsoTimeTest::invalidTimeIsEmpty()
{
    QCOMPARE(isoTime(QDateTime()), QByteArray());
}

ZAV_REGISTER_TEST(text_iso_time, TextIsoTimeTest, KOZAV::Test::NoApplication)

#include "text_iso_time.moc"
