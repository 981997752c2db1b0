#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>
#include <vector>

namespace KOZAV::Host {

/// Has work(number) done for each number below count, in their order, by so many threads at once, and look()
/// called meanwhile, about ten times a second, on the calling thread. Neither may throw.
/// @param threads  0: one for each core
template <typename Work, typename Look>
void forEachOnCores(std::size_t count, unsigned threads, const Work& work, const Look& look)
{
    const unsigned wanted = threads == 0 ? std::max(1U, std::thread::hardware_concurrency()) : threads;
    std::atomic<std::size_t> next = 0;
    std::mutex mutex;
    std::condition_variable ended;
    std::size_t working = std::min<std::size_t>(count, wanted);
    std::vector<std::thread> workers;
    for (std::size_t i = working; i > 0; --i)
        workers.emplace_back([&] {
            for (std::size_t number = next++; number < count; number = next++)
                work(number);
            const std::lock_guard<std::mutex> lock(mutex);
            --working;
            ended.notify_one();
        });
    constexpr std::chrono::milliseconds betweenLooks(100);
    std::unique_lock<std::mutex> lock(mutex);
    while (!ended.wait_for(lock, betweenLooks, [&working] { return working == 0; })) {
        lock.unlock();
        look();
        lock.lock();
    }
    lock.unlock();
    for (std::thread& worker : workers)
        worker.join();
}

} // namespace KOZAV::Host
