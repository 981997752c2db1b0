#pragma once

#include <string>
#include <unordered_map>
#include <vector>

namespace KOZAV::Backend {

struct FolderEntry;

/// Decides which symbolic links may be packed: those that lead to a place inside the packed folder, both by
/// their text and with every link on their way followed. The disk is not asked; the listing says what is
/// where.
class LinkRule final
{
public:
    explicit LinkRule(const std::vector<FolderEntry>& entries);

    [[nodiscard]] bool staysInside(const FolderEntry& link) const;

private:
    [[nodiscard]] bool staysInsideByText(const FolderEntry& link) const;
    [[nodiscard]] bool staysInsideFollowed(const FolderEntry& link) const;

    std::unordered_map<std::string, const std::string*> m_targets; ///< of every link, by its name
};

} // namespace KOZAV::Backend
