#include "backend/operations/FailedFlows.h"

#include "backend/database/Database.h"
#include "backend/operations/RowWrites.h"
#include "backend/operations/SiteWork.h"
#include "backend/records/FailedImport.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

namespace KOZAV::Backend {

namespace {

/// From the two states that an import leaves a flow in, and only while nothing says that it is complete.
constexpr const char* withdrawSql =
    "UPDATE job_flow SET state = ?, sub_state = ?, state_user_id = ?, state_time = ?"
    " WHERE ((state = 0 AND sub_state = 0) OR (state = 1 AND sub_state = 2)) AND guid = ?"
    " AND NOT EXISTS (SELECT 1 FROM job_compress WHERE flow_guid = job_flow.guid)";

/// Of whatever site of this process: keys are made once, so one that is not of a database is not found there.
class PendingFlows final
{
public:
    static PendingFlows& ofThisProcess()
    {
        static PendingFlows pending;
        return pending;
    }

    [[nodiscard]] bool isEmpty() const { return m_count.load(std::memory_order_relaxed) == 0; }

    void add(const FailedFlow& flow)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_flows.push_back(flow);
        m_count.store(m_flows.size());
    }

    std::vector<FailedFlow> takeAll()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_count.store(0);
        return std::exchange(m_flows, {});
    }

private:
    std::mutex m_mutex;
    std::vector<FailedFlow> m_flows;
    std::atomic<std::size_t> m_count = 0;
};

RowValues failedStateOf(const FailedFlow& flow)
{
    return RowValues().number(importFailedState).number(importFailedSubState).number(flow.userId).time();
}

bool mayWorkLater(const Status& failed)
{
    return failed.code() == ErrorCode::Unavailable || failed.code() == ErrorCode::OutcomeUnknown;
}

} // namespace

Status withdrawFlow(Operation& call, const FailedFlow& flow, const Status& reason)
{
    // What waits of the import beside the flow is written where it can be, and no reason against this.
    if (ImportRoad& road = ImportRoad::ofThisThread(); road.holdsRows())
        (void)withRows(call, [&road](Database& database) {
            auto sent = road.heldRows().send(database);
            return mayWorkLater(sent) ? sent : Status();
        });
    const auto withdrawn =
        changeFlow(call, withdrawSql, failedStateOf(flow), flow.guid.toStdString(), Durability::Immediate);
    if (withdrawn.ok() || withdrawn.code() == ErrorCode::NotFound)
        return reason;
    if (mayWorkLater(withdrawn))
        withdrawLater(flow);
    return reason.retold(QStringLiteral("%1; the job flow is not marked as failed yet either: %2")
                             .arg(reason.message(), withdrawn.message()));
}

void withdrawLater(const FailedFlow& flow)
{
    PendingFlows::ofThisProcess().add(flow);
}

void withdrawPendingFlows(Database& database)
{
    if (PendingFlows::ofThisProcess().isEmpty())
        return;
    for (const FailedFlow& flow : PendingFlows::ofThisProcess().takeAll()) {
        const QVariantList values = failedStateOf(flow).text(flow.guid).list();
        const auto withdrawn = database.change(withdrawSql, values, Durability::Immediate);
        if (mayWorkLater(withdrawn.status()))
            withdrawLater(flow);
        else if (withdrawn.ok() && withdrawn.value() > 0)
            qCInfo(logDatabase).noquote()
                << QStringLiteral("the job flow %1 of an import that failed is marked as such")
                       .arg(flow.guid);
    }
}

} // namespace KOZAV::Backend
