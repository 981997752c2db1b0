#include "backend/migrate/FileCrew.h"

#include "backend/Guarded.h"
#include "backend/SafePoint.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>

namespace KOZAV::Backend {

namespace {

/// Small files wait for the disk and for the server more than they take of either: several at once.
constexpr std::size_t mostWorkers = 4;

} // namespace

/// One list of files being brought. The threads share the list, the teller and the first failure, guarded by
/// one mutex.
class FileCrew::Shift final
{
public:
    Shift(const FileCrew& crew, const std::vector<FileTask>& tasks, const Teller& teller)
        : m_crew(crew)
        , m_tasks(tasks)
        , m_teller(teller)
    {
    }

    Status run()
    {
        const std::size_t workers = std::min(mostWorkers, m_tasks.size());
        std::vector<std::thread> threads;
        for (std::size_t i = 1; i < workers; ++i) {
            try {
                threads.emplace_back([this, i] { work(i); });
            } catch (const std::system_error&) {
                break; // fewer do it as well
            }
        }
        if (workers > 0)
            work(0);
        for (std::thread& thread : threads)
            thread.join();
        return m_failure;
    }

private:
    void work(std::size_t number)
    {
        const StoppableWork part(m_mustStop);
        const auto status = guarded("copy stored files", [&] { return bringFiles(number); });
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!status.ok() && m_failure.ok())
            m_failure = status;
        m_ended = m_ended || !status.ok();
    }

    Status bringFiles(std::size_t number)
    {
        auto copier = FileCopier::open(m_crew.m_source, m_crew.m_target,
                                       m_crew.m_folder.path("file-" + std::to_string(number)),
                                       [this](qint64 bytes) { m_crew.m_meter.addBytes(bytes); });
        if (!copier.ok())
            return copier.status();
        for (std::size_t next = m_next++; next < m_tasks.size() && !m_ended; next = m_next++) {
            if (auto goOn = safePoint(); !goOn.ok())
                return goOn;
            const FileTask& task = m_tasks[next];
            const auto outcome = copier.value()->bring(task);
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (auto told = m_teller(task, outcome); !told.ok())
                return told;
        }
        return {};
    }

    const FileCrew& m_crew;
    const std::vector<FileTask>& m_tasks;
    const Teller& m_teller;
    const StoppableWork::Question m_mustStop = StoppableWork::question();
    std::atomic<std::size_t> m_next{0};
    std::atomic<bool> m_ended{false};
    std::mutex m_mutex;
    Status m_failure;
};

FileCrew::FileCrew(const DocumentStoreSettings& source, const DocumentStoreSettings& target,
                   const TransferFolder& folder, ProgressMeter& meter)
    : m_source(source)
    , m_target(target)
    , m_folder(folder)
    , m_meter(meter)
{
}

Status FileCrew::bring(const std::vector<FileTask>& tasks, const Teller& teller)
{
    return Shift(*this, tasks, teller).run();
}

} // namespace KOZAV::Backend
