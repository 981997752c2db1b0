#pragma once

#include "backend/Status.h"
#include "backend/config/Settings.h"

#include <QString>

#include <chrono>
#include <memory>
#include <vector>

namespace KOZAV::Backend {

class Database;

/// Who has a company for himself, for people.
struct CompanyHolder
{
    QString userName;
    QString host;
    qint64 processId = 0;
    QString since; ///< as rowTime() gives it

    /// This process on this machine.
    static CompanyHolder thisProcess(const QString& userName);
    /// "lisa on ws12, process 4711, since 2026-01-31T08:15:00.123Z"
    [[nodiscard]] QString text() const;
};

struct HeldCompany
{
    int companyId = 0;
    CompanyHolder holder;
};

/// What keeps a company for one import, on the engine of its site: a lock of the operating system beside an
/// embedded database, which ends with the process; on a server a row with a lease by the server's clock,
/// which ends unless it is renewed. Used by one thread at a time; where it is a lock it is given back with
/// this object.
class CompanyClaim
{
public:
    /// @param lease  how long a row is valid without being renewed
    static std::unique_ptr<CompanyClaim> make(const DatabaseSettings& settings, int companyId,
                                              CompanyHolder holder, std::chrono::milliseconds lease);
    virtual ~CompanyClaim();
    CompanyClaim() = default;
    Q_DISABLE_COPY(CompanyClaim)

    /// Tries to have the company. @return whether it has it now; otherwise otherHolder() tells who has
    virtual Result<bool> take(Database& database) = 0;
    /// Begins the lease anew. @return whether the company is still this claim's; otherwise otherHolder()
    /// tells whose it is
    virtual Result<bool> renew(Database& database) = 0;
    virtual Status giveBack(Database& database) = 0;

    /// Whether it is one of a server, which has to be renewed and given back there.
    [[nodiscard]] virtual bool isLease() const = 0;
    /// How often it makes sense to try again.
    [[nodiscard]] virtual std::chrono::milliseconds retryAfter() const = 0;

    /// Who had the company when it was not to be had, in words; never empty.
    [[nodiscard]] const QString& otherHolder() const { return m_otherHolder; }

protected:
    QString m_otherHolder = QStringLiteral("another import");
};

/// The companies that are held at the moment, by their numbers. Changes nothing.
Result<std::vector<HeldCompany>> listHeldCompanies(Database& database, const DatabaseSettings& settings);

} // namespace KOZAV::Backend
