#pragma once

#include "backend/Status.h"
#include "backend/config/Settings.h"
#include "backend/migrate/FileCopier.h"
#include "backend/migrate/MigrationProgress.h"
#include "backend/records/ClaimedFiles.h"
#include "backend/store/DocumentStore.h"

#include <QString>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace KOZAV::Backend {

/// A stored file that did not come along as the rows ask for.
struct FileLoss
{
    enum class Kind {
        Missing, ///< the source does not have it
        Damaged, ///< what the source has is not what was stored, or cannot be read
        Conflict ///< the target has other content under the name, which is left alone
    };

    Kind kind = Kind::Missing;
    ClaimedFile file;
    QString text;      ///< one clause for people
    bool kept = false; ///< the target has it all the same, from an earlier run
};

/// What a file in quarantine of the target is.
enum class TargetQuarantine {
    Counts,    ///< a file that the target has
    PassedOver ///< none: what lies there has made room
};

/// The stored files that rows name, on their way from one document store to another. Unlike FileMigration,
/// which copies a store whole or fails, this one brings what can be brought and tells of the rest; what is in
/// quarantine is in quarantine on both sides.
class ClaimedFileMigration final
{
public:
    /// The meter outlives it.
    static Result<std::unique_ptr<ClaimedFileMigration>>
    open(const DocumentStoreSettings& source, const DocumentStoreSettings& target, ProgressMeter& meter,
         TargetQuarantine quarantine = TargetQuarantine::Counts);

    /// Looks at both stores for the files and counts what is to be done. Changes nothing.
    Status look(std::vector<ClaimedFile> files);

    /// Has the target hold what it lacks, each compared with its row. Fails only with what stops all of the
    /// work: a server, a full disk.
    Status copy(const TransferFolder& folder);

    /// Has the target's quarantine hold what the source's does.
    Status settle();

    /// Compares the target with what it should hold now; Corrupt where that is not there.
    Status verify();

    [[nodiscard]] const FileCount& all() const { return m_all; }         ///< that either store has
    [[nodiscard]] const FileCount& missing() const { return m_missing; } ///< to be copied, as look() found it
    [[nodiscard]] const FileCount& copied() const { return m_copied; }
    [[nodiscard]] const std::vector<FileLoss>& losses() const { return m_losses; }

private:
    using FileKey = std::pair<std::string, std::string>; ///< file store and name
    struct Place
    {
        StoredFile file;
        bool quarantined = false;
    };
    using Listing = std::map<FileKey, Place>;
    struct Plan
    {
        std::vector<FileTask> tasks;
        qint64 bytes = 0;
    };

    ClaimedFileMigration(DocumentStoreSettings source, DocumentStoreSettings target, ProgressMeter& meter,
                         TargetQuarantine quarantine);

    Result<Listing> list(DocumentStore& store, const DocumentStoreSettings& settings) const;
    Result<Plan> plan(const std::set<FileKey>& keys);
    void planFile(const FileKey& key, const ClaimedFile& file, const Place* source, const Place* target,
                  Plan& plan);
    Status note(const FileTask& task, const Result<FileCopier::Outcome>& outcome,
                std::map<FileKey, Status>& failed);
    Status settleFile(const FileKey& key, bool quarantined);
    void lose(FileLoss::Kind kind, const ClaimedFile& file, const QString& text, bool kept = false);

    DocumentStoreSettings m_sourceSettings;
    DocumentStoreSettings m_targetSettings;
    ProgressMeter& m_meter;
    TargetQuarantine m_quarantine;
    StorePair m_stores;
    std::map<FileKey, ClaimedFile> m_files;
    Plan m_plan;
    std::map<FileKey, ContentDigest> m_held; ///< what the target has or has been brought
    std::map<FileKey, bool> m_quarantined;   ///< of the source's files: where they are
    FileCount m_all;
    FileCount m_missing;
    FileCount m_copied;
    std::vector<FileLoss> m_losses;
};

} // namespace KOZAV::Backend
