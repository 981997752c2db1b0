#pragma once

#include "backend/HostInterface.h"
#include "host/core/Remark.h"

#include <QDateTime>
#include <QHash>
#include <QString>

#include <optional>
#include <vector>

namespace KOZAV::Host {

struct PanelSource;

enum class BatchResult {
    Imported,
    NotImported,
    Unknown, ///< the last answer was lost: the site may have the job, and importing it again may double it
    LeftOut  ///< as was asked for: the site has its content, or the batch has it once more
};

/// The result as a word, such as "not-imported".
QString resultName(BatchResult result);

/// What became of one entry of a batch directory, or of one single source, as far as the services have
/// acknowledged it.
struct BatchReportRow
{
    QString company;
    QString entry;
    BatchResult result = BatchResult::NotImported;
    QString generatedName;
    QString storedName;
    qint64 bytes = 0;
    double seconds = 0; ///< from the end of the entry before to the end of this one's import
    QString reason;     ///< why it was not imported or left out, or why that is not known
    QString reasonCode; ///< the same as a word of codeMeanings() (Reasons.h)
    QString flowKey;
    QString sourcePath;           ///< absolute path; empty where the name on the disk is no text
    std::vector<Remark> warnings; ///< what else is to be known of it, whatever its result

    /// Imported, and nothing else to be known of it.
    [[nodiscard]] bool isPlain() const { return result == BatchResult::Imported && warnings.empty(); }
    /// Imported, or left out as was asked for.
    [[nodiscard]] bool isSettled() const
    {
        return result == BatchResult::Imported || result == BatchResult::LeftOut;
    }
};

/// A directory that the panel imports in place of a batch directory, of which it holds a part: by its names,
/// and with links to its entries.
struct BatchStandIn
{
    /// An entry that it does not hold, on purpose.
    struct LeftOut
    {
        QString reason;
        QString code;
        QString generatedName; ///< of the job that has its content, where the site has one
    };

    QString directory;               ///< empty: there is none
    QString original;                ///< the batch directory
    QHash<QString, LeftOut> leftOut; ///< by the paths of the entries

    /// The path in the batch directory that a path in the stand-in stands for; any other as it is.
    [[nodiscard]] QString originalOf(const QString& path) const;
    /// A text, with the places that it names replaced by those that they stand for.
    [[nodiscard]] QString inOriginalWords(const QString& text) const;
};

/// Follows a run of the file import panel through what becomes of the services' calls, and tells entry by
/// entry what became of it. It asks nobody: what was acknowledged stays true when the site cannot be reached
/// any more. A single source is a batch of one entry.
///
/// The import hands over its result to nobody. But every accepted entry makes exactly one call that stores
/// it, in the order of the listing, and with the job-compress row, the last one, its import is durable.
class BatchReport final
{
public:
    /// Looks through the source: to be made right before the import.
    /// @param standIn  where it is the source: the rows are those of the batch directory
    /// @param rowsAreEmbedded  whether the site's rows are a file, not on a server
    explicit BatchReport(const PanelSource& source, BatchStandIn standIn = {}, bool rowsAreEmbedded = true);

    void serviceCalled(const Backend::OperationEvent& event);
    /// The import has ended: makes the rows.
    void finish();

    /// Something to be known of one source (its own path, or the one that stands for it), of which there is
    /// no row where the import does not know it: then it is a remark of the run. May be told at any time.
    void warn(const QString& sourcePath, const Remark& remark);
    /// The source was not what was stored: it is not imported, whatever the services have said; or, as
    /// result, that is not known, since the site still has the job.
    void refute(const QString& sourcePath, const Remark& remark,
                BatchResult result = BatchResult::NotImported);
    /// Something to be known of the run.
    void remark(const Remark& remark);

    /// In the order of the listing; what the import does not look at comes last. None before finish().
    [[nodiscard]] const std::vector<BatchReportRow>& rows() const { return m_rows; }
    [[nodiscard]] int count(BatchResult result) const;
    /// Whether every entry is imported, or left out as was asked for.
    [[nodiscard]] bool isSettled() const;
    /// How many entries are imported, of those that have ended by now.
    [[nodiscard]] int importedSoFar() const { return m_imported; }
    /// What belongs to no single entry, such as a batch number that could not be written.
    [[nodiscard]] const std::vector<Remark>& remarks() const { return m_remarks; }
    [[nodiscard]] const QString& sourcePath() const { return m_path; }
    [[nodiscard]] const QDateTime& startTime() const { return m_startTime; }
    [[nodiscard]] const QDateTime& endTime() const { return m_endTime; }

private:
    using Events = std::vector<Backend::OperationEvent>;
    struct Entry
    {
        QString company;
        QString name;
        QString path;
        bool isFolder = false;
        bool isAccepted = true; ///< and given to the import
        Events events;
        Remark refusal; ///< by its suffix; its code empty where there is none
    };
    struct Told
    {
        std::vector<Remark> warnings;
        std::optional<Remark> refutation;              ///< why it is not imported, in spite of all
        BatchResult result = BatchResult::NotImported; ///< of a refutation
    };

    void list(const PanelSource& source);
    void tell(const QString& path, const Told& told);
    void lookUp(const Backend::OperationEvent& event);
    void open(const Backend::OperationEvent& storing);
    void checkName(const QString& jobName);
    void close();
    [[nodiscard]] std::size_t nextFolder(const QString& path) const;
    [[nodiscard]] std::size_t nextArchive(const QString& suffix, const QString& baseName) const;
    std::size_t insertUnlisted(Entry entry);
    [[nodiscard]] bool wasImported(const BatchReportRow& unseen) const;
    BatchReportRow rowOf(const Entry& entry);
    [[nodiscard]] Remark failureReason(const Entry& entry) const;
    [[nodiscard]] QString codeOf(const Backend::OperationEvent& failed) const;

    QString m_path;
    BatchStandIn m_standIn;
    bool m_rowsAreEmbedded;
    QDateTime m_startTime;
    QDateTime m_endTime;
    qint64 m_lastEndMs = 0;
    int m_imported = 0;
    std::vector<Entry> m_entries;
    std::size_t m_next = 0;            ///< the entries before had their turn
    std::optional<std::size_t> m_open; ///< the entry that the calls are made for now
    QString m_company;                 ///< the one that the import has come to; empty for a single source
    QHash<QString, Remark> m_lookUpFailures; ///< by company
    std::vector<BatchReportRow> m_unseen;
    QHash<QString, Told> m_told; ///< by path
    std::vector<BatchReportRow> m_rows;
    std::vector<Remark> m_remarks;
};

} // namespace KOZAV::Host
