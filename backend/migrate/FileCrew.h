#pragma once

#include "backend/Status.h"
#include "backend/config/Settings.h"
#include "backend/migrate/FileCopier.h"
#include "backend/migrate/MigrationProgress.h"

#include <functional>
#include <vector>

namespace KOZAV::Backend {

/// Several threads that bring a list of files from one document store to another, each over stores of its
/// own. What became of each file is told to the caller, who decides whether the work goes on.
class FileCrew final
{
public:
    /// All of them outlive the crew.
    FileCrew(const DocumentStoreSettings& source, const DocumentStoreSettings& target,
             const TransferFolder& folder, ProgressMeter& meter);

    /// Is told of each file as it is done, on any thread, one call at a time. A failure that it returns ends
    /// the work: what others have begun is brought to its end, nothing more is begun.
    using Teller = std::function<Status(const FileTask& task, const Result<FileCopier::Outcome>& outcome)>;

    /// @return the first failure that ended the work
    Status bring(const std::vector<FileTask>& tasks, const Teller& teller);

private:
    class Shift;

    const DocumentStoreSettings& m_source;
    const DocumentStoreSettings& m_target;
    const TransferFolder& m_folder;
    ProgressMeter& m_meter;
};

} // namespace KOZAV::Backend
