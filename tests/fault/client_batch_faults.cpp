// The client's report of a batch whose database goes away: what was acknowledged counts, since a job that is
// told as not imported will be imported again.

#include "tests/support/ClientProgram.h"
#include "tests/support/FreshSite.h"
#include "tests/support/MariaDbServer.h"
#include "tests/support/SiteEngines.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

using namespace KOZAV::Test;

namespace {

constexpr int companies = 4;
constexpr int jobsOfEach = 5;

void makeBatch(const FreshSite& site)
{
    for (int company = 0; company < companies; ++company) {
        const QString code = QStringLiteral("C%1").arg(company);
        site.addCompany(code, code);
        const QString folder = site.path(QStringLiteral("batch/") + code);
        QVERIFY(QDir().mkpath(folder));
        for (int job = 0; job < jobsOfEach; ++job) {
            QFile file(QStringLiteral("%1/%2.tgz").arg(folder).arg(job));
            QVERIFY(file.open(QIODevice::WriteOnly));
            QVERIFY(file.write("content of a job") > 0);
        }
    }
}

/// What the report says: the number behind a heading, and the generated names below it.
struct Section
{
    int count = 0;
    QStringList names;
};

Section sectionOf(const QString& output, const QString& heading)
{
    static const QRegularExpression name(QStringLiteral("C\\d\\d{6}"));
    Section section;
    const QStringList lines = output.split(QLatin1Char('\n'));
    int at = 0;
    while (at < lines.size() && !lines.at(at).startsWith(heading + QStringLiteral(": ")))
        ++at;
    if (at == lines.size())
        return section;
    section.count = lines.at(at).mid(heading.size() + 2).section(QLatin1Char(' '), 0, 0).toInt();
    while (++at < lines.size() && !lines.at(at).isEmpty()) {
        if (const auto match = name.match(lines.at(at)); match.hasMatch())
            section.names << match.captured();
    }
    return section;
}

} // namespace

class ClientBatchFaults final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void acknowledgedJobsAreTold_data();
    void acknowledgedJobsAreTold();
};

void ClientBatchFaults::initTestCase()
{
    if (const QString problem = SiteEngines::problem(); !problem.isEmpty())
        QSKIP(qPrintable(problem));
}

void ClientBatchFaults::acknowledgedJobsAreTold_data()
{
    QTest::addColumn<int>("companiesBefore");
    QTest::newRow("after the first company") << 1;
    QTest::newRow("after the second company") << 2;
    QTest::newRow("after all but one") << companies - 1;
}

void ClientBatchFaults::acknowledgedJobsAreTold()
{
    QFETCH(const int, companiesBefore);
    const FreshSite site;
    site.configure(QStringLiteral("import/patience"), QStringLiteral("1"));
    makeBatch(site);
    MariaDbServer& server = *SiteEngines::rowServer();
    const QString moment = QStringLiteral("progress: %1 of %2 companies").arg(companiesBefore).arg(companies);
    bool killed = false;
    const ClientRun client = runClient({QStringLiteral("--config"), site.configuration(),
                                        QStringLiteral("--batch"), site.path(QStringLiteral("batch"))},
                                       {}, [&](const QString& output) {
                                           if (!killed && output.contains(moment))
                                               server.kill();
                                           killed = killed || output.contains(moment);
                                       });
    server.restart();
    QVERIFY2(killed, client.everything().constData());
    QCOMPARE(client.exitCode, 1);

    const Section imported = sectionOf(client.output, QStringLiteral("Imported"));
    const Section unknown = sectionOf(client.output, QStringLiteral("Unknown"));
    const Section refused = sectionOf(client.output, QStringLiteral("Not imported"));
    QVERIFY2(imported.count >= companiesBefore * jobsOfEach, client.everything().constData());
    QCOMPARE(imported.names.size(), imported.count);
    QCOMPARE(unknown.names.size(), unknown.count);
    QCOMPARE(imported.count + unknown.count + refused.count, companies * jobsOfEach);
    // The site has every job that was told as imported, and beyond these none but of those told as unknown.
    QStringList complete;
    for (const auto& job : site.jobs())
        if (job.complete)
            complete << job.generatedName;
    for (const QString& name : imported.names)
        QVERIFY2(complete.removeOne(name), qPrintable(name));
    for (const QString& name : qAsConst(complete))
        QVERIFY2(unknown.names.contains(name), qPrintable(name + QLatin1Char('\n') + client.output));
}

ZAV_REGISTER_TEST(client_batch_faults, ClientBatchFaults, QCoreApplication)

#include "client_batch_faults.moc"
