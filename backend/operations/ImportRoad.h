#pragma once

#include "backend/Status.h"
#include "backend/operations/HeldRows.h"
#include "backend/store/DocumentStore.h"

#include <QElapsedTimer>
#include <QString>

#include <memory>
#include <optional>
#include <string>

namespace KOZAV::Backend {

class CompanyHold;

/// Where on the road of an import a thread is.
enum class RoadStep {
    None,           ///< on none that is known of
    DriverLookUp,   ///< a batch has asked for a company, of which no entry has come yet
    Storing,        ///< an entry's file is being stored or was, with whatever success
    PipelineLookUp, ///< the entry has asked for its company
    Counted,        ///< the entry has asked for its number
    RowsWritten     ///< the entry's last row was written or refused, or the batch has left the company
};

/// Tells where the calling thread is on the road of an import. Hosts announce nothing: it follows from the
/// order of the service calls alone, which an import makes on one thread, one after the other. So each
/// operation tells its road that it was called, before it does anything that may fail.
class ImportRoad final
{
public:
    static ImportRoad& ofThisThread();

    [[nodiscard]] RoadStep step() const { return m_step; }
    /// Whether the thread is in a batch: from a driver's look-up until the host is asked to refresh its
    /// table. A look-up after which nothing is stored for a minute was none of a driver.
    [[nodiscard]] bool inBatch() const;
    /// The company that the thread is at; empty: none.
    [[nodiscard]] const QString& company() const { return m_company; }

    /// A company is looked for by its name alone. @return which look-up this is: the pipeline's where a file
    /// was stored, or tried to be, since the one before; otherwise a driver's
    RoadStep lookUp(const QString& company);
    /// It was found, with this code.
    void findCompany(const QString& code) { m_companyCode = code; }
    /// A file begins to be stored: an entry begins.
    void beginStoring();
    /// It was stored by this name; empty: it was not.
    void endStoring(const std::string& storedName);
    /// What the store has told of the file that was just stored there.
    void noteStored(const StoreLocation& location, const StoredFile& file);
    /// What is known of a file without asking its store: of the one that the entry of this thread has stored.
    [[nodiscard]] const StoredFile* justStored(const StoreLocation& location,
                                               const std::string& storedName) const;
    /// A number of the company is asked for. Directly after a driver's look-up: it was none of a batch.
    void beginCounting();
    /// That is over.
    /// @param counted  whether the entry has the number
    void endCounting(bool counted = true);
    /// A row names the file that was stored: it is not without one any more.
    void claimFile(const std::string& storedName);
    /// What waits of the entry's rows for the last one. The road does not send it.
    [[nodiscard]] HeldRows& heldRows();
    [[nodiscard]] bool holdsRows() const { return m_heldRows && !m_heldRows->isEmpty(); }
    /// Whether the row of an original file may wait: the entry has stored that file, its company has that
    /// code, and it has its number. Nothing that the row refers to can be missing then.
    [[nodiscard]] bool mayHoldOrigFile(const std::string& storedName, const QString& companyCode) const;
    /// Whether an update of that flow may wait: it is the entry's, of which rows wait already.
    [[nodiscard]] bool mayHoldFlow(const QString& guid) const;

    /// The last row of the entry was written or refused.
    void endEntry();
    /// The company has its new batch number.
    void endCompany();
    /// The batch, or the single import, is over.
    void endBatch();

    /// The flow of the entry is made.
    void makeFlow(const QString& guid);
    /// A row of that flow was not written.
    void failFlow(const QString& guid, const Status& failure);
    /// Why the import of that flow cannot become whole any more; a success where it may.
    [[nodiscard]] Status flowFailure(const QString& guid) const;

    /// The batch waits for nobody any more, for this reason.
    void giveUp(const Status& reason);
    /// The host has the batch end, for this reason: with the next entry or company it has given up.
    void stop(const Status& reason);
    /// Why the batch has given up; a success where it has not.
    [[nodiscard]] const Status& gaveUpFor() const { return m_gaveUpFor; }
    /// Whether the server of the rows has answered when it was asked just now.
    void noteRows(bool answered) { m_rowsAreDoubtful = !answered; }
    /// Whether the rows did not answer when they were asked last in this batch.
    [[nodiscard]] bool rowsAreDoubtful() const { return m_rowsAreDoubtful; }

    /// The file that this thread stored last, while no row names it; empty: none. Tells it once.
    std::string takeUnclaimedFile();

    /// Keeps a hold for as long as the thread's batch is at this company: it is let go of when the company
    /// has its batch number, when the batch goes on to another company or is over, and where it turns out to
    /// have been none.
    void keepForCompany(std::shared_ptr<CompanyHold> hold) { m_keptForCompany = std::move(hold); }
    [[nodiscard]] const std::shared_ptr<CompanyHold>& keptForCompany() const { return m_keptForCompany; }
    /// Keeps a hold until the entry has been given or refused its number, at most until the next entry.
    void keepForEntry(std::shared_ptr<CompanyHold> hold) { m_keptForEntry = std::move(hold); }
    [[nodiscard]] const std::shared_ptr<CompanyHold>& keptForEntry() const { return m_keptForEntry; }

    /// Nothing of the company that the batch is at is to be imported, for this reason.
    void refuseCompany(const Status& reason) { m_companyRefusal = reason; }
    /// Why not; a success where it may be.
    [[nodiscard]] const Status& companyRefusal() const { return m_companyRefusal; }

private:
    void goTo(RoadStep step);
    void leaveCompany();
    void takeStop();

    RoadStep m_step = RoadStep::None;
    bool m_inBatch = false;
    bool m_storedSinceLookUp = false;
    QString m_company;
    QElapsedTimer m_sinceStep;
    std::string m_unclaimedFile;
    StoreLocation m_storedAt;
    std::optional<StoredFile> m_stored;
    QString m_companyCode;
    bool m_isCounted = false;
    std::shared_ptr<HeldRows> m_heldRows; ///< null until a row waits
    QString m_flow;
    Status m_flowFailure;
    Status m_gaveUpFor;
    Status m_stop; ///< asked for while an entry is under way
    bool m_rowsAreDoubtful = false;
    Status m_companyRefusal;
    std::shared_ptr<CompanyHold> m_keptForCompany;
    std::shared_ptr<CompanyHold> m_keptForEntry;
};

} // namespace KOZAV::Backend
