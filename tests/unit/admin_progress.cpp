#include "admin/MigrationDisplay.h"
#include "terminal/ProgressLine.h"
#include "tests/support/TestProgram.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QTest>

using namespace KOZAV::Admin;
using namespace KOZAV::Terminal;
using KOZAV::Backend::MigrationProgress;
using Phase = MigrationProgress::Phase;

/// How far a migration has come, as it is shown on a terminal and in a log.
class AdminProgressTest final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void terminalIsRedrawnTenTimesASecond();
    void barFitsTheTerminal_data();
    void barFitsTheTerminal();
    void barLeavesItsLastState();
    void elsewhereALineForEveryTenth();
    void elsewhereALineEveryFiveSeconds();
    void nothingIsShownNowhere();
    void rateAndRemainingTime_data();
    void rateAndRemainingTime();
    void wholeOnlyWithTheLastFile();

private:
    [[nodiscard]] ProgressLine line(bool terminal, int columns = 80)
    {
        return ProgressLine(&m_out, {terminal, columns}, [this] { return m_now; });
    }
    [[nodiscard]] QStringList written(const QString& mark) const
    {
        return QString::fromUtf8(m_out.data()).split(mark, Qt::SkipEmptyParts);
    }

    QBuffer m_out;
    qint64 m_now = 0;
};

namespace {

QString text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

MigrationProgress files(qint64 done, qint64 all, qint64 bytes, qint64 allBytes)
{
    MigrationProgress progress;
    progress.phase = Phase::Files;
    progress.files = done;
    progress.filesTotal = all;
    progress.bytes = bytes;
    progress.bytesTotal = allBytes;
    return progress;
}

} // namespace

void AdminProgressTest::init()
{
    m_out.close();
    m_out.setData({});
    QVERIFY(m_out.open(QIODevice::WriteOnly));
    m_now = 5000;
}

void AdminProgressTest::terminalIsRedrawnTenTimesASecond()
{
    {
        ProgressLine shown = line(true);
        for (int i = 0; i < 2000; ++i, ++m_now)
            shown.show(text("rows"), i / 2000.0, QString::number(i));
        QCOMPARE(written(text("\r")).size(), 20);
        shown.show(text("rows"), 1, text("2000"));
        QCOMPARE(written(text("\r")).size(), 21);
        shown.show(text("verifying"), 0, text("0")); // another task at once
    }
    const QStringList frames = written(text("\r"));
    QCOMPARE(frames.size(), 22);
    QVERIFY2(frames[10].startsWith(text("rows [####################--------------------]  50%  1000")),
             qPrintable(frames[10]));
    QVERIFY(frames[10].endsWith(text("\x1b[K")));
    QVERIFY2(frames[20].contains(text("] 100%  2000")), qPrintable(frames[20]));
    QVERIFY(frames[21].startsWith(text("verifying [----")));
}

void AdminProgressTest::barFitsTheTerminal_data()
{
    QTest::addColumn<int>("columns");
    for (const int columns : {300, 80, 60, 50, 30, 10, 1})
        QTest::addRow("%d", columns) << columns;
}

void AdminProgressTest::barFitsTheTerminal()
{
    QFETCH(const int, columns);
    ProgressLine shown = line(true, columns);
    shown.show(text("files"), 0.5, text("785/2000, 75.1 of 190.7 MiB, 150.1 MiB/s, 0:01 left"));
    QString frame = written(text("\r")).value(0);
    frame.chop(3); // the rest of the line is cleared
    QVERIFY2(frame.size() < std::max(columns, 2), qPrintable(frame));
    QCOMPARE(frame.contains(QLatin1Char('[')), columns >= 80);
}

void AdminProgressTest::barLeavesItsLastState()
{
    {
        ProgressLine shown = line(true);
        shown.show(text("rows"), 0.5, text("1"));
    }
    QVERIFY(m_out.data().endsWith("\x1b[K\n"));
    init();
    {
        const ProgressLine nothing = line(true);
    }
    QCOMPARE(m_out.data(), QByteArray());
}

