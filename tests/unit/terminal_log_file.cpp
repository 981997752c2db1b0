#include "terminal/LogFile.h"
#include "tests/support/TestProgram.h"

#include <QDir>
#include <QFile>
#include <QLockFile>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <memory>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace KOZAV::Terminal;

/// A log as a file: what it keeps when it is put aside, and what else a log can be.
class TerminalLogFile final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();

    void newestLinesAreKept_data();
    void newestLinesAreKept();
    void aLineThatIsLargerThanAFile();
    void aFullLogOfAnEarlierRunIsPutAside();
    void aLogThatCannotBePutAsideGrowsOn();
    void aNewLogThatCannotBeMade();
    void oldFilesThatAreLinks();

    void links_data();
    void links();
    void aFifoThatNobodyReads();
    void aFifo();
    void aFifoThatIsFull();
    void aDevice();
    void writersThatShareItLoseNoLine();
    void aSharedLogWhoseLockIsHeldGrowsOn();

private:
    [[nodiscard]] QString name(int age = 0) const
    {
        const QString log = m_directory->filePath(QStringLiteral("program.log"));
        return age == 0 ? log : log + QLatin1Char('.') + QString::number(age);
    }
    [[nodiscard]] QByteArray content(int age = 0) const
    {
        QFile file(name(age));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    /// Makes a FIFO in the log's place, and opens its other end.
    [[nodiscard]] int readFifo() const
    {
        ::mkfifo(QFile::encodeName(name()).constData(), 0600);
        return ::open(QFile::encodeName(name()).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    }

    std::unique_ptr<QTemporaryDir> m_directory;
};

namespace {

QByteArray line(int number, int length)
{
    return QByteArray::number(number).rightJustified(length - 1, '0') + '\n';
}

QByteArray lines(int first, int last, int length)
{
    QByteArray all;
    for (int number = first; number <= last; ++number)
        all += line(number, length);
    return all;
}

} // namespace

void TerminalLogFile::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
}

void TerminalLogFile::newestLinesAreKept_data()
{
    QTest::addColumn<int>("maxBytes");
    QTest::addColumn<int>("oldFiles");
    QTest::addColumn<int>("written");
    QTest::addColumn<int>("firstKept");
    QTest::newRow("one file") << 100 << 3 << 10 << 1;
    QTest::newRow("just put aside") << 100 << 3 << 11 << 1;
    QTest::newRow("all that are kept") << 100 << 3 << 40 << 1;
    QTest::newRow("the oldest has gone") << 100 << 3 << 41 << 11;
    QTest::newRow("long since") << 100 << 3 << 1005 << 971;
    QTest::newRow("one old file") << 100 << 1 << 35 << 21;
    QTest::newRow("no whole number of lines") << 109 << 2 << 25 << 1;
}

void TerminalLogFile::newestLinesAreKept()
{
    QFETCH(int, maxBytes);
    QFETCH(int, oldFiles);
    QFETCH(int, written);
    QFETCH(int, firstKept);
    LogFile log;
    QCOMPARE(log.open(name(), {maxBytes, oldFiles}), QString());
    for (int number = 1; number <= written; ++number) {
        QCOMPARE(log.append(line(number, 10)), QString());
        // It is with the system, in the newest file.
        QVERIFY(content().endsWith(line(number, 10)));
    }
    QByteArray all;
    for (int age = oldFiles; age >= 0; --age) {
        QVERIFY(content(age).size() <= maxBytes);
        all += content(age);
    }
    QCOMPARE(all, lines(firstKept, written, 10));
    QVERIFY(!QFile::exists(name(oldFiles + 1)));
    QCOMPARE(log.takeComplaint(), QString());
}

void TerminalLogFile::aLineThatIsLargerThanAFile()
{
    LogFile log;
    QCOMPARE(log.open(name(), {100, 3}), QString());
    for (const int length : {10, 500, 10})
        QCOMPARE(log.append(line(1, length)), QString());
    QCOMPARE(content(2), line(1, 10));
    QCOMPARE(content(1), line(1, 500));
    QCOMPARE(content(), line(1, 10));
}

