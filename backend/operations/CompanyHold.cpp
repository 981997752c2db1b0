#include "backend/operations/CompanyHold.h"

#include "backend/operations/HoldKeeper.h"
#include "backend/operations/ToldWait.h"
#include "backend/records/CompanyClaim.h"

#include <utility>

namespace KOZAV::Backend {

namespace {

using Clock = HeldByKeeper::Clock;
using Standing = HeldByKeeper::Standing;

Status heldByAnother(const CompanyHold::Wanted& wanted, const CompanyClaim& claim)
{
    return Status::unavailable(QStringLiteral("the company \"%1\" is held by %2; waited for it %3 s")
                                   .arg(wanted.company, claim.otherHolder())
                                   .arg(std::chrono::duration<double>(wanted.longestWait).count()));
}

/// Waits for the claim. @param taken  when the try began that had it
Status take(CompanyClaim& claim, const CompanyHold::Wanted& wanted, const CompanyHold::WithRows& withRows,
            Clock::time_point& taken)
{
    ServiceWait told;
    told.cause = ServiceWait::Cause::Company;
    told.company = wanted.company;
    ToldWait wait(told, wanted.longestWait);
    for (;;) {
        bool isTaken = false;
        auto tried = withRows([&](Database& database) {
            taken = Clock::now();
            const auto had = claim.take(database);
            isTaken = had.ok() && had.value();
            return had.status();
        });
        if (!tried.ok() || isTaken)
            return tried;
        wait.told().holder = claim.otherHolder();
        wait.told().reason = QStringLiteral("the company is held by %1").arg(claim.otherHolder());
        if (!wait.pause(claim.retryAfter()))
            return heldByAnother(wanted, claim);
    }
}

} // namespace

Result<std::shared_ptr<CompanyHold>> CompanyHold::acquire(const Wanted& wanted, const WithRows& withRows)
{
    auto held = std::make_shared<HeldByKeeper>();
    held->database = wanted.database;
    held->company = wanted.company;
    held->lease = wanted.lease;
    held->longestIdle = wanted.longestIdle;
    held->claim = CompanyClaim::make(wanted.database, wanted.companyId,
                                     CompanyHolder::thisProcess(wanted.userName), wanted.lease);
    if (const auto taken = take(*held->claim, wanted, withRows, held->renewed); !taken.ok())
        return taken;
    held->nextRenewal = held->renewed + wanted.lease / 3;
    held->unusedUntil = Clock::now() + wanted.longestUnused;
    HoldKeeper::instance().add(held);
    return std::make_shared<CompanyHold>(std::move(held));
}

CompanyHold::CompanyHold(std::shared_ptr<HeldByKeeper> held)
    : m_held(std::move(held))
{
}

CompanyHold::~CompanyHold()
{
    {
        const std::lock_guard<std::mutex> lock(m_held->mutex);
        if (m_held->standing != Standing::Held)
            return;
        if (!m_held->isLease())
            (void)m_held->giveBack(nullptr, Standing::GivenBack);
        else
            m_held->standing = Standing::Abandoned;
    }
    HoldKeeper::instance().wake();
}

const QString& CompanyHold::company() const
{
    return m_held->company;
}

void CompanyHold::beginUse()
{
    const std::lock_guard<std::mutex> lock(m_held->mutex);
    m_held->unusedUntil = Clock::time_point::max();
}

void CompanyHold::endUse()
{
    {
        const std::lock_guard<std::mutex> lock(m_held->mutex);
        m_held->unusedUntil = Clock::now() + m_held->longestIdle;
    }
    HoldKeeper::instance().wake();
}

bool CompanyHold::isKept(const WithRows& withRows)
{
    const std::lock_guard<std::mutex> lock(m_held->mutex);
    if (m_held->standing == Standing::Held && m_held->isLease() &&
        m_held->renewed + m_held->lease <= Clock::now())
        // Where the server does not answer, whoever asked will meet that himself.
        (void)withRows([this](Database& database) { return m_held->renew(database); });
    return m_held->standing == Standing::Held || m_held->standing == Standing::Lost;
}

QString CompanyHold::takeLoss()
{
    const std::lock_guard<std::mutex> lock(m_held->mutex);
    return std::exchange(m_held->loss, {});
}

void CompanyHold::giveBack(Database& database)
{
    {
        const std::lock_guard<std::mutex> lock(m_held->mutex);
        if (m_held->standing != Standing::Held)
            return;
        if (m_held->giveBack(&database, Standing::GivenBack).ok())
            return;
        m_held->standing = Standing::Abandoned;
    }
    HoldKeeper::instance().wake();
}

} // namespace KOZAV::Backend
