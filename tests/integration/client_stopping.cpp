// A client without a window that gets a signal in the middle of its work: the job that is imported is the
// last one, the rest is told, and the command that it names imports that.

#include "tests/support/AdminSession.h"
#include "tests/support/ClientProgram.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QTest>

#include <memory>

using namespace KOZAV::Test;

class ClientStopping final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void aStoppedBatchIsGoneOnWith_data();
    void aStoppedBatchIsGoneOnWith();
    void itIsToldToPeopleToo();
    void aStoppedCheckTellsWhatItKnows();

private:
    /// Runs the client with a signal at the n-th call of a kind of one of its threads.
    [[nodiscard]] ProgramEnd runAndStop(const QString& calls, const QString& signal, const QString& when,
                                        const QString& task, const QString& more) const;
    void everyEntryIsThereOnce() const;

    std::unique_ptr<FreshSite> m_site;
    QString m_batch;
};

namespace {

constexpr int entries = 6;
/// Whoever stores an archive gives it its name with one call.
const QString storing = text("renameat2");

ProgramEnd runShell(const QString& command)
{
    return runProgram(text("/bin/sh"), {text("-c"), command});
}

QMap<QString, int> resultsIn(const QJsonObject& document)
{
    QMap<QString, int> results;
    for (const QJsonValue row : document.value(text("rows")).toArray()) {
        const QJsonObject entry = row.toObject();
        const QString code = entry.value(text("reason_code")).toString();
        ++results[code.isEmpty() ? entry.value(text("result")).toString() : code];
    }
    return results;
}

} // namespace

void ClientStopping::initTestCase()
{
    if (!canInject())
        QSKIP("strace cannot inject signals here");
}

void ClientStopping::init()
{
    m_site = std::make_unique<FreshSite>();
    m_site->addCompany(text("AC"), text("Acme"));
    m_batch = m_site->path(text("batch"));
    QVERIFY(QDir().mkpath(m_batch + text("/Acme")));
    for (int entry = 0; entry < entries; ++entry)
        writeFile(local(text("%1/Acme/board_%2.zip").arg(m_batch).arg(entry)),
                  emptyZip(QByteArray(1000, static_cast<char>('a' + entry))));
}

void ClientStopping::cleanup()
{
    m_site.reset();
}

ProgramEnd ClientStopping::runAndStop(const QString& calls, const QString& signal, const QString& when,
                                      const QString& task, const QString& more) const
{
    return runShell(
        text("QT_QPA_PLATFORM=offscreen exec strace -f -o /dev/null -e trace=%1 "
             "-e inject=%1:signal=%2:when=%3 '%4' --config '%5' %6 '%7' %8")
            .arg(calls, signal, when, clientProgram(), m_site->configuration(), task, m_batch, more));
}

void ClientStopping::everyEntryIsThereOnce() const
{
    QSet<QString> names;
    for (const auto& job : m_site->jobs()) {
        QCOMPARE(job.state, 0);
        names.insert(job.jobName);
    }
    QCOMPARE(m_site->jobs().size(), std::size_t(entries));
    QCOMPARE(names.size(), entries);
    const AdminOutcome checked = runAdmin(m_site->configuration(), {text("check"), text("--read-data")});
    QVERIFY2(checked.code == KOZAV::Admin::ExitCode::Success, qPrintable(checked.out));
}

void ClientStopping::aStoppedBatchIsGoneOnWith_data()
{
    QTest::addColumn<QString>("signal");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<int>("entry"); ///< at which it comes
    QTest::newRow("SIGINT, first entry") << text("INT") << 130 << 1;
    QTest::newRow("SIGTERM, in the middle") << text("TERM") << 143 << 3;
    QTest::newRow("SIGHUP, last but one") << text("HUP") << 129 << entries - 1;
}

void ClientStopping::aStoppedBatchIsGoneOnWith()
{
    QFETCH(const QString, signal);
    QFETCH(const int, exitCode);
    QFETCH(const int, entry);
    const QString report = m_site->path(text("report.json"));
    const ProgramEnd end = runAndStop(storing, signal, QString::number(entry), text("--batch"),
                                      text("--json --report '%1' 2>/dev/null").arg(report));
    QVERIFY2(end.exitCode == exitCode, end.output.constData());
    const QJsonObject told = QJsonDocument::fromJson(end.output).object();
    QCOMPARE(told.value(text("exit_code")).toInt(), exitCode);
    QCOMPARE(told.value(text("interrupted")), QJsonValue(true));
    QCOMPARE(resultsIn(told),
             (QMap<QString, int>{{text("imported"), entry}, {text("stopped"), entries - entry}}));
    QCOMPARE(QJsonDocument::fromJson(contentOf(report)).object(), told);
    QCOMPARE(m_site->jobs().size(), std::size_t(entry));

    const ProgramEnd again =
        runShell(text("QT_QPA_PLATFORM=offscreen ") + told.value(text("go_on")).toString());
    QVERIFY2(again.exitCode == 0, again.output.constData());
    everyEntryIsThereOnce();
}

void ClientStopping::itIsToldToPeopleToo()
{
    const ProgramEnd end = runAndStop(storing, text("INT"), text("2"), text("--batch"), text("2>/dev/null"));
    QCOMPARE(end.exitCode, 130);
    const QString out = QString::fromUtf8(end.output);
    QVERIFY2(out.contains(text("\nNot imported: 4\n")), qPrintable(out));
    const QString command =
        text("%1 --config %2 --batch %3 --skip-known").arg(clientProgram(), m_site->configuration(), m_batch);
    QVERIFY2(out.endsWith(text("\nstopped by SIGINT\nto go on: ") + command + QLatin1Char('\n')),
             qPrintable(out));
}

void ClientStopping::aStoppedCheckTellsWhatItKnows()
{
    constexpr int mostCalls = 500;
    for (int number = 1; number < mostCalls; number += 1 + number / 4) {
        const ProgramEnd end = runAndStop(text("getdents64"), text("TERM"), QString::number(number),
                                          text("--check"), text("--json 2>/dev/null"));
        if (end.exitCode == -1)
            continue; // the look had not begun
        QVERIFY2(end.exitCode == 143, end.output.constData());
        const QJsonObject told = QJsonDocument::fromJson(end.output).object();
        QCOMPARE(told.value(text("interrupted")), QJsonValue(true));
        QCOMPARE(resultsIn(told), (QMap<QString, int>{{text("stopped"), entries}}));
        const QJsonObject remark = told.value(text("remarks")).toArray().last().toObject();
        QCOMPARE(remark.value(text("code")).toString(), text("stopped"));
        QVERIFY(remark.value(text("text")).toString().contains(text("--check ") + m_batch));
        return;
    }
    QFAIL("no look was stopped in its middle");
}

ZAV_REGISTER_TEST(client_stopping, ClientStopping, QCoreApplication)

#include "client_stopping.moc"
