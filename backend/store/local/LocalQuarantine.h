#pragma once

#include "backend/Status.h"
#include "backend/store/local/LocalStoreFolder.h"

#include <optional>
#include <string>
#include <vector>

namespace KOZAV::Backend {

/// The quarantine of one location of a local store (docs/store-layout.md): two folders, as the location has
/// them. All that changes something waits for the lock of the location.
class LocalQuarantine final
{
public:
    /// @param folder  outlives this object
    explicit LocalQuarantine(const LocalStoreFolder& folder);

    /// Moves a stored file, damaged or not, into the quarantine.
    [[nodiscard]] Status take(const std::string& name) const;
    /// The same for content that has no sum. A success where there is none.
    [[nodiscard]] Status takeUnknown(const std::string& name) const;

    [[nodiscard]] Result<std::vector<QuarantinedFile>> files() const;
    /// One of them; none where the quarantine does not have it.
    [[nodiscard]] std::optional<QuarantinedFile> find(const std::string& name) const;
    [[nodiscard]] Status putBack(const std::string& name) const;
    [[nodiscard]] Status purge(const std::string& name) const;

    [[nodiscard]] std::string dataPath(const std::string& name) const;
    [[nodiscard]] std::string notePath(const std::string& name) const;
    [[nodiscard]] const std::string& notesFolder() const { return m_notes; }

private:
    struct Note
    {
        QDateTime since;
        std::string sum; ///< the sum file as it was; empty where there was none
    };

    [[nodiscard]] Status prepare() const;
    [[nodiscard]] Status takeLocked(const std::string& name) const;
    [[nodiscard]] Status putBackLocked(const std::string& name) const;
    [[nodiscard]] Status requireFree(const std::string& name) const;
    [[nodiscard]] Status moveData(const std::string& from, const std::string& to) const;
    [[nodiscard]] Result<Note> note(const std::string& name) const;
    [[nodiscard]] QuarantinedFile file(const std::string& name) const;

    const LocalStoreFolder& m_folder;
    std::string m_base;
    std::string m_files;
    std::string m_notes;
};

} // namespace KOZAV::Backend
