#pragma once

#include "backend/Status.h"
#include "backend/config/Settings.h"
#include "backend/io/FileCopy.h"
#include "backend/migrate/FileCopier.h"
#include "backend/migrate/MigrationProgress.h"
#include "backend/records/FileContent.h"
#include "backend/store/DocumentStore.h"

#include <QStringList>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace KOZAV::Backend {

/// The stored files of a site on their way to another.
class FileMigration final
{
public:
    static Result<std::unique_ptr<FileMigration>>
    open(const DocumentStoreSettings& source, const DocumentStoreSettings& target, ProgressMeter& meter);

    /// What the source's rows say of its files: whatever does not agree is Corrupt from now on, and not
    /// brought.
    void expect(const std::vector<FileClaim>& claims);

    /// Looks at both stores and counts what is to be done. AlreadyExists where the target has a file of the
    /// source with other content. Changes nothing.
    Status check(const QStringList& fileStores);

    /// Has the target hold every file that the source has now; those that were brought before are compared
    /// with what is expected by now, and passed over.
    Status copy(const QStringList& fileStores, const TransferFolder& folder);

    /// Compares both stores, file by file, with what was brought. ChangedWhileRead where the source has
    /// others by now, Corrupt where the target does not have what it took.
    Status verify(const QStringList& fileStores);

    [[nodiscard]] const FileCount& all() const { return m_all; }
    [[nodiscard]] const FileCount& missing() const { return m_missing; } ///< as found by check()
    [[nodiscard]] const FileCount& copied() const { return m_copied; }
    [[nodiscard]] qint64 others() const { return m_others; } ///< files that only the target has

private:
    using FileKey = std::pair<std::string, std::string>; ///< file store and name
    using Listing = std::map<FileKey, StoredFile>;
    struct Listings
    {
        Listing source;
        Listing target;
    };

    FileMigration(DocumentStoreSettings source, DocumentStoreSettings target, ProgressMeter& meter);

    static Result<Listing> list(DocumentStore& store, const DocumentStoreSettings& settings,
                                const QStringList& fileStores);
    Result<Listings> listBoth(const QStringList& fileStores);
    Status compareWithTarget(const Listings& now);
    [[nodiscard]] Status checkClaims(const FileKey& key, const ContentDigest& found) const;
    [[nodiscard]] Status checkListed(const FileKey& key, const StoredFile& file) const;
    [[nodiscard]] FileTask taskOf(const FileKey& key, StoredFile file) const;
    void note(const FileTask& task, const FileCopier::Outcome& outcome);

    DocumentStoreSettings m_sourceSettings;
    DocumentStoreSettings m_targetSettings;
    ProgressMeter& m_meter;
    StorePair m_stores;
    std::multimap<FileKey, FileClaim> m_claims;
    std::map<FileKey, ContentDigest> m_brought;
    FileCount m_all;
    FileCount m_missing;
    FileCount m_copied;
    qint64 m_others = 0;
};

} // namespace KOZAV::Backend
