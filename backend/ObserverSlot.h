#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace KOZAV::Backend {

/// An observer may be changed while calls are under way on other threads: each call keeps the one it tells.
template <typename Observer>
class ObserverSlot final
{
public:
    void set(Observer observer)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_observer = observer ? std::make_shared<const Observer>(std::move(observer)) : nullptr;
    }

    std::shared_ptr<const Observer> get()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_observer;
    }

private:
    std::mutex m_mutex;
    std::shared_ptr<const Observer> m_observer;
};

} // namespace KOZAV::Backend
