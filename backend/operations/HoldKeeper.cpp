#include "backend/operations/HoldKeeper.h"

#include "backend/Guarded.h"
#include "backend/Operation.h"
#include "backend/database/Database.h"

#include <QCoreApplication>

#include <algorithm>
#include <utility>

// An import is in its own calls most of the time, and between them in the panel's, so it cannot look after
// its lease. The keeper's thread does, with a connection of its own that waits for a silent server for a few
// seconds only: what it does with one company must not keep it from the next one for long. A renewal that
// fails is tried again, and one that comes too late is no loss as long as nobody else has had the company:
// the row's key tells. So a server that was away for longer than a lease costs nobody his company.
//
// Two locks: the keeper's own guards its list and is held for moments; that of a held company guards its
// claim, also while the server is asked. Whoever has both takes the keeper's last.
//
// Qt SQL must not be used any more when the application object has gone: a routine that this calls first has
// the thread give everything back and end.

namespace KOZAV::Backend {

namespace {

using Clock = HeldByKeeper::Clock;
using Standing = HeldByKeeper::Standing;

constexpr std::chrono::seconds longestSleep{60};
constexpr std::chrono::seconds retryAfter{1};
constexpr int longestAnswerSeconds = 5;

/// Not its thread's, so that an import that holds its company waits no longer for a server than it has to.
DatabaseSettings impatient(DatabaseSettings settings)
{
    settings.readTimeoutSeconds = std::min(settings.readTimeoutSeconds, longestAnswerSeconds);
    settings.writeTimeoutSeconds = std::min(settings.writeTimeoutSeconds, longestAnswerSeconds);
    return settings;
}

} // namespace

Status HeldByKeeper::renew(Database& on)
{
    const auto asked = Clock::now();
    const auto still = claim->renew(on);
    if (!still.ok())
        return still.status();
    if (still.value()) {
        renewed = asked;
        nextRenewal = asked + lease / 3;
        return {};
    }
    standing = Standing::Lost;
    loss = QStringLiteral("the hold on company \"%1\" was not renewed in time and is over; since then %2 has "
                          "had the company. Imports that meet may be refused their number, or have the "
                          "same batch number")
               .arg(company, claim->otherHolder());
    qCWarning(logDatabase).noquote() << loss;
    return {};
}

Status HeldByKeeper::giveBack(Database* on, Standing why)
{
    if (isLease()) {
        if (on == nullptr)
            return Status::unavailable(QStringLiteral("there is no connection"));
        if (auto given = claim->giveBack(*on); !given.ok())
            return given;
    }
    claim.reset();
    standing = why;
    return {};
}

HoldKeeper& HoldKeeper::instance()
{
    static HoldKeeper keeper;
    return keeper;
}

HoldKeeper::HoldKeeper()
{
    qAddPostRoutine([] { instance().end(); });
}

HoldKeeper::~HoldKeeper()
{
    end();
}

void HoldKeeper::add(const std::shared_ptr<HeldByKeeper>& held)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_held.push_back(held);
    m_woken = true;
    if (m_runs) {
        m_changed.notify_one();
        return;
    }
    if (QCoreApplication::instance() == nullptr)
        return;
    m_runs = true;
    m_ending = false;
    m_thread = std::thread([this] { run(); });
}

void HoldKeeper::wake()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_woken = true;
    m_changed.notify_one();
}

/// An application object may follow another one: add() begins anew.
void HoldKeeper::end()
{
    std::thread last;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ending = true;
        last.swap(m_thread);
        m_changed.notify_one();
    }
    if (last.joinable())
        last.join();
}

void HoldKeeper::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_ending) {
        m_woken = false;
        const auto held = m_held;
        lock.unlock();
        const auto next = tendAll(held);
        lock.lock();
        m_changed.wait_until(lock, next, [this] { return m_ending || m_woken; });
    }
    const auto held = std::exchange(m_held, {});
    m_runs = false;
    lock.unlock();
    for (const auto& one : held) {
        const std::lock_guard<std::mutex> own(one->mutex);
        // What a silent server still has as held ends there by itself.
        if (!m_silent && (one->standing == Standing::Held || one->standing == Standing::Abandoned))
            m_silent = !guarded([&] { return giveBack(*one, Standing::GivenBack); }).ok();
    }
    m_database.reset();
}

/// @return when to look again
Clock::time_point HoldKeeper::tendAll(const std::vector<std::shared_ptr<HeldByKeeper>>& held)
{
    auto next = Clock::now() + longestSleep;
    bool needsConnection = false;
    for (const auto& one : held) {
        const std::lock_guard<std::mutex> own(one->mutex);
        const auto tended = guarded([&] { return tend(*one, next); });
        m_silent = !tended.ok();
        if (one->standing == Standing::Held || one->standing == Standing::Abandoned)
            needsConnection = needsConnection || one->isLease();
        else
            forget(one);
    }
    if (!needsConnection)
        m_database.reset();
    return next;
}

Status HoldKeeper::tend(HeldByKeeper& held, Clock::time_point& next)
{
    // Its import has given it back since the list was taken.
    if (!held.claim)
        return {};
    const auto now = Clock::now();
    const bool isOver = held.standing == Standing::Abandoned || held.unusedUntil <= now;
    Status done;
    if (isOver) {
        const auto why = held.standing == Standing::Abandoned ? Standing::GivenBack : Standing::Lapsed;
        done = giveBack(held, why);
        // A lease that cannot be given back has ended when its time is over.
        if (!done.ok() && held.renewed + held.lease <= now)
            held.standing = why;
    } else if (held.standing == Standing::Held && held.isLease() && held.nextRenewal <= now) {
        const auto on = database(held.database);
        done = on.ok() ? held.renew(*on.value()) : on.status();
        if (!done.ok()) {
            qCWarning(logDatabase).noquote()
                << QStringLiteral("the hold on company \"%1\" could not be renewed: %2")
                       .arg(held.company, done.message());
            held.nextRenewal = Clock::now() + std::min<std::chrono::milliseconds>(retryAfter, held.lease / 3);
        }
    }
    if (held.standing == Standing::Held) {
        next = std::min(next, held.unusedUntil);
        if (held.isLease())
            next = std::min(next, held.nextRenewal);
    } else if (held.standing == Standing::Abandoned) {
        next = std::min(next, now + retryAfter);
    }
    return done;
}

Status HoldKeeper::giveBack(HeldByKeeper& held, Standing why)
{
    if (!held.isLease())
        return held.giveBack(nullptr, why);
    const auto on = database(held.database);
    return on.ok() ? held.giveBack(on.value(), why) : on.status();
}

void HoldKeeper::forget(const std::shared_ptr<HeldByKeeper>& held)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_held.erase(std::remove(m_held.begin(), m_held.end(), held), m_held.end());
}

Result<Database*> HoldKeeper::database(const DatabaseSettings& settings)
{
    if (!m_database || !(m_databaseSettings == settings)) {
        m_database.reset();
        auto opened = Database::open(impatient(settings));
        if (!opened.ok())
            return opened.status();
        m_database = std::move(opened.value());
        m_databaseSettings = settings;
    }
    return m_database.get();
}

} // namespace KOZAV::Backend
