// Time that each of the looks for damage takes on an embedded database of that many jobs: the one at opening,
// with all else that opening does, the daily reading, and the examination; and of writes while nobody and
// while the daily reading reads. Prints milliseconds.

#include "backend/database/Database.h"
#include "backend/records/SiteCounts.h"
#include "tests/support/FilledDatabase.h"
#include "tests/support/TemporaryDatabase.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTextStream>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

using namespace KOZAV;
using namespace KOZAV::Backend;

namespace {

constexpr int runs = 7;

double timed(const std::function<bool()>& work)
{
    QElapsedTimer timer;
    timer.start();
    if (!work())
        qFatal("the database is not whole");
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

double median(const std::function<bool()>& work)
{
    std::vector<double> times(runs);
    for (double& time : times)
        time = timed(work);
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

/// The slowest of a few hundred writes.
double slowestWrite(Database& database, const std::function<bool()>& goOn)
{
    double slowest = 0;
    do {
        slowest = std::max(slowest, timed([&database] {
                               return database
                                   .change("UPDATE company SET job_count = job_count + 1 WHERE id = 1", {},
                                           Durability::Deferred)
                                   .ok();
                           }));
    } while (goOn());
    return slowest;
}

double slowestWriteMeanwhile(Database& database, const DatabaseSettings& settings)
{
    std::atomic<bool> reading{true};
    std::thread reader([&] {
        if (!Database::readThrough(settings).ok())
            qFatal("the database is not whole");
        reading = false;
    });
    const double slowest = slowestWrite(database, [&reading] { return reading.load(); });
    reader.join();
    return slowest;
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    QTextStream out(stdout);
    out << "   jobs     MB  opening  reading  examination  counting  slowest write  slowest write while "
           "read\n";
    for (const int jobs : {1000, 8000, 100000}) {
        const Test::TemporaryDatabase place;
        const DatabaseSettings settings = place.settings();
        const auto database = place.open();
        if (!database || !Test::addJobs(*database, jobs).ok())
            qFatal("the database cannot be filled");
        int writes = 500;
        const double alone = slowestWrite(*database, [&writes] { return --writes > 0; });
        const double meanwhile = slowestWriteMeanwhile(*database, settings);
        out << QStringLiteral("%1  %2  %3  %4  %5  %6  %7  %8")
                   .arg(jobs, 7)
                   .arg(static_cast<double>(QFileInfo(place.file()).size()) / 1e6, 5, 'f', 1)
                   .arg(median([&] { return Database::open(settings).ok(); }), 7, 'f', 1)
                   .arg(median([&] { return Database::readThrough(settings).ok(); }), 7, 'f', 1)
                   .arg(median([&] { return Database::examine(settings)->empty(); }), 11, 'f', 1)
                   .arg(median([&] { return countSite(*database).ok(); }), 8, 'f', 1)
                   .arg(alone, 13, 'f', 2)
                   .arg(meanwhile, 24, 'f', 2)
            << Qt::endl;
    }
    return 0;
}
