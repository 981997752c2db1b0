#include "backend/operations/FreshNames.h"

namespace KOZAV::Backend {

namespace {

// An import makes a few and uses one of them at once.
constexpr std::size_t mostRemembered = 1024;

} // namespace

FreshNames& FreshNames::ofThisProcess()
{
    static FreshNames names;
    return names;
}

void FreshNames::remember(const std::string& identifier)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_fresh.insert(identifier);
    m_order.push_back(identifier);
    if (m_order.size() > mostRemembered) {
        m_fresh.erase(m_order.front());
        m_order.pop_front();
    }
}

NameUse FreshNames::useOf(const std::string& storedName)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const bool fresh = m_fresh.erase(storedName.substr(0, storedName.find('.'))) > 0;
    return fresh ? NameUse::Fresh : NameUse::MayBeTaken;
}

} // namespace KOZAV::Backend
