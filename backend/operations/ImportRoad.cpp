#include "backend/operations/ImportRoad.h"

#include "backend/operations/CompanyHold.h"

#include <utility>

// The calls of a batch, as the drivers and pipelines make them:
//
//   look-up of a company by its name            the driver's: nothing was stored before it
//     store a file, look-up, number, rows       an entry; the look-up after the storing is the pipeline's
//     ...
//   batch number                                the company is done
//   ...
//   refresh                                     the batch is done
//
// A single import is an entry without a driver around it, and need not end with a refresh. An entry whose
// company is refused ends there, so that its next call is the storing of the next entry, the batch number, or
// the look-up of another driver. What other hosts call in another order must come to no harm by what is
// concluded here: without a refresh at its end, a batch is over for a driver that comes a minute later.

namespace KOZAV::Backend {

namespace {

constexpr qint64 longPauseMs = 60000;

} // namespace

ImportRoad& ImportRoad::ofThisThread()
{
    thread_local ImportRoad road;
    return road;
}

bool ImportRoad::inBatch() const
{
    return m_inBatch && (m_step != RoadStep::DriverLookUp || !m_sinceStep.hasExpired(longPauseMs));
}

RoadStep ImportRoad::lookUp(const QString& company)
{
    m_companyCode.clear();
    m_isCounted = false;
    if (std::exchange(m_storedSinceLookUp, false)) {
        if (!m_inBatch)
            m_company = company;
        goTo(RoadStep::PipelineLookUp);
    } else {
        leaveCompany();
        m_company = company;
        if (!m_inBatch || m_sinceStep.hasExpired(longPauseMs)) {
            m_gaveUpFor = m_stop = {};
            m_rowsAreDoubtful = false;
        }
        m_inBatch = true;
        takeStop();
        goTo(RoadStep::DriverLookUp);
    }
    return m_step;
}

void ImportRoad::beginStoring()
{
    m_keptForEntry.reset();
    m_unclaimedFile.clear();
    m_stored.reset();
    m_isCounted = false;
    m_storedSinceLookUp = true;
    takeStop();
    if (m_keptForCompany)
        m_keptForCompany->beginUse();
    goTo(RoadStep::Storing);
}

void ImportRoad::endStoring(const std::string& storedName)
{
    m_unclaimedFile = storedName;
    if (m_keptForCompany)
        m_keptForCompany->endUse();
}

void ImportRoad::noteStored(const StoreLocation& location, const StoredFile& file)
{
    m_storedAt = location;
    m_stored = file;
}

const StoredFile* ImportRoad::justStored(const StoreLocation& location, const std::string& storedName) const
{
    const bool isThat = m_stored && m_stored->name == storedName &&
                        m_storedAt.database == location.database &&
                        m_storedAt.fileStore == location.fileStore;
    return isThat ? &*m_stored : nullptr;
}

void ImportRoad::beginCounting()
{
    m_isCounted = false;
    if (m_step == RoadStep::DriverLookUp)
        m_inBatch = false;
    goTo(RoadStep::Counted);
}

void ImportRoad::endCounting(bool counted)
{
    m_isCounted = counted;
    m_keptForEntry.reset();
    if (!m_inBatch)
        m_keptForCompany.reset();
}

void ImportRoad::claimFile(const std::string& storedName)
{
    if (m_unclaimedFile == storedName)
        m_unclaimedFile.clear();
}

HeldRows& ImportRoad::heldRows()
{
    if (!m_heldRows)
        m_heldRows = std::make_shared<HeldRows>();
    return *m_heldRows;
}

bool ImportRoad::mayHoldOrigFile(const std::string& storedName, const QString& companyCode) const
{
    return m_step == RoadStep::Counted && m_isCounted && !holdsRows() && m_stored &&
           m_stored->name == storedName && !companyCode.isEmpty() && m_companyCode == companyCode;
}

bool ImportRoad::mayHoldFlow(const QString& guid) const
{
    return !guid.isEmpty() && guid == m_flow && m_flowFailure.ok() && holdsRows();
}

void ImportRoad::endEntry()
{
    m_stored.reset();
    m_keptForEntry.reset();
    goTo(RoadStep::RowsWritten);
}

void ImportRoad::endCompany()
{
    leaveCompany();
    goTo(RoadStep::RowsWritten);
}

void ImportRoad::endBatch()
{
    leaveCompany();
    m_inBatch = m_storedSinceLookUp = m_rowsAreDoubtful = false;
    m_gaveUpFor = m_stop = {};
    m_unclaimedFile.clear();
    m_stored.reset();
    goTo(RoadStep::None);
}

void ImportRoad::makeFlow(const QString& guid)
{
    m_flow = guid;
    m_flowFailure = {};
    if (m_heldRows)
        m_heldRows->forgetFailure();
}

void ImportRoad::failFlow(const QString& guid, const Status& failure)
{
    if (guid == m_flow && m_flowFailure.ok())
        m_flowFailure = failure;
}

Status ImportRoad::flowFailure(const QString& guid) const
{
    if (guid != m_flow)
        return {};
    return m_flowFailure.ok() && m_heldRows ? m_heldRows->failure() : m_flowFailure;
}

void ImportRoad::giveUp(const Status& reason)
{
    m_gaveUpFor = reason;
}

void ImportRoad::stop(const Status& reason)
{
    if (inBatch())
        m_stop = reason;
}

std::string ImportRoad::takeUnclaimedFile()
{
    return std::exchange(m_unclaimedFile, {});
}

void ImportRoad::goTo(RoadStep step)
{
    m_step = step;
    m_sinceStep.start();
}

void ImportRoad::takeStop()
{
    if (m_gaveUpFor.ok())
        m_gaveUpFor = m_stop;
}

void ImportRoad::leaveCompany()
{
    m_keptForEntry.reset();
    m_keptForCompany.reset();
    m_companyRefusal = {};
    m_company.clear();
}

} // namespace KOZAV::Backend
