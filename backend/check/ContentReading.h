#pragma once

#include "backend/SafePoint.h"
#include "backend/Status.h"
#include "backend/check/CheckProgress.h"
#include "backend/io/FileCopy.h"
#include "backend/records/SiteAudit.h"
#include "backend/store/DocumentStore.h"

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace KOZAV::Backend {

/// A stored file that is to be read through, with the rows that name it.
struct ReadingTask
{
    qint64 number = 0; ///< 0, 1, 2, … in the order in which they are given
    StoreLocation location;
    StoredFile file; ///< as it was listed
    std::vector<FileRow> rows;
};

struct ReadingResult
{
    ReadingTask task;
    Result<ContentDigest> content;            ///< Corrupt where it is not what was stored
    std::optional<ContentDigest> folder = {}; ///< of a packed folder that a row has to be told of
};

/// Reads stored files on all cores. Files are begun in the order in which they are given and at most a few
/// wait, so memory does not grow with their number.
class ContentReading final
{
public:
    /// @param passages  folder for the archives of packed folders that are to be looked into
    ContentReading(DocumentStore& store, CheckMeter& meter, std::string passages);
    /// Ends the threads; files that were not begun stay unread.
    ~ContentReading();
    Q_DISABLE_COPY(ContentReading)

    /// Waits where as many files are waiting as the readers need.
    void add(ReadingTask task);

    /// What has been read since the last call, in the order of the numbers: a file counts as read when all
    /// before it are.
    std::vector<ReadingResult> takeDone();

    /// Waits until everything that was given is read, and gives the rest.
    std::vector<ReadingResult> finish();

private:
    void work(const std::string& passage);
    ReadingResult read(ReadingTask task, const std::string& passage);
    std::vector<ReadingResult> takeInOrder();

    DocumentStore& m_store;
    CheckMeter& m_meter;
    const StoppableWork::Question m_mustStop = StoppableWork::question();
    std::mutex m_mutex; ///< guards what follows
    std::condition_variable m_changed;
    std::deque<ReadingTask> m_waiting;
    std::map<qint64, ReadingResult> m_done; ///< by number
    qint64 m_given = 0;
    qint64 m_taken = 0;
    qint64 m_inWork = 0;
    bool m_ended = false;
    std::vector<std::thread> m_threads;
};

} // namespace KOZAV::Backend