void TerminalLogFile::aFullLogOfAnEarlierRunIsPutAside()
{
    for (int run = 0; run < 3; ++run) {
        LogFile log;
        QCOMPARE(log.open(name(), {100, 3}), QString());
        QCOMPARE(log.append(line(run, 60)), QString());
    }
    QCOMPARE(content(2) + content(1) + content(), lines(0, 2, 60));
}

void TerminalLogFile::aLogThatCannotBePutAsideGrowsOn()
{
    QVERIFY(QDir().mkpath(name(1) + QStringLiteral("/in the way")));
    LogFile log;
    QCOMPARE(log.open(name(), {100, 1}), QString());
    for (int number = 1; number <= 15; ++number)
        QCOMPARE(log.append(line(number, 10)), QString());
    QCOMPARE(content(), lines(1, 15, 10));
    QCOMPARE(log.takeComplaint(), QStringLiteral("the log %1 cannot be put aside, and grows on").arg(name()));
    QCOMPARE(log.takeComplaint(), QString());

    // It is tried again after as much again.
    QVERIFY(QDir(name(1)).removeRecursively());
    for (int number = 16; number <= 21; ++number)
        QCOMPARE(log.append(line(number, 10)), QString());
    QCOMPARE(content(1), lines(1, 20, 10));
    QCOMPARE(content(), lines(21, 21, 10));
    QCOMPARE(log.takeComplaint(), QString());
}

void TerminalLogFile::aNewLogThatCannotBeMade()
{
    LogFile log;
    QCOMPARE(log.open(name(), {100, 3}), QString());
    QCOMPARE(log.append(line(1, 90)), QString());
    rlimit usual{};
    ::getrlimit(RLIMIT_NOFILE, &usual);
    const int lowestFree = ::dup(STDIN_FILENO);
    ::close(lowestFree);
    rlimit exhausted = usual;
    exhausted.rlim_cur = static_cast<rlim_t>(lowestFree);
    ::setrlimit(RLIMIT_NOFILE, &exhausted);
    const QString failure = log.append(line(2, 90));
    ::setrlimit(RLIMIT_NOFILE, &usual);
    QCOMPARE(failure, QString());
    QCOMPARE(log.takeComplaint(),
             QStringLiteral("a new log %1 cannot be made, and the old one grows on: Too many open files")
                 .arg(name()));
    QCOMPARE(content(), lines(1, 2, 90));
    QVERIFY(!QFile::exists(name(1)));
}

/// What is moved is the link, never what it leads to.
void TerminalLogFile::oldFilesThatAreLinks()
{
    const QString victim = m_directory->filePath(QStringLiteral("victim"));
    QFile file(victim);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("precious") == 8 && file.flush());
    QVERIFY(QFile::link(victim, name(1)));
    QVERIFY(QFile::link(victim, name(2)));
    LogFile log;
    QCOMPARE(log.open(name(), {100, 2}), QString());
    for (int number = 1; number <= 3; ++number)
        QCOMPARE(log.append(line(number, 60)), QString());
    QCOMPARE(content(2) + content(1) + content(), lines(1, 3, 60));
    QVERIFY(!QFileInfo(name(1)).isSymLink() && !QFileInfo(name(2)).isSymLink());
    QCOMPARE(QFileInfo(victim).size(), qint64(8));
}

void TerminalLogFile::links_data()
{
    QTest::addColumn<QString>("target");
    QTest::newRow("to a file") << QStringLiteral("target");
    QTest::newRow("to nothing") << QStringLiteral("nothing");
    QTest::newRow("to a folder") << QStringLiteral("/tmp");
    QTest::newRow("to itself") << QStringLiteral("program.log");
}

