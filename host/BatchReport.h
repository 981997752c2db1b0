#pragma once

#include "host/SiteAccess.h"

#include <QString>
#include <QStringList>

#include <vector>

namespace KOZAV::Host {

/// What became of one entry of a batch directory.
struct BatchReportRow
{
    QString company;
    QString entry;
    QString generatedName;
    QString storedName;
    qint64 bytes = 0;
    double seconds = 0; ///< from the end of the entry before to the end of this one's import
    QString reason;     ///< why it was not imported; empty where it was
    [[nodiscard]] bool imported() const { return reason.isEmpty(); }
};

/// Follows a batch import through the calls that the services receive, and tells entry by entry what became
/// of it.
///
/// The import hands over its result to nobody. But every accepted entry makes exactly one call that stores
/// it, in the order of the listing, and all calls up to the next such call are made for the same entry.
class BatchReport final
{
public:
    /// Takes the listing of the batch directory; to be made before the import starts.
    BatchReport(SiteAccess& site, const QString& batchDirectory);

    /// The import starts now.
    void start();
    void serviceCalled(const ServiceCall& call);
    /// The import has ended: works out the rows.
    void finish();

    /// In the order of the listing; what the import does not look at comes last.
    [[nodiscard]] const std::vector<BatchReportRow>& rows() const { return m_rows; }
    [[nodiscard]] bool allImported() const;
    /// Failures that belong to no single entry, such as a batch number that could not be written.
    [[nodiscard]] const QStringList& remarks() const { return m_remarks; }

private:
    struct Entry
    {
        QString company;
        QString name;
        bool accepted;
    };
    void listEntries(const QString& batchDirectory);
    void listLeftOut(const QString& directory, const QStringList& seen, const QString& company);
    void addRow(const Entry& entry, const std::vector<ServiceCall>& calls);
    /// @return whether the import of the flow is complete
    bool describeJob(BatchReportRow& row, const QString& flowKey);
    static QString failureReason(const Entry& entry, const std::vector<ServiceCall>& calls);

    SiteAccess& m_site;
    qint64 m_lastEndMs = 0;
    std::vector<Entry> m_entries;
    std::vector<BatchReportRow> m_leftOut;
    std::vector<std::vector<ServiceCall>> m_callsByEntry;
    std::vector<BatchReportRow> m_rows;
    QStringList m_remarks;
};

} // namespace KOZAV::Host
