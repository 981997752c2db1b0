// Time that each of the looks for damage takes on an embedded database of that many jobs: the one at opening,
// with all else that opening does, the daily reading, and the examination; and of writes while nobody and
// while the daily reading reads. Prints milliseconds as JSON. Arguments: numbers of jobs.

#include "backend/database/Database.h"
#include "backend/records/SiteCounts.h"
#include "bench/Report.h"
#include "tests/support/FilledDatabase.h"
#include "tests/support/TemporaryDatabase.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>

#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

using namespace KOZAV;
using namespace KOZAV::Backend;

namespace {

constexpr int runs = 5;

double timed(const std::function<bool()>& work)
{
    QElapsedTimer timer;
    timer.start();
    if (!work())
        qFatal("the database is not whole");
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

std::vector<double> times(const std::function<bool()>& work)
{
    std::vector<double> found(runs);
    for (double& time : found)
        time = timed(work);
    return found;
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
    for (const QString& argument : QCoreApplication::arguments().mid(1)) {
        const int jobs = argument.toInt();
        const Test::TemporaryDatabase place;
        const DatabaseSettings settings = place.settings();
        const auto database = place.open();
        if (!database || !Test::addJobs(*database, jobs).ok())
            qFatal("the database cannot be filled");
        const auto tell = [jobs](const char* what, const std::vector<double>& values,
                                 const char* unit = "ms") {
            Bench::report(QLatin1String(what), QStringLiteral("ours"), jobs, QLatin1String(unit), values);
        };
        int writes = 500;
        tell("slowest write", {slowestWrite(*database, [&writes] { return --writes > 0; })});
        tell("slowest write while read", {slowestWriteMeanwhile(*database, settings)});
        tell("size", {static_cast<double>(QFileInfo(place.file()).size()) / 1e6}, "MB");
        tell("opening", times([&] { return Database::open(settings).ok(); }));
        tell("daily reading", times([&] { return Database::readThrough(settings).ok(); }));
        tell("examination", times([&] { return Database::examine(settings)->empty(); }));
        tell("counting", times([&] { return countSite(*database).ok(); }));
    }
    return 0;
}
