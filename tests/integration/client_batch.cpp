// The client's batch run, as a script starts it.

#include "host/site/RunHistory.h"
#include "tests/support/ClientProgram.h"
#include "tests/support/FreshSite.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QDir>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <algorithm>
#include <cstdio>

using namespace KOZAV;
using namespace KOZAV::Test;

namespace {

ClientRun runClientOn(const FreshSite& site, const QStringList& arguments)
{
    return runClient(QStringList({QStringLiteral("--config"), site.configuration()}) + arguments);
}

void writeFile(const QString& path, const QByteArray& content)
{
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(path));
    QCOMPARE(file.write(content), qint64(content.size()));
}

} // namespace

class ClientBatch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void allImportedEndsWithZero();
    void everyEntryThatIsNotImportedIsToldWithItsReason();
    void reportsAreWrittenAsFiles();
    void aReportThatCannotBeWrittenIsAnError();
    void theSiteKeepsTheRunOnce();
    void picturesOfTheWindow();
    void notADirectory();
    void brokenConfiguration();
};

void ClientBatch::allImportedEndsWithZero()
{
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("甲公司"));
    writeFile(site.path(QStringLiteral("batch/甲公司/one.tgz")), "one");
    writeFile(site.path(QStringLiteral("batch/甲公司/two/file")), "two");

    const ClientRun client =
        runClientOn(site, {QStringLiteral("--batch"), site.path(QStringLiteral("batch"))});
    QVERIFY2(client.exitCode == 0, client.everything().constData());
    QVERIFY2(client.output.contains(QStringLiteral("message: Information: 原始数据导入完成")),
             client.everything().constData());
    QVERIFY(client.output.contains(QStringLiteral("message: Information: 当前批号：1")));
    QVERIFY(client.output.contains(QStringLiteral("progress: 1 of 1 companies, 2 jobs imported")));
    QVERIFY(client.output.contains(QStringLiteral("Imported: 2")));
    QVERIFY(client.output.contains(QStringLiteral("Not imported: 0")));
    QVERIFY(client.output.contains(QStringLiteral("AB000001")));
    QCOMPARE(int(site.jobs().size()), 2);
    for (const auto& job : site.jobs())
        QVERIFY(client.output.contains(job.storedName));
}

void ClientBatch::everyEntryThatIsNotImportedIsToldWithItsReason()
{
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    const QString batch = site.path(QStringLiteral("batch"));
    writeFile(batch + QStringLiteral("/甲/good.tgz"), "good");
    writeFile(batch + QStringLiteral("/甲/upper.ZIP"), "refused");
    writeFile(batch + QStringLiteral("/甲/notes.txt"), "refused");
    writeFile(batch + QStringLiteral("/甲/.hidden.tgz"), "hidden");
    writeFile(batch + QStringLiteral("/甲/broken/file"), "packed");
    QVERIFY(QFile::link(QStringLiteral("/etc/hostname"), batch + QStringLiteral("/甲/broken/out")));
    writeFile(batch + QStringLiteral("/乙/job.zip"), "nobody's");
    writeFile(batch + QStringLiteral("/beside.tgz"), "beside");
    QFile undecodable(batch + QStringLiteral("/甲/x"));
    QVERIFY(undecodable.open(QIODevice::WriteOnly));
    QVERIFY(::rename(QFile::encodeName(undecodable.fileName()).constData(),
                     QFile::encodeName(batch + QStringLiteral("/甲/")).append("caf\xe9.tgz").constData()) ==
            0);

    const ClientRun client = runClientOn(site, {QStringLiteral("--batch"), batch});
    QVERIFY2(client.exitCode == 1, client.everything().constData());
    QVERIFY2(client.output.contains(QStringLiteral("Imported: 1")), client.everything().constData());
    QVERIFY2(client.output.contains(QStringLiteral("Not imported: 7")), client.everything().constData());
    const QMap<QString, QString> reasons{
        {QStringLiteral("upper.ZIP"), QStringLiteral("not a job archive")},
        {QStringLiteral("notes.txt"), QStringLiteral("not a job archive")},
        {QStringLiteral(".hidden.tgz"), QStringLiteral("hidden")},
        {QStringLiteral("broken"), QStringLiteral("out")},
        {QStringLiteral("job.zip"), QStringLiteral("no company named")},
        {QStringLiteral("beside.tgz"), QStringLiteral("beside the company folders")},
        {QStringLiteral("caf"), QStringLiteral("not valid UTF-8")},
    };
    const QStringList lines =
        client.output.mid(client.output.indexOf(QStringLiteral("Not imported"))).split(QLatin1Char('\n'));
    for (auto reason = reasons.begin(); reason != reasons.end(); ++reason) {
        const bool told = std::any_of(lines.begin(), lines.end(), [&](const QString& line) {
            return line.contains(reason.key()) && line.contains(reason.value());
        });
        QVERIFY2(told, qPrintable(reason.key() + QLatin1Char('\n') + client.output));
    }
}

