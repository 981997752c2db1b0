#pragma once

#include "backend/config/Settings.h"
#include "backend/records/CompanyClaim.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace KOZAV::Backend {

class Database;

/// One held company, as its import and the keeper see it.
struct HeldByKeeper
{
    using Clock = std::chrono::steady_clock;

    enum class Standing {
        Held,
        GivenBack,
        Lapsed,    ///< given back since nobody used it
        Abandoned, ///< to be given back by the keeper
        Lost       ///< another import has had it since
    };

    DatabaseSettings database;
    QString company;
    std::chrono::milliseconds lease;
    std::chrono::milliseconds longestIdle;

    std::mutex mutex; ///< guards what follows
    std::unique_ptr<CompanyClaim> claim;
    Standing standing = Standing::Held;
    Clock::time_point renewed;     ///< when the lease was last known to begin
    Clock::time_point nextRenewal; ///< when it is to begin anew
    Clock::time_point unusedUntil; ///< when it lapses
    QString loss;                  ///< not told yet

    /// Begins the lease anew, or finds that the company is lost; says so in the log. With the mutex held.
    Status renew(Database& on);
    /// Gives the company back; on: null for a lock, which needs none. With the mutex held, and the company.
    Status giveBack(Database* on, Standing why);
    /// With the mutex held, and the company.
    [[nodiscard]] bool isLease() const { return claim->isLease(); }
};

/// Looks after the companies that the process holds: has their leases begin anew on a connection of its own,
/// and gives back those that nobody uses. Its thread begins with the first company, and ends before the
/// application object of the process does.
class HoldKeeper final
{
public:
    static HoldKeeper& instance();

    void add(const std::shared_ptr<HeldByKeeper>& held);
    /// Something about a company has changed: the keeper looks at once.
    void wake();

private:
    using Clock = HeldByKeeper::Clock;

    HoldKeeper();
    ~HoldKeeper();
    Q_DISABLE_COPY(HoldKeeper)

    void end();
    void run();
    Clock::time_point tendAll(const std::vector<std::shared_ptr<HeldByKeeper>>& held);
    Status tend(HeldByKeeper& held, Clock::time_point& next);
    Status giveBack(HeldByKeeper& held, HeldByKeeper::Standing why);
    void forget(const std::shared_ptr<HeldByKeeper>& held);
    Result<Database*> database(const DatabaseSettings& settings);

    std::mutex m_mutex; ///< guards what follows
    std::condition_variable m_changed;
    std::vector<std::shared_ptr<HeldByKeeper>> m_held;
    std::thread m_thread;
    bool m_runs = false;
    bool m_ending = false;
    bool m_woken = false;

    // Of the thread alone.
    std::unique_ptr<Database> m_database;
    DatabaseSettings m_databaseSettings;
    bool m_silent = false; ///< the last try to reach a server failed
};

} // namespace KOZAV::Backend
