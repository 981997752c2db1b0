#pragma once

#include "backend/Status.h"
#include "backend/config/Settings.h"
#include "backend/io/FileCopy.h"
#include "backend/io/FileLock.h"
#include "backend/store/DocumentStore.h"

#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace KOZAV::Backend {

struct FileCount
{
    qint64 files = 0;
    qint64 bytes = 0;
};

/// One stored file that is to be brought to another store.
struct FileTask
{
    std::string fileStore;
    StoredFile file;                            ///< as the source listed it
    std::optional<ContentDigest> expected = {}; ///< what it has to hold, where others than the store know it
    bool quarantined = false; ///< it lies in the quarantine of the source; in the target it is stored
};

/// The store that files come from and the one that they go to.
struct StorePair
{
    std::unique_ptr<DocumentStore> source;
    std::unique_ptr<DocumentStore> target;

    static Result<StorePair> open(const DocumentStoreSettings& source, const DocumentStoreSettings& target);
};

/// The folder in an upload cache that files pass through on their way from one store to another. One
/// migration at a time has it; what an interrupted one left in it is removed.
class TransferFolder final
{
public:
    static Result<TransferFolder> open(const QString& uploadCache);

    /// The path of a file in it, local 8-bit.
    [[nodiscard]] std::string path(const std::string& name) const;

private:
    TransferFolder(std::string folder, FileLock lock)
        : m_folder(std::move(folder))
        , m_lock(std::move(lock))
    {
    }

    std::string m_folder;
    FileLock m_lock;
};

/// Brings single files from one document store to another, over stores of its own: several may work at once.
class FileCopier final
{
public:
    /// @param passage  path of the file that content passes through
    /// @param onBytes  told how many bytes of a file to be copied are done
    static Result<std::unique_ptr<FileCopier>> open(const DocumentStoreSettings& source,
                                                    const DocumentStoreSettings& target, std::string passage,
                                                    std::function<void(qint64)> onBytes);

    struct Outcome
    {
        ContentDigest content;
        bool copied = false; ///< false: the target had it already
    };

    /// Has the target hold the file as the source does. AlreadyExists where it holds other content under the
    /// name, ChangedWhileRead where the source no longer has the file, Corrupt where its content is not what
    /// it has to be.
    Result<Outcome> bring(const FileTask& task);

private:
    FileCopier(StoreLocation source, StoreLocation target, std::string passage,
               std::function<void(qint64)> onBytes);

    Result<Outcome> accept(const FileTask& task, const StoredFile& source, const StoredFile& target);
    Result<Outcome> copy(const FileTask& task, const StoredFile& source);
    [[nodiscard]] Status checkExpected(const FileTask& task, const ContentDigest& found) const;
    Status checkArrived(const std::string& name, const ContentDigest& expected);
    Result<ContentDigest> contentOf(DocumentStore& store, const StoreLocation& location,
                                    const StoredFile& file);
    Result<ContentDigest> fetch(DocumentStore& store, const StoreLocation& location, const StoredFile& file,
                                bool quarantined = false);

    StorePair m_stores;
    StoreLocation m_source; ///< the file store is that of the file at hand
    StoreLocation m_target;
    std::string m_passage;
    std::function<void(qint64)> m_onBytes;
};

/// Whether a store's entry is that content; a hash that the store does not have is no contradiction.
bool holds(const StoredFile& file, const ContentDigest& content);

/// The failure of a file that one place has with other content than the other.
Status targetDiffers(const StoreLocation& target, const std::string& name);

/// The failure of a file that is no longer as it was listed. what: "is gone", "is new"
Status sourceChanged(const StoreLocation& source, const std::string& name, const QString& what);

} // namespace KOZAV::Backend
