// One thread a core, each with a file of its own: reading and hashing by turns in one thread costs no
// hand-over between threads, and while one waits for the disk or the server, the others hash. What is done
// leaves in the order in which it was given, so that whoever writes down how far the reading came can name
// one place.

#include "backend/check/ContentReading.h"

#include "backend/io/FilePath.h"
#include "backend/pack/FolderDigest.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace KOZAV::Backend {

namespace {

constexpr unsigned fewestReaders = 2;
constexpr std::size_t waitingForEach = 4;

unsigned readers()
{
    return std::max(fewestReaders, std::thread::hardware_concurrency());
}

} // namespace

ContentReading::ContentReading(DocumentStore& store, CheckMeter& meter, std::string passages)
    : m_store(store)
    , m_meter(meter)
{
    for (unsigned i = 0; i < readers(); ++i) {
        try {
            m_threads.emplace_back(
                [this, passage = joinPath(passages, std::to_string(i))] { work(passage); });
        } catch (const std::system_error&) {
            if (m_threads.empty())
                throw;
            break; // fewer do it as well
        }
    }
}

ContentReading::~ContentReading()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ended = true;
        m_waiting.clear();
    }
    m_changed.notify_all();
    for (std::thread& thread : m_threads)
        thread.join();
}

void ContentReading::add(ReadingTask task)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_waiting.size() < waitingForEach * m_threads.size(); });
    task.number = m_given++;
    m_waiting.push_back(std::move(task));
    m_changed.notify_all();
}

std::vector<ReadingResult> ContentReading::takeDone()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return takeInOrder();
}

std::vector<ReadingResult> ContentReading::finish()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_waiting.empty() && m_inWork == 0; });
    return takeInOrder();
}

std::vector<ReadingResult> ContentReading::takeInOrder()
{
    std::vector<ReadingResult> taken;
    for (auto next = m_done.begin(); next != m_done.end() && next->first == m_taken; ++m_taken) {
        taken.push_back(std::move(next->second));
        next = m_done.erase(next);
    }
    return taken;
}

ReadingResult ContentReading::read(ReadingTask task, const std::string& passage)
{
    auto content =
        m_store.verify(task.location, task.file.name, [this](qint64 bytes) { m_meter.addBytes(bytes); });
    ReadingResult result{std::move(task), std::move(content)};
    const auto& rows = result.task.rows;
    const bool lacksContent =
        std::any_of(rows.begin(), rows.end(), [](const FileRow& row) { return row.lacksContent; });
    if (!lacksContent || !result.content.ok())
        return result;
    // Only once for each row of an earlier release: the archive is looked into where it lies in one piece.
    if (m_store.get(result.task.location, result.task.file.name, passage).ok()) {
        const auto folder = digestPackedFolder(passage);
        if (folder.ok())
            result.folder = folder.value();
        (void)removeFile(passage);
    }
    return result;
}

void ContentReading::work(const std::string& passage)
{
    const StoppableWork part(m_mustStop);
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_ended || !m_waiting.empty(); });
        if (m_waiting.empty())
            return;
        ReadingTask task = std::move(m_waiting.front());
        m_waiting.pop_front();
        ++m_inWork;
        m_changed.notify_all();
        lock.unlock();
        const qint64 number = task.number;
        ReadingResult result = read(std::move(task), passage);
        m_meter.addFile();
        lock.lock();
        m_done.emplace(number, std::move(result));
        --m_inWork;
        m_changed.notify_all();
    }
}

} // namespace KOZAV::Backend
