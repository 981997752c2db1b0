#include "backend/pack/LinkRule.h"

#include "backend/pack/FolderListing.h"

namespace KOZAV::Backend {

namespace {

/// The parts of a path, last first, so that the next one is at the back.
std::vector<std::string> reversedParts(const std::string& path)
{
    std::vector<std::string> parts;
    std::size_t end = path.size();
    while (end != std::string::npos) {
        const std::size_t slash = end == 0 ? std::string::npos : path.rfind('/', end - 1);
        const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
        parts.push_back(path.substr(start, end - start));
        end = slash;
    }
    return parts;
}

std::string folderOf(const std::string& name)
{
    const std::size_t slash = name.rfind('/');
    return slash == std::string::npos ? std::string() : name.substr(0, slash);
}

bool isRelative(const std::string& target)
{
    return !target.empty() && target.front() != '/';
}

/// Goes one part on from place, which is relative to the packed folder; false where that leads out of it.
bool step(const std::string& part, std::string* place)
{
    if (part.empty() || part == ".")
        return true;
    if (part != "..") {
        *place += place->empty() ? part : '/' + part;
        return true;
    }
    if (place->empty())
        return false;
    *place = folderOf(*place);
    return true;
}

} // namespace

LinkRule::LinkRule(const std::vector<FolderEntry>& entries)
{
    for (const FolderEntry& entry : entries) {
        if (entry.info.kind == FileKind::SymbolicLink)
            m_targets.emplace(entry.name, &entry.linkTarget);
    }
}

bool LinkRule::staysInside(const FolderEntry& link) const
{
    return staysInsideByText(link) && staysInsideFollowed(link);
}

bool LinkRule::staysInsideByText(const FolderEntry& link) const
{
    if (!isRelative(link.linkTarget))
        return false;
    std::string place = folderOf(link.name);
    std::vector<std::string> parts = reversedParts(link.linkTarget);
    for (; !parts.empty(); parts.pop_back()) {
        if (!step(parts.back(), &place))
            return false;
    }
    return true;
}

bool LinkRule::staysInsideFollowed(const FolderEntry& link) const
{
    constexpr int mostLinks = 40; // as many as operating systems follow
    int followed = 0;
    std::string place = folderOf(link.name);
    std::vector<std::string> parts = reversedParts(link.linkTarget);
    while (!parts.empty()) {
        const std::string part = parts.back();
        parts.pop_back();
        if (!step(part, &place))
            return false;
        const auto next = m_targets.find(place);
        if (next == m_targets.end())
            continue;
        if (++followed > mostLinks || !isRelative(*next->second))
            return false;
        place = folderOf(place);
        const std::vector<std::string> more = reversedParts(*next->second);
        parts.insert(parts.end(), more.begin(), more.end());
    }
    return true;
}

} // namespace KOZAV::Backend
