#include "backend/SiteWatch.h"

#include "backend/Guarded.h"
#include "backend/Operation.h"
#include "backend/database/Database.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDeadlineTimer>

#include <algorithm>
#include <mutex>
#include <set>
#include <thread>

// The thread has a connection of its own and reads in one snapshot, which the write-ahead log gives it:
// nobody waits for it. All that it writes is the time of a reading that found nothing. So a program that ends
// in the middle leaves the reading to the next one, and a damaged database is read again at every start.
//
// Qt SQL must not be used any more when the application object has gone, and the site behind the services
// outlives that. So every watch is listed, and a routine that the application object calls first has them
// end.

namespace KOZAV::Backend {

namespace {

constexpr qint64 dayMs = 24LL * 60 * 60 * 1000;
constexpr qint64 retryMs = 1000;

/// How long a reading is still good for; 0 where another one is due.
qint64 remainingMs(const QString& readTime)
{
    const QDateTime read = QDateTime::fromString(readTime, Qt::ISODateWithMs);
    const qint64 ago = read.isValid() ? read.msecsTo(QDateTime::currentDateTimeUtc()) : dayMs;
    // A time to come is of a clock that has been set back.
    return ago < 0 ? 0 : std::max<qint64>(0, dayMs - ago);
}

Status withAdvice(const Status& damage)
{
    return damage.retold(
        QStringLiteral("%1; end the programs that use it and leave it as it is: \"zav_admin "
                       "check\" tells what is damaged, \"zav_admin restore\" brings a backup back")
            .arg(damage.message()));
}

} // namespace

struct SiteWatch::Private
{
    std::mutex mutex;
    DatabaseSettings settings;
    QDeadlineTimer next{0}; ///< when to ask again whether a reading is due
    Status verdict;         ///< of a reading that has found damage
    std::thread thread;
    bool reading = false;
    bool ended = false; ///< no thread is to begin any more

    void arrange(Database& database);
    void read(const DatabaseSettings& of);
    void wait();
    void end();

    /// The watches of the process.
    class All
    {
    public:
        All()
        {
            qAddPostRoutine([] { all().end(); });
        }
        void add(Private* watch)
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_watches.insert(watch);
        }
        void remove(Private* watch)
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_watches.erase(watch);
        }

    private:
        void end()
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            for (Private* watch : m_watches)
                watch->end();
        }

        std::mutex m_mutex;
        std::set<Private*> m_watches;
    };
    static All& all()
    {
        static All watches;
        return watches;
    }
};

SiteWatch::SiteWatch()
    : d(std::make_unique<Private>())
{
    Private::all().add(d.get());
}

SiteWatch::~SiteWatch()
{
    Private::all().remove(d.get());
    d->end();
}

Status SiteWatch::look(Database& database, const DatabaseSettings& settings)
{
    const std::lock_guard<std::mutex> lock(d->mutex);
    if (!(d->settings == settings)) {
        d->settings = settings;
        d->next = QDeadlineTimer(0);
        d->verdict = {};
    }
    if (d->verdict.ok() && d->next.hasExpired())
        d->arrange(database);
    return d->verdict;
}

void SiteWatch::reset()
{
    d->wait();
    const std::lock_guard<std::mutex> lock(d->mutex);
    d->settings = {};
}

void SiteWatch::Private::arrange(Database& database)
{
    next = QDeadlineTimer(dayMs);
    const auto readTime = database.readThroughTime();
    // Whoever uses the database will meet the failure himself.
    if (ended || !readTime.ok() || settings.driver != QLatin1String("QSQLITE"))
        return;
    if (const qint64 remaining = remainingMs(readTime.value()); remaining > 0) {
        next = QDeadlineTimer(remaining);
        return;
    }
    if (reading) { // One of another configuration.
        next = QDeadlineTimer(retryMs);
        return;
    }
    if (thread.joinable())
        thread.join();
    reading = true;
    thread = std::thread([this, of = settings] { read(of); });
}

void SiteWatch::Private::read(const DatabaseSettings& of)
{
    const auto outcome = guarded([&of] { return Database::readThrough(of); });
    if (outcome.ok())
        qCInfo(logDatabase).noquote()
            << QStringLiteral("database %1: read through, no damage found").arg(of.file);
    else if (outcome.code() == ErrorCode::Corrupt)
        qCCritical(logDatabase).noquote() << outcome.message();
    else
        qCWarning(logDatabase).noquote() << QStringLiteral("cannot read through: %1").arg(outcome.message());
    const std::lock_guard<std::mutex> lock(mutex);
    reading = false;
    if (outcome.code() == ErrorCode::Corrupt && settings == of)
        verdict = withAdvice(outcome);
}

void SiteWatch::Private::wait()
{
    std::thread last;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        last.swap(thread);
    }
    if (last.joinable())
        last.join();
}

void SiteWatch::Private::end()
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        ended = true;
    }
    wait();
}

} // namespace KOZAV::Backend
