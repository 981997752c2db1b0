#pragma once

#include "backend/HostInterface.h"
#include "host/core/Remark.h"
#include "host/site/SourceLooks.h"

#include <QHash>
#include <QObject>
#include <QString>

#include <optional>
#include <vector>

namespace KOZAV::Host {

class PanelReport;
class PanelRun;
class ReadAlong;
class SiteAccess;
struct BatchReportRow;
struct PanelSource;

/// Compares what a run of the file import panel has stored with its sources. The panel copies a source as it
/// is at that moment, also one that somebody is still writing, and its services cannot know.
///
/// A job whose source was not what was stored is told as not imported and taken off the waiting list.
/// Archives are read along on a thread of their own; one that is not there to its end is warned of.
class SourceWatch final : public QObject
{
    Q_OBJECT
public:
    /// To be made after the report and before all that need to know which jobs are not imported after all.
    /// @param run  of the panel; outlives this object, as the site and the reports do
    SourceWatch(SiteAccess& site, const PanelRun& run, PanelReport& reports, QObject* parent = nullptr);
    ~SourceWatch() override;

    /// Waits until all archives of the last run are read, and has its report told.
    void finishReading();

Q_SIGNALS:
    /// A job of the run is not imported after all: its source, by the path that the panel has.
    void refuted(const QString& sourcePath);
    /// Jobs of the run were taken off it.
    void waitingListChanged();
    /// Something is known of a source of the last run, whose report is told of it as well, since that ended.
    void warnedLate(const QString& sourcePath, const KOZAV::Host::Remark& remark);

private:
    /// A source of the run, in the order in which the panel comes to them.
    struct Source
    {
        QString path;
        bool isFolder = false;
        SourceLook before; ///< right before its import; of a folder: right after it was packed
        SourceLook after;  ///< right after its import
        QString storedName;
    };
    enum class Verdict { AsStored, Gone, Changed, StillWritten };
    struct Finding
    {
        Verdict verdict = Verdict::AsStored;
        QString text;
    };
    /// An archive that is what was stored if its content is, or, where that cannot be told, if its looks are.
    struct Doubt
    {
        const BatchReportRow* row;
        Source source;
        bool sameLooks;
        Finding otherwise;
    };

    void begin(const PanelSource& source);
    void listBatch(const QString& directory);
    void serviceCalled(const Backend::OperationEvent& event);
    void open(const Backend::OperationEvent& storing);
    [[nodiscard]] std::size_t nextSource(const Backend::OperationEvent& storing) const;
    void lookAtNext();
    void compare();
    [[nodiscard]] const Source* sourceOf(const BatchReportRow& row) const;
    static Finding lookAtFolder(const Source& source);
    [[nodiscard]] Finding lookAtArchive(const Source& source, const BatchReportRow& row,
                                        std::vector<Doubt>& doubts) const;
    void settle(const std::vector<Doubt>& doubts);
    void tell(const Source& source, const BatchReportRow& row, const Finding& finding);
    void refute(const Source& source, const BatchReportRow& row, const Finding& finding);
    void takeRead();

    SiteAccess& m_site;
    const PanelRun& m_run;
    PanelReport& m_reports;
    ReadAlong* m_reader;
    std::vector<Source> m_sources;
    QHash<QString, std::size_t> m_byPath; ///< their numbers, while the rows are compared
    std::size_t m_next = 0;               ///< those before had their turn
    std::optional<std::size_t> m_current; ///< the one that is being imported
    bool m_hasTakenOff = false;
    bool m_compared = false; ///< what is read now comes after the report was told
};

} // namespace KOZAV::Host
