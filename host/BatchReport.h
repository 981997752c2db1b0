#pragma once

#include "backend/HostInterface.h"

#include <QString>
#include <QStringList>

#include <vector>

namespace KOZAV::Host {

enum class BatchResult {
    Imported,
    NotImported,
    Unknown ///< the last answer was lost: the site may have the job, and importing it again may double it
};

/// What became of one entry of a batch directory, as far as the services have acknowledged it.
struct BatchReportRow
{
    QString company;
    QString entry;
    BatchResult result = BatchResult::NotImported;
    QString generatedName;
    QString storedName;
    qint64 bytes = 0;
    double seconds = 0; ///< from the end of the entry before to the end of this one's import
    QString reason;     ///< why it was not imported, or why that is not known
};

/// Follows a batch import through what becomes of the services' calls, and tells entry by entry what became
/// of it. It asks nobody: what was acknowledged stays true when the site cannot be reached any more.
///
/// The import hands over its result to nobody. But every accepted entry makes exactly one call that stores
/// it, in the order of the listing, and all calls up to the next such call are made for the same entry. With
/// the job-compress row, the last one, its import is durable.
class BatchReport final
{
public:
    /// Takes the listing of the batch directory; to be made before the import starts.
    explicit BatchReport(const QString& batchDirectory);

    /// The import starts now.
    void start();
    void serviceCalled(const Backend::OperationEvent& event);
    /// The import has ended: works out the rows.
    void finish();

    /// In the order of the listing; what the import does not look at comes last.
    [[nodiscard]] const std::vector<BatchReportRow>& rows() const { return m_rows; }
    [[nodiscard]] bool allImported() const;
    /// How many entries are imported, of those that have ended by now.
    [[nodiscard]] int importedSoFar() const { return m_imported; }
    /// Failures that belong to no single entry, such as a batch number that could not be written.
    [[nodiscard]] const QStringList& remarks() const { return m_remarks; }

private:
    struct Entry
    {
        QString company;
        QString name;
        bool accepted;
    };
    using Events = std::vector<Backend::OperationEvent>;

    void listEntries(const QString& batchDirectory);
    void listLeftOut(const QString& directory, const QStringList& seen, const QString& company);
    void addRow(const Entry& entry, const Events& events);
    static QString failureReason(const Entry& entry, const Events& events);

    qint64 m_lastEndMs = 0;
    int m_imported = 0;
    std::vector<Entry> m_entries;
    std::vector<BatchReportRow> m_leftOut;
    std::vector<Events> m_eventsByEntry;
    std::vector<BatchReportRow> m_rows;
    QStringList m_remarks;
};

} // namespace KOZAV::Host
