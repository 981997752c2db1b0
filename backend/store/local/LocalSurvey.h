#pragma once

#include "backend/Status.h"
#include "backend/store/local/LocalQuarantine.h"
#include "backend/store/local/LocalStoreFolder.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace KOZAV::Backend {

/// One look through a location of a local store for what a listing does not show.
///
/// The location is looked through without its lock, so that nobody waits; what looks like a flaw is looked at
/// again under the lock, where nothing is on its way. The memory is that of the names.
class LocalSurvey final
{
public:
    /// @param folder  outlives this object
    explicit LocalSurvey(const LocalStoreFolder& folder);

    [[nodiscard]] Result<std::vector<StoreFlaw>> flaws() const;

    /// Mends a flaw, if it is still there.
    [[nodiscard]] Status mend(const StoreFlaw& flaw) const;

private:
    using Suspects = std::vector<std::string>;

    [[nodiscard]] Result<std::optional<StoreFlaw>> look(const std::string& name) const;
    [[nodiscard]] Result<std::optional<StoreFlaw>> lookAtSum(const std::string& name,
                                                             const FileInfo& data) const;
    [[nodiscard]] bool hasSumFile(const std::string& name, const std::string& known) const;
    [[nodiscard]] Result<Suspects> suspects() const;
    [[nodiscard]] Status addStored(std::vector<StoreFlaw>& flaws) const;
    [[nodiscard]] Status addNotes(std::vector<StoreFlaw>& flaws) const;
    [[nodiscard]] Status addTemps(std::vector<StoreFlaw>& flaws) const;
    [[nodiscard]] std::optional<StoreFlaw> lookAtNote(const std::string& name) const;
    [[nodiscard]] Status removeSum(const std::string& name) const;
    [[nodiscard]] Status writeSumFile(const std::string& name) const;
    [[nodiscard]] Status whileFlawed(const std::string& name, StoreFlaw::Kind kind,
                                     const std::function<Status()>& work) const;
    [[nodiscard]] Status removeNote(const std::string& name) const;
    [[nodiscard]] Status removeTemp(const std::string& name) const;

    const LocalStoreFolder& m_folder;
    LocalQuarantine m_quarantine;
};

} // namespace KOZAV::Backend
