#include "backend/check/ReadingState.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace KOZAV::Backend;

/// How far a reading of all stored files came, kept over its interruption.
class CheckReadingStateTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void goesOnBehindThePlace();
    void newFilesAreReadAgain();
    void badFilesAreReadAgain();
    void isDroppedUnlessAskedFor();
    void isDroppedAtTheEnd();
    void whatDoesNotFitIsDropped_data();
    void whatDoesNotFitIsDropped();
    void firstPlaceIsWrittenAtOnce();
    void oneCheckAtATime();

private:
    [[nodiscard]] std::unique_ptr<ReadingState> open(bool goOn, const char* site = "site") const
    {
        auto state = ReadingState::open(m_cache, QString::fromLatin1(site), goOn);
        if (!state.ok())
            qFatal("%s", qPrintable(state.message()));
        return std::move(state.value());
    }
    [[nodiscard]] QString file() const { return m_cache + QStringLiteral("check-state"); }

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_cache; ///< that does not exist at first
};

namespace {

const QDateTime longAgo = QDateTime(QDate(2020, 1, 1), QTime(), Qt::UTC);

} // namespace

void CheckReadingStateTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_cache = m_folder->filePath(QStringLiteral("download/"));
}

void CheckReadingStateTest::goesOnBehindThePlace()
{
    {
        const auto first = open(false);
        QVERIFY(!first->wentOnFrom().isValid());
        QVERIFY(!first->isRead({"a", "fs"}, longAgo));
        first->reached({"a", "fs"});
        first->reached({"m\xff", "fs"});
    }
    const auto second = open(true);
    QVERIFY(second->wentOnFrom().isValid());
    QVERIFY(second->isRead({"a", "fs"}, longAgo));
    QVERIFY(second->isRead({"m\xff", "fa"}, longAgo));
    QVERIFY(second->isRead({"m\xff", "fs"}, longAgo));
    QVERIFY(!second->isRead({"m\xff", "ft"}, longAgo));
    QVERIFY(!second->isRead({"n", "fa"}, longAgo));
}

void CheckReadingStateTest::newFilesAreReadAgain()
{
    open(false)->reached({"m", "fs"});
    const auto second = open(true);
    QVERIFY(second->isRead({"a", "fs"}, second->wentOnFrom()));
    QVERIFY(!second->isRead({"a", "fs"}, second->wentOnFrom().addMSecs(1)));
    QVERIFY(!second->isRead({"a", "fs"}, QDateTime()));
}

void CheckReadingStateTest::badFilesAreReadAgain()
{
    {
        const auto first = open(false);
        first->notGood({"b", "fs"});
        first->reached({"m", "fs"});
    }
    // Kept over a second interruption as well.
    open(true)->reached({"n", "fs"});
    const auto third = open(true);
    QVERIFY(!third->isRead({"b", "fs"}, longAgo));
    QVERIFY(third->isRead({"b", "older"}, longAgo));
    QVERIFY(third->isRead({"n", "fs"}, longAgo));
}

void CheckReadingStateTest::isDroppedUnlessAskedFor()
{
    open(false)->reached({"m", "fs"});
    QVERIFY(!open(false)->isRead({"a", "fs"}, longAgo));
    QVERIFY(!QFile::exists(file()));
    QVERIFY(!open(true)->wentOnFrom().isValid());
}

void CheckReadingStateTest::isDroppedAtTheEnd()
{
    {
        const auto first = open(false);
        first->reached({"m", "fs"});
        QVERIFY(QFile::exists(file()));
        first->finish();
    }
    QVERIFY(!QFile::exists(file()));
}

void CheckReadingStateTest::whatDoesNotFitIsDropped_data()
{
    QTest::addColumn<QByteArray>("from");
    QTest::addColumn<QByteArray>("to");
    const QByteArray today = QDate::currentDate().toString(Qt::ISODate).toLatin1();
    const QByteArray weekAgo = QDate::currentDate().addDays(-8).toString(Qt::ISODate).toLatin1();
    QTest::newRow("another site") << QByteArray("\"site\":\"site\"") << QByteArray("\"site\":\"other\"");
    QTest::newRow("another format") << QByteArray("\"version\":1") << QByteArray("\"version\":2");
    QTest::newRow("a week old") << today << weekAgo;
    QTest::newRow("cut off") << QByteArray("}") << QByteArray();
}

void CheckReadingStateTest::whatDoesNotFitIsDropped()
{
    QFETCH(const QByteArray, from);
    QFETCH(const QByteArray, to);
    open(false)->reached({"m", "fs"});
    QFile state(file());
    QVERIFY(state.open(QIODevice::ReadOnly));
    const QByteArray before = state.readAll();
    state.close();
    QVERIFY(before.contains(from));
    QVERIFY(state.open(QIODevice::WriteOnly));
    QVERIFY(state.write(QByteArray(before).replace(from, to)) > 0);
    state.close();
    QVERIFY(!open(true)->wentOnFrom().isValid());
    QVERIFY(!QFile::exists(file()));
}

/// A kill at any time after leaves it.
void CheckReadingStateTest::firstPlaceIsWrittenAtOnce()
{
    const auto state = open(false);
    QVERIFY(!QFile::exists(file()));
    state->reached({"a", "fs"});
    QVERIFY(QFile::exists(file()));
    QCOMPARE(QFile::permissions(file()) & (QFile::ReadOther | QFile::ReadGroup), QFile::Permissions());
}

void CheckReadingStateTest::oneCheckAtATime()
{
    const auto first = open(false);
    const auto second = ReadingState::open(m_cache, QStringLiteral("site"), true);
    QCOMPARE(second.code(), ErrorCode::Unavailable);
    QVERIFY2(second.message().contains(QStringLiteral("another check")), qPrintable(second.message()));
}

ZAV_REGISTER_TEST(check_reading_state, CheckReadingStateTest, QCoreApplication)

#include "check_reading_state.moc"
