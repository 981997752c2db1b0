#pragma once

#include "backend/HostInterface.h"

#include <QString>

#include <optional>
#include <vector>

namespace KOZAV::Host {

struct PanelSource;

/// How far a run of the file import panel is.
struct RunStatus
{
    /// What is done with the current job.
    enum class Step {
        Copying, ///< by the panel itself, which tells nobody how far it is
        Packing, ///< a folder
        Storing, ///< a file: an archive, or what was made of a folder
        Entering ///< its rows
    };

    Step step = Step::Entering;
    QString company;
    QString job;      ///< empty: there is none to come, or the rest is refused
    int number = 0;   ///< of the current job, from 1; 0 before the first; of the last one that was begun
    int count = 0;    ///< of all jobs that the run looks at
    qint64 bytes = 0; ///< of the sources that are done with, and of the current one so far
    qint64 totalBytes = -1; ///< of all sources; -1 while not known: a folder is known when it is packed
    double fraction = 0;    ///< of the work, as far as it can be told, from 0 to 1
    qint64 bytesPerSecond = 0;
    qint64 secondsLeft = -1; ///< -1: too early to tell
};

/// Follows a run of the file import panel through the services' calls and tells how far it is. It asks
/// nobody.
///
/// The panel comes to the entries in the order of the listing, and each accepted one is stored by exactly one
/// call. An entry that the panel leaves out shows in that the next one's is for another.
class RunProgress final
{
public:
    /// Looks through the source: to be made right before the import.
    /// @param nowMs  a monotonic clock, milliseconds, here and below
    RunProgress(const PanelSource& source, qint64 nowMs);

    void serviceCalled(const Backend::OperationEvent& event);
    void serviceWorks(const Backend::WorkProgress& work);

    [[nodiscard]] RunStatus status(qint64 nowMs) const;
    /// Whether no entry is under way: the one before has ended, and the next has not begun.
    [[nodiscard]] bool isBetweenEntries() const { return !m_isUnderWay; }
    /// How many entries are left that the panel has not begun.
    [[nodiscard]] int entriesLeft() const;

private:
    struct Entry
    {
        QString company;
        QString name;
        QString path;
        bool isFolder = false;
        qint64 bytes =
            -1; ///< of the source; of a folder when it is packed, as it was stored where it was small
    };

    void listBatch(const QString& directory);
    void begin(Backend::ServiceOperation operation, const QString& subject);
    void endEntry();
    [[nodiscard]] double doneFraction() const;
    [[nodiscard]] qint64 meanFolderBytes() const;

    std::vector<Entry> m_entries;
    std::size_t m_current = 0; ///< the entry that is under way, or the next one
    bool m_isUnderWay = false;
    bool m_isStopped = false; ///< whoever follows is refused: it counts as not begun
    qint64 m_currentBytes = 0;
    RunStatus::Step m_step = RunStatus::Step::Entering;
    qint64 m_startMs;
};

} // namespace KOZAV::Host
