#pragma once

#include "backend/Status.h"
#include "backend/config/Settings.h"

#include <QString>

#include <chrono>
#include <functional>
#include <memory>

namespace KOZAV::Backend {

class Database;
struct HeldByKeeper;

/// A company that one import has for himself, so that nobody else takes its job numbers and its batch number
/// meanwhile. A hold of a process that dies ends by itself. Belongs to one thread.
///
/// On a server it is a lease, which a thread with a connection of its own renews. Where that did not succeed
/// in time another import may have got the company: what keeps its numbers apart from then on is
/// inputCompanies alone, and takeLoss() says so.
class CompanyHold final
{
public:
    struct Wanted
    {
        DatabaseSettings database;
        QString userName;
        int companyId = 0;
        QString company; ///< its name, for messages
        std::chrono::milliseconds longestWait{0};
        std::chrono::milliseconds lease{30'000};
        std::chrono::milliseconds longestUnused{60'000}; ///< until somebody uses the company
        std::chrono::milliseconds longestIdle{600'000};  ///< between two uses
    };

    /// Runs work on the rows of the site, in the thread's own way of failing and trying again.
    using WithRows = std::function<Status(const std::function<Status(Database&)>& work)>;

    /// Waits until the company is to be had. Unavailable, naming who has it, where the longest wait is over:
    /// the host is told of the wait while it lasts. Other failures: of the database, or of the lock file.
    static Result<std::shared_ptr<CompanyHold>> acquire(const Wanted& wanted, const WithRows& withRows);

    explicit CompanyHold(std::shared_ptr<HeldByKeeper> held);
    /// Gives the company back, on a server a moment later.
    ~CompanyHold();
    Q_DISABLE_COPY(CompanyHold)

    [[nodiscard]] const QString& company() const;

    /// The company is used from now on: it is not given back in between.
    void beginUse();
    /// It is not used at the moment; if that lasts it is given back.
    void endUse();

    /// Whether the company is still held, or was until it was lost. False: it was given back since nobody
    /// used it. After a pause that was longer than the lease the server is asked.
    bool isKept(const WithRows& withRows);

    /// Where the company was lost to another import since the last call: what happened, in words. Empty:
    /// nothing did.
    QString takeLoss();

    /// Gives the company back now. Where the server does not answer the lease ends by itself.
    void giveBack(Database& database);

private:
    std::shared_ptr<HeldByKeeper> m_held;
};

} // namespace KOZAV::Backend
