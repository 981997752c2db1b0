#pragma once

#include "backend/Status.h"
#include "backend/io/File.h"
#include "backend/io/FileCopy.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>

namespace KOZAV::Backend {

class TempFile;

/// A file that one thread of this process is still writing while another one reads what is final of it: one
/// writer and one reader. It has to outlive both.
class GrowingFile final
{
public:
    GrowingFile() = default;
    Q_DISABLE_COPY(GrowingFile)

    // Of the writer, which ends with finish() or fail(); what comes after either is not heard.

    /// Opens the file at path for its reader; to be called before the first advance(). The file may be
    /// renamed later. name is what messages call it. Both are local 8-bit.
    Status begin(const std::string& path, const std::string& name);
    /// The same with the writer's own open file, which is closed with this object: a limit of open files is
    /// one further away.
    void begin(TempFile& file);
    /// Says that the bytes below this offset are written and will not be changed again.
    void advance(qint64 finalBytes);
    /// Says that the whole file is there, under the name that it is to have.
    void finish(qint64 length);
    /// Says why there will be no whole file.
    void fail(const Status& reason);
    /// Whether the reader has no use for the file any more: the writer may as well end.
    [[nodiscard]] bool isGivenUp() const { return m_givenUp; }

    // Of the reader.

    /// Waits until more than offset bytes are final, or all are. @return how many are; offset itself at the
    /// end of the file; the writer's failure, also where more bytes were final
    Result<qint64> waitBeyond(qint64 offset);
    /// Waits until the whole file is there. @return its length, or the writer's failure
    Result<qint64> waitForEnd();
    /// The open file, once a wait has succeeded. Only bytes that are final are to be read.
    [[nodiscard]] const File& file() const { return m_file; }
    /// Lets the writer know that nobody reads on.
    void giveUp() { m_givenUp = true; }

    /// The offset that the reader came to, for whoever tells how far it is.
    [[nodiscard]] qint64 readBytes() const { return m_readBytes; }

private:
    template <typename Change>
    void change(Change&& change);

    File m_file;
    std::atomic<bool> m_givenUp{false};
    std::atomic<qint64> m_readBytes{0};
    std::mutex m_mutex; ///< guards everything below
    std::condition_variable m_changed;
    qint64 m_finalBytes = 0;
    bool m_ended = false;
    Status m_failure;
};

/// Reads a growing file behind its writer, to its end, and tells its digest; the writer's failure where that
/// fails. The file stays one whose digest this is for as long as nobody else writes to it.
Result<ContentDigest> digestGrowing(GrowingFile& growing);

} // namespace KOZAV::Backend