void AdminProgressTest::elsewhereALineForEveryTenth()
{
    ProgressLine shown = line(false);
    for (int i = 0; i <= 1000; ++i)
        shown.show(text("rows"), i / 1000.0, QString::number(i));
    const QStringList lines = written(text("\n"));
    QCOMPARE(lines.size(), 11);
    QCOMPARE(lines.first(), text("rows: 0%, 0"));
    QCOMPARE(lines[5], text("rows: 50%, 500"));
    QCOMPARE(lines.last(), text("rows: 100%, 1000"));
    shown.show(text("comparing"), -1, text("3 rows"));
    QCOMPARE(written(text("\n")).last(), text("comparing: 3 rows"));
    QVERIFY(!m_out.data().contains('\r'));
}

void AdminProgressTest::elsewhereALineEveryFiveSeconds()
{
    ProgressLine shown = line(false);
    for (int i = 0; i < 20; ++i, m_now += 1000)
        shown.show(text("rows"), 0.01, QString::number(i));
    const QStringList lines = written(text("\n"));
    QCOMPARE(lines, QStringList({text("rows: 1%, 0"), text("rows: 1%, 5"), text("rows: 1%, 10"),
                                 text("rows: 1%, 15")}));
}

void AdminProgressTest::nothingIsShownNowhere()
{
    ProgressLine shown(nullptr, ProgressLine::viewOf(nullptr), [] { return 0; });
    shown.show(text("rows"), 0.5, text("1"));
    QVERIFY(!ProgressLine::viewOf(&m_out).isTerminal);
    QCOMPARE(m_out.data(), QByteArray());
}

void AdminProgressTest::rateAndRemainingTime_data()
{
    QTest::addColumn<qint64>("elapsedMs");
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<QString>("shown");
    constexpr qint64 mib = 1024LL * 1024;
    QTest::newRow("bytes") << qint64(100) << qint64(0) << text("3/9, 0.0 of 1000.0 MiB");
    QTest::newRow("too early") << qint64(100) << mib << text("3/9, 1.0 of 1000.0 MiB");
    QTest::newRow("seconds") << qint64(10'000) << 500 * mib
                             << text("3/9, 500.0 of 1000.0 MiB, 50.0 MiB/s, 0:10 left");
    QTest::newRow("minutes") << qint64(10'000) << 100 * mib
                             << text("3/9, 100.0 of 1000.0 MiB, 10.0 MiB/s, 1:30 left");
    QTest::newRow("hours") << qint64(40'000) << 10 * mib
                           << text("3/9, 10.0 of 1000.0 MiB, 256.0 KiB/s, 1:06:00 left");
    QTest::newRow("end") << qint64(10'000) << 1000 * mib << text("3/9, 1000.0 of 1000.0 MiB, 100.0 MiB/s");
}

void AdminProgressTest::rateAndRemainingTime()
{
    QFETCH(const qint64, elapsedMs);
    QFETCH(const qint64, bytes);
    QFETCH(const QString, shown);
    constexpr qint64 all = 1000LL * 1024 * 1024;
    MigrationDisplay display(&m_out, {true, 200}, [this] { return m_now; });
    m_now += 60'000; // of the comparison before
    display.show(files(0, 9, 0, all));
    m_now += elapsedMs;
    display.show(files(3, 9, bytes, all));
    const QString frame = written(text("\r")).last();
    QVERIFY2(frame.contains(text("%  ") + shown + text("\x1b")), qPrintable(frame));
}

void AdminProgressTest::wholeOnlyWithTheLastFile()
{
    MigrationDisplay display(&m_out, {false, 80}, [this] { return m_now; });
    display.show(files(2, 3, 100, 100));
    QVERIFY(written(text("\n")).last().startsWith(text("files: 99%, 2/3, ")));
    display.show(files(3, 3, 100, 100));
    QVERIFY(written(text("\n")).last().startsWith(text("files: 100%, 3/3, ")));
    // Without anything to copy the files that are looked at make the way.
    MigrationDisplay nothing(&m_out, {false, 80}, [this] { return m_now; });
    nothing.show(files(1, 2, 0, 0));
    QVERIFY(written(text("\n")).last().startsWith(text("files: 50%, 1/2, ")));
}

ZAV_REGISTER_TEST(admin_progress, AdminProgressTest, QCoreApplication)

#include "admin_progress.moc"
