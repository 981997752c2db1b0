#include "backend/operations/ImportRoad.h"

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
// concluded here: they are at most taken to be in a batch for a minute.

namespace KOZAV::Backend {

namespace {

constexpr qint64 noBatchAfterMs = 60000;

} // namespace

ImportRoad& ImportRoad::ofThisThread()
{
    thread_local ImportRoad road;
    return road;
}

bool ImportRoad::inBatch() const
{
    return m_inBatch && (m_step != RoadStep::DriverLookUp || !m_sinceDriverLookUp.hasExpired(noBatchAfterMs));
}

RoadStep ImportRoad::lookUp(const QString& company)
{
    if (std::exchange(m_storedSinceLookUp, false)) {
        if (!m_inBatch)
            m_company = company;
        return m_step = RoadStep::PipelineLookUp;
    }
    leaveCompany();
    m_company = company;
    m_inBatch = true;
    m_sinceDriverLookUp.start();
    return m_step = RoadStep::DriverLookUp;
}

void ImportRoad::beginStoring()
{
    m_keptForEntry.reset();
    m_unclaimedFile.clear();
    m_storedSinceLookUp = true;
    m_step = RoadStep::Storing;
}

void ImportRoad::endStoring(const std::string& storedName)
{
    m_unclaimedFile = storedName;
}

void ImportRoad::beginCounting()
{
    if (m_step == RoadStep::DriverLookUp)
        m_inBatch = false;
    m_step = RoadStep::Counted;
}

void ImportRoad::endCounting()
{
    m_keptForEntry.reset();
    if (!m_inBatch)
        m_keptForCompany.reset();
}

void ImportRoad::claimFile(const std::string& storedName)
{
    if (m_unclaimedFile == storedName)
        m_unclaimedFile.clear();
}

void ImportRoad::endEntry()
{
    m_keptForEntry.reset();
    m_step = RoadStep::RowsWritten;
}

void ImportRoad::endCompany()
{
    leaveCompany();
    m_step = RoadStep::RowsWritten;
}

void ImportRoad::endBatch()
{
    leaveCompany();
    m_inBatch = m_storedSinceLookUp = false;
    m_unclaimedFile.clear();
    m_step = RoadStep::None;
}

std::string ImportRoad::takeUnclaimedFile()
{
    return std::exchange(m_unclaimedFile, {});
}

void ImportRoad::leaveCompany()
{
    m_keptForEntry.reset();
    m_keptForCompany.reset();
    m_company.clear();
}

} // namespace KOZAV::Backend
