// The listing is the one truth of a packing: what is compressed, in which order, and what everything is
// compared with later. It is made from open folders downwards, links never followed, so nothing outside gets
// in even while others rename things in it. Nothing is left out silently: what cannot be packed fails the
// listing by its name.
//
// A link may be packed only if whoever unpacks the archive anywhere stays in the folder with it. Its text
// alone does not show that: "a/up/../x" leads elsewhere where "a/up" is a link. So it is followed through the
// links of the listing as well, and refused where either way leads out, or where it never ends.

#include "backend/pack/FolderListing.h"

#include "backend/Text.h"
#include "backend/WorkWatch.h"
#include "backend/io/FilePath.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

namespace KOZAV::Backend {

namespace {

Status refused(const std::string& path, const QString& reason)
{
    return Status::invalidArgument(QStringLiteral("cannot pack %1: %2").arg(displayPath(path), reason));
}

/// Control characters other than these cannot be told from another code page in a zip archive.
bool isUnusualControl(char c)
{
    return static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r';
}

Status checkName(const std::string& name, const std::string& path)
{
    if (!isValidUtf8(name))
        return refused(path, QStringLiteral("its name is not valid UTF-8"));
    if (std::any_of(name.begin(), name.end(), isUnusualControl))
        return refused(path, QStringLiteral("its name has control characters"));
    return {};
}

std::string withoutSlash(const std::string& entryName)
{
    const bool isFolder = !entryName.empty() && entryName.back() == '/';
    return isFolder ? entryName.substr(0, entryName.size() - 1) : entryName;
}

/// The parts of a path, last first, so that the next one is at the back.
std::vector<std::string> reversedParts(const std::string& path)
{
    std::vector<std::string> parts;
    std::size_t end = path.size();
    while (end != std::string::npos) {
        const auto slash = end == 0 ? std::string::npos : path.rfind('/', end - 1);
        const auto start = slash == std::string::npos ? 0 : slash + 1;
        parts.push_back(path.substr(start, end - start));
        end = slash;
    }
    return parts;
}

std::string folderOf(const std::string& name)
{
    const auto slash = name.rfind('/');
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

/// Decides which symbolic links may be packed: those that lead to a place inside the packed folder, both by
/// their text and with every link on their way followed. The disk is not asked; the listing says what is
/// where.
class LinkRule final
{
public:
    explicit LinkRule(const std::vector<FolderEntry>& entries);

    [[nodiscard]] bool staysInside(const FolderEntry& link) const;

private:
    [[nodiscard]] static bool staysInsideByText(const FolderEntry& link);
    [[nodiscard]] bool staysInsideFollowed(const FolderEntry& link) const;

    std::unordered_map<std::string, const std::string*> m_targets; ///< of every link, by its name
};

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

bool LinkRule::staysInsideByText(const FolderEntry& link)
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

class Lister final
{
public:
    Lister(FolderListing* listing, const std::string& without)
        : m_listing(*listing)
        , m_without(without)
    {
    }

    Status run();

private:
    Status listSubfolder(const std::string& relativePath);
    Status add(const Folder& folder, const std::string& name, const std::string& relativePath);
    Status checkLinks() const;

    FolderListing& m_listing;
    const std::string& m_without;
    std::vector<std::string> m_pending; ///< folders found but not listed yet; "" is the packed folder itself
};

Status Lister::run()
{
    m_pending.emplace_back();
    while (!m_pending.empty()) {
        const std::string relativePath = std::move(m_pending.back());
        m_pending.pop_back();
        if (auto listed = listSubfolder(relativePath); !listed.ok())
            return listed;
    }
    std::sort(m_listing.entries.begin(), m_listing.entries.end(),
              [](const FolderEntry& left, const FolderEntry& right) { return left.name < right.name; });
    return checkLinks();
}

Status Lister::listSubfolder(const std::string& relativePath)
{
    const auto folder = m_listing.root.openFolder(relativePath.empty() ? "." : relativePath);
    if (!folder.ok())
        return folder.status();
    const auto names = folder->names();
    if (!names.ok())
        return names.status();
    for (const std::string& name : names.value()) {
        tellWork(WorkProgress::Stage::Listing);
        if (auto added = add(folder.value(), name, joinPath(relativePath, name)); !added.ok())
            return added;
    }
    return {};
}

Status Lister::add(const Folder& folder, const std::string& name, const std::string& relativePath)
{
    const std::string path = joinPath(m_listing.root.path(), relativePath);
    if (auto named = checkName(name, path); !named.ok())
        return named;
    const auto info = folder.entryInfo(name);
    if (!info.ok())
        return info.code() == ErrorCode::NotFound ? changedWhilePacked(path) : info.status();
    if (relativePath == m_without && info->kind != FileKind::Directory)
        return {};
    FolderEntry entry{relativePath, info.value(), {}};
    switch (info->kind) {
    case FileKind::Regular:
        break;
    case FileKind::Directory:
        m_pending.push_back(relativePath);
        entry.name += '/';
        break;
    case FileKind::SymbolicLink: {
        auto target = folder.linkTarget(name);
        if (!target.ok())
            return target.status();
        entry.linkTarget = std::move(target.value());
        break;
    }
    default:
        return refused(path, QStringLiteral("it is %1").arg(kindText(info->kind)));
    }
    m_listing.entries.push_back(std::move(entry));
    return {};
}

Status Lister::checkLinks() const
{
    const LinkRule rule(m_listing.entries);
    for (const FolderEntry& entry : m_listing.entries) {
        if (entry.info.kind == FileKind::SymbolicLink && !rule.staysInside(entry))
            return refused(m_listing.pathOf(entry),
                           QStringLiteral("the symbolic link to %1 leads out of the folder")
                               .arg(displayPath(entry.linkTarget)));
    }
    return {};
}

} // namespace

std::string FolderListing::pathOf(const FolderEntry& entry) const
{
    return joinPath(root.path(), withoutSlash(entry.name));
}

Result<FolderListing> listFolder(const std::string& path, const std::string& without)
{
    auto root = Folder::open(path);
    if (!root.ok())
        return root.status();
    const auto rootInfo = root->info();
    if (!rootInfo.ok())
        return rootInfo.status();
    FolderListing listing{std::move(root.value()), rootInfo.value(), {}};
    if (const auto listed = Lister(&listing, without).run(); !listed.ok())
        return listed;
    return listing;
}

Status verifyUnchanged(const FolderListing& listing)
{
    const auto rootInfo = listing.root.info();
    if (!rootInfo.ok() || !rootInfo->isSameState(listing.rootInfo))
        return changedWhilePacked(listing.root.path());
    for (const FolderEntry& entry : listing.entries) {
        tellWork(WorkProgress::Stage::Listing);
        const auto info = listing.root.entryInfo(withoutSlash(entry.name));
        if (!info.ok() || !info->isSameState(entry.info))
            return changedWhilePacked(listing.pathOf(entry));
    }
    return {};
}

Status changedWhilePacked(const std::string& path)
{
    return Status::changedWhileRead(
        QStringLiteral("cannot pack %1: it was changed or removed meanwhile").arg(displayPath(path)));
}

} // namespace KOZAV::Backend
