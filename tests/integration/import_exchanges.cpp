// How often an import asks the server of the rows: over a network that is what it waits for.

#include "tests/support/FreshSite.h"
#include "tests/support/MariaDbServer.h"
#include "tests/support/OperatedPanel.h"
#include "tests/support/ServerRelay.h"
#include "tests/support/SiteEngines.h"
#include "tests/support/TestProgram.h"

#include <QApplication>
#include <QDir>
#include <QTest>

#include <algorithm>
#include <limits>

using namespace KOZAV::Test;

namespace {

const QString company = QStringLiteral("华兴");

void writeFile(const QString& path)
{
    const QByteArray content = "not much of a board\n";
    QFile file(path);
    if (!QDir().mkpath(QFileInfo(path).path()) || !file.open(QIODevice::WriteOnly) ||
        file.write(content) != content.size() || !file.flush())
        qFatal("%s: %s", qUtf8Printable(path), qUtf8Printable(file.errorString()));
}

/// Requests to the server in a batch of so many entries, on a fresh site.
int requestsOfBatch(int entries, const QString& entry)
{
    ServerRelay relay(SiteEngines::rowServer()->port());
    const FreshSite site;
    site.configure(QStringLiteral("database/port"), QString::number(relay.port()));
    // Nothing listens there: a saved job's request for the robot ends at once.
    site.configure(QStringLiteral("robot/port"), QStringLiteral("1"));
    site.addCompany(QStringLiteral("HX"), company);
    for (int i = 0; i < entries; ++i)
        writeFile(site.path(QStringLiteral("batch/") + company + QLatin1Char('/') + entry.arg(i)));
    (void)site.jobs(); // the connection is open
    OperatedPanel panel;
    const int before = relay.count(ServerRelay::Piece::Request);
    panel.importBatch(site.path(QStringLiteral("batch")));
    const int requests = relay.count(ServerRelay::Piece::Request) - before;
    const auto jobs = site.jobs();
    const bool areComplete =
        std::all_of(jobs.begin(), jobs.end(), [](const auto& job) { return job.complete; });
    return areComplete && int(jobs.size()) == entries ? requests : -1;
}

} // namespace

class ImportExchanges final : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void ofEachEntry_data();
    void ofEachEntry();
};

void ImportExchanges::ofEachEntry_data()
{
    QTest::addColumn<QString>("entry");
    QTest::addColumn<int>("exchanges");
    // The company, its number, the flow, and all other rows at once.
    QTest::newRow("archive") << QStringLiteral("board%1.tgz") << 4;
    QTest::newRow("folder") << QStringLiteral("job%1/matrix/matrix") << 4;
    // What waits goes before the state changes, and nothing waits after that.
    QTest::newRow("saved job") << QStringLiteral("board%1.kos") << 7;
}

void ImportExchanges::ofEachEntry()
{
    QFETCH(const QString, entry);
    QFETCH(const int, exchanges);
    constexpr int few = 2;
    constexpr int more = 6;
    // A machine that is busy for a second has a connection asked whether it is there still, and a lease
    // renewed: that adds to a count now and then, never to each.
    int fewest = std::numeric_limits<int>::max();
    for (int attempt = 0; attempt < 5 && fewest > exchanges * (more - few); ++attempt) {
        const int one = requestsOfBatch(few, entry);
        const int other = requestsOfBatch(more, entry);
        QVERIFY(one > 0 && other > 0);
        fewest = std::min(fewest, other - one);
    }
    QCOMPARE(fewest, exchanges * (more - few));
}

ZAV_REGISTER_TEST(import_exchanges, ImportExchanges, QApplication)

#include "import_exchanges.moc"