void ClientBatch::reportsAreWrittenAsFiles()
{
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    writeFile(site.path(QStringLiteral("batch/甲/notes.txt")), "refused");
    for (const char* const suffix : {"csv", "json", "html"}) {
        const QString report = site.path(QStringLiteral("report.%1").arg(QLatin1String(suffix)));
        const ClientRun client =
            runClientOn(site, {QStringLiteral("--batch"), site.path(QStringLiteral("batch")),
                               QStringLiteral("--report"), report});
        QVERIFY2(client.exitCode == 1, client.everything().constData());
        const QByteArray content = contentOf(report);
        QVERIFY2(content.contains("notes.txt"), content.constData());
    }
    QVERIFY(contentOf(site.path(QStringLiteral("report.csv"))).contains("\r\n甲,notes.txt,refused,"));
    QVERIFY(contentOf(site.path(QStringLiteral("report.html"))).contains("<td>notes.txt</td>"));
    const QJsonObject json =
        QJsonDocument::fromJson(contentOf(site.path(QStringLiteral("report.json")))).object();
    QCOMPARE(json.value(QLatin1String("exit_code")), QJsonValue(1));
    QCOMPARE(json.value(QLatin1String("configuration")), QJsonValue(site.configuration()));
    QCOMPARE(json.value(QLatin1String("rows"))[0][QLatin1String("reason_code")],
             QJsonValue(QStringLiteral("suffix-refused")));
}

void ClientBatch::aReportThatCannotBeWrittenIsAnError()
{
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    writeFile(site.path(QStringLiteral("batch/甲/one.tgz")), "one");
    const ClientRun client =
        runClientOn(site, {QStringLiteral("--batch"), site.path(QStringLiteral("batch")),
                           QStringLiteral("--report"), site.path(QStringLiteral("absent/report.csv"))});
    QVERIFY2(client.exitCode == 1, client.everything().constData());
    QVERIFY2(client.output.contains(QStringLiteral("absent/report.csv cannot be written: ")),
             client.everything().constData());
    QVERIFY(client.output.contains(QStringLiteral("Imported: 1")));
}

void ClientBatch::theSiteKeepsTheRunOnce()
{
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    const QString batch = site.path(QStringLiteral("batch"));
    writeFile(batch + QStringLiteral("/甲/cut.zip"), QByteArray("PK\3\4").append(100, 'x'));
    writeFile(batch + QStringLiteral("/乙/job.zip"), "nobody's");
    for (const QStringList& options : {QStringList(), QStringList(QStringLiteral("--skip-known"))}) {
        const ClientRun client = runClientOn(site, QStringList({QStringLiteral("--batch"), batch}) + options);
        QVERIFY2(client.exitCode == 1, client.everything().constData());
    }
    QString failure;
    const auto runs = Host::keptRuns(10, 0, failure);
    QVERIFY2(runs, qPrintable(failure));
    QCOMPARE(int(runs->size()), 2);
    QCOMPARE(runs->front().source, batch);
    QCOMPARE(runs->front().counts.of(Host::Outcome::LeftOut), 1);
    QCOMPARE(runs->back().counts.of(Host::Outcome::WithWarnings), 1);
    QCOMPARE(runs->back().counts.of(Host::Outcome::Refused), 1);
    const auto run = Host::keptRun(runs->back().guid, failure);
    QVERIFY2(run, qPrintable(failure));
    QCOMPARE(int(run->rows.size()), 2);
    // The warning came after the panel's slot had returned.
    const auto& rows = run->rows;
    const bool first = rows.front().entry == QStringLiteral("cut.zip");
    QVERIFY(!rows[first ? 0 : 1].warnings.empty());
    QCOMPARE(rows[first ? 1 : 0].reasonCode, QStringLiteral("company-unknown"));
}

void ClientBatch::picturesOfTheWindow()
{
    const FreshSite site;
    site.addCompany(QStringLiteral("AB"), QStringLiteral("甲"));
    writeFile(site.path(QStringLiteral("batch/甲/good.tgz")), "good");
    const QString pictures = site.path(QStringLiteral("pictures"));

    const ClientRun client = runClientOn(site, {QStringLiteral("--batch"), site.path(QStringLiteral("batch")),
                                                QStringLiteral("--screenshots"), pictures});
    QVERIFY2(client.exitCode == 0, client.everything().constData());
    QImage idle(pictures + QStringLiteral("/panel-idle.png"));
    QImage running(pictures + QStringLiteral("/panel-running.png"));
    QImage done(pictures + QStringLiteral("/panel-done.png"));
    QVERIFY(!idle.isNull() && !running.isNull() && !done.isNull());
    QVERIFY(idle != running);
    QVERIFY(running != done);
}

void ClientBatch::notADirectory()
{
    const FreshSite site;
    const ClientRun client =
        runClientOn(site, {QStringLiteral("--batch"), site.path(QStringLiteral("absent"))});
    QCOMPARE(client.exitCode, 2);
    QVERIFY2(client.output.contains(QStringLiteral("is not a directory")), client.everything().constData());
}

void ClientBatch::brokenConfiguration()
{
    const FreshSite site;
    QByteArray text = contentOf(site.configuration());
    const int port = text.indexOf("\nport = ");
    QVERIFY(port > 0);
    text.replace(port, text.indexOf('\n', port + 1) - port, "\nport = many");
    QFile file(site.configuration());
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(file.write(text), qint64(text.size()));
    file.close();
    const ClientRun client = runClientOn(site, {QStringLiteral("--batch"), site.path(QString())});
    QCOMPARE(client.exitCode, 2);
    QVERIFY2(client.output.contains(QStringLiteral("many")), client.everything().constData());
}

ZAV_REGISTER_TEST(client_batch, ClientBatch, QApplication)

#include "client_batch.moc"
