#include "backend/operations/PackedContents.h"

#include <algorithm>
#include <deque>
#include <mutex>
#include <utility>

namespace KOZAV::Backend {

namespace {

/// An import writes its row right after it has packed, so the one that is looked for is among the last.
class PackedContents final
{
public:
    static PackedContents& ofThisProcess()
    {
        static PackedContents contents;
        return contents;
    }

    void keep(const std::string& storedName, const ContentDigest& content)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_contents.emplace_back(storedName, content);
        if (m_contents.size() > mostPackedContents)
            m_contents.pop_front();
    }

    std::optional<ContentDigest> find(const std::string& storedName)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = position(storedName);
        return found == m_contents.end() ? std::nullopt : std::optional(found->second);
    }

    void forget(const std::string& storedName)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (const auto found = position(storedName); found != m_contents.end())
            m_contents.erase(found);
    }

private:
    using Contents = std::deque<std::pair<std::string, ContentDigest>>;

    Contents::iterator position(const std::string& storedName)
    {
        return std::find_if(m_contents.begin(), m_contents.end(),
                            [&storedName](const auto& content) { return content.first == storedName; });
    }

    std::mutex m_mutex;
    Contents m_contents; ///< oldest first
};

} // namespace

void keepPackedContent(const std::string& storedName, const ContentDigest& content)
{
    PackedContents::ofThisProcess().keep(storedName, content);
}

std::optional<ContentDigest> packedContent(const std::string& storedName)
{
    return PackedContents::ofThisProcess().find(storedName);
}

void forgetPackedContent(const std::string& storedName)
{
    PackedContents::ofThisProcess().forget(storedName);
}

} // namespace KOZAV::Backend