void TerminalLogFile::links()
{
    QFETCH(QString, target);
    QFile file(m_directory->filePath(QStringLiteral("target")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(QFile::link(target, name()));
    LogFile log;
    QCOMPARE(log.open(name()), QStringLiteral("the log %1 cannot be opened: it is a link").arg(name()));
    QVERIFY(!log.isOpen());
    QVERIFY(!QFile::exists(m_directory->filePath(QStringLiteral("nothing"))));
}

void TerminalLogFile::aFifoThatNobodyReads()
{
    QCOMPARE(::mkfifo(QFile::encodeName(name()).constData(), 0600), 0);
    LogFile log;
    QCOMPARE(log.open(name()),
             QStringLiteral("the log %1 cannot be opened: it is a FIFO that nobody reads, or a socket")
                 .arg(name()));
}

void TerminalLogFile::aFifo()
{
    const int reader = readFifo();
    QVERIFY(reader >= 0);
    LogFile log;
    QCOMPARE(log.open(name(), {100, 3}), QString());
    for (int number = 1; number <= 20; ++number)
        QCOMPARE(log.append(line(number, 10)), QString());
    std::array<char, 1000> read{};
    QCOMPARE(::read(reader, read.data(), read.size()), ssize_t(200));
    QCOMPARE(QByteArray(read.data(), 200), lines(1, 20, 10));
    QVERIFY(!QFile::exists(name(1)));

    const auto usual = ::signal(SIGPIPE, SIG_IGN);
    ::close(reader);
    QCOMPARE(log.append(line(21, 10)), QStringLiteral("%1 cannot be written to: Broken pipe").arg(name()));
    ::signal(SIGPIPE, usual);
}

void TerminalLogFile::aFifoThatIsFull()
{
    const int reader = readFifo();
    LogFile log;
    QCOMPARE(log.open(name()), QString());
    QString failure;
    for (int number = 1; number <= 1000 && failure.isEmpty(); ++number)
        failure = log.append(line(number, 4096));
    QVERIFY2(failure.startsWith(name() + QStringLiteral(" cannot be written to: ")), qPrintable(failure));
    ::close(reader);
}

void TerminalLogFile::aDevice()
{
    LogFile log;
    QCOMPARE(log.open(QStringLiteral("/dev/null"), {100, 3}), QString());
    for (int number = 1; number <= 20; ++number)
        QCOMPARE(log.append(line(number, 10)), QString());
    QVERIFY(!QFile::exists(QStringLiteral("/dev/null.1")));
}

void TerminalLogFile::writersThatShareItLoseNoLine()
{
    constexpr int writers = 4;
    constexpr int written = 300;
    constexpr int length = 40;
    static constexpr LogLimits limits{2000, 99, true};
    std::vector<std::unique_ptr<QThread>> threads;
    std::atomic<int> failures = 0;
    for (int writer = 0; writer < writers; ++writer) {
        threads.emplace_back(QThread::create([this, writer, &failures] {
            LogFile log;
            failures += log.open(name(), limits).isEmpty() ? 0 : 1;
            for (int number = 0; number < written; ++number)
                failures += log.append(line(writer * written + number, length)).isEmpty() ? 0 : 1;
            failures += log.takeComplaint().isEmpty() ? 0 : 1;
        }));
        threads.back()->start();
    }
    for (const auto& thread : threads)
        QVERIFY(thread->wait());
    QCOMPARE(failures.load(), 0);
    QByteArrayList all;
    for (int age = 0; age <= limits.oldFiles; ++age) {
        QVERIFY(content(age).size() <= limits.maxBytes + writers * length);
        all += content(age).split('\n');
    }
    all.removeAll(QByteArray());
    std::sort(all.begin(), all.end());
    QCOMPARE(all.join('\n') + '\n', lines(0, writers * written - 1, length));
    QVERIFY(QFile::exists(name(writers * written * length / limits.maxBytes / 2)));
}

void TerminalLogFile::aSharedLogWhoseLockIsHeldGrowsOn()
{
    QLockFile held(name() + QStringLiteral(".lock"));
    QVERIFY(held.tryLock());
    LogFile log;
    QCOMPARE(log.open(name(), {100, 3, true}), QString());
    for (int number = 1; number <= 12; ++number)
        QCOMPARE(log.append(line(number, 10)), QString());
    QCOMPARE(content(), lines(1, 12, 10));
    QVERIFY(log.takeComplaint().endsWith(QStringLiteral("no lock on it")));
}

ZAV_REGISTER_TEST(terminal_log_file, TerminalLogFile, KOZAV::Test::NoApplication)

#include "terminal_log_file.moc"
