#pragma once

#include "backend/Status.h"
#include "backend/io/FileLock.h"
#include "backend/store/DocumentStore.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace KOZAV::Backend {

struct ContentDigest;

/// The folders of one location of a local store (docs/store-layout.md) and the steps that change them.
class LocalStoreFolder final
{
public:
    LocalStoreFolder(const std::string& root, StoreLocation location);

    /// Whether the folders are there.
    [[nodiscard]] bool isPrepared() const;
    /// Makes those of the folders that are missing.
    Status prepare() const;

    [[nodiscard]] const StoreLocation& location() const { return m_location; }
    [[nodiscard]] const std::string& path() const { return m_base; }
    [[nodiscard]] const std::string& filesFolder() const { return m_files; }
    [[nodiscard]] const std::string& sumsFolder() const { return m_sums; }
    [[nodiscard]] const std::string& tempFolder() const { return m_temps; }
    [[nodiscard]] const std::string& markPath() const { return m_mark; }
    [[nodiscard]] std::string dataPath(const std::string& name) const;
    [[nodiscard]] std::string sumPath(const std::string& name) const;

    /// Keeps all others from changing the location while it lives. NotFound where that was never made.
    [[nodiscard]] Result<FileLock> lock() const;

    /// The identity of the site that the location belongs to; empty where it is not marked.
    [[nodiscard]] Result<QString> siteMark() const;
    /// Makes the location where it is missing, and marks it. AlreadyExists where it is another site's.
    [[nodiscard]] Status setSiteMark(const QString& identity) const;

    /// What is stored under the name, if anything. Corrupt where length and sum do not fit.
    Result<std::optional<StoredFile>> stored(const std::string& name) const;

    /// Everything that is stored, by name, damaged files included: those keep what their sum says.
    Result<std::vector<StoredFile>> storedFiles() const;
    /// Those of the names that are stored, in their order; damaged ones as above.
    Result<std::vector<StoredFile>> storedFiles(const std::vector<std::string>& names) const;

    /// Corrupt where the digest is not that of the stored file.
    [[nodiscard]] Status checkDigest(const StoredFile& file, const ContentDigest& digest) const;

    /// A complete content that is to be stored, on the disk already.
    struct Content
    {
        StoredFile file;
        bool hasSum = false; ///< it carries its sum
    };

    /// What is to be said of a content that is stored under the name now.
    static StoredFile describe(const std::string& name, const ContentDigest& digest);

    struct Addition
    {
        StoredFile file;
        bool isNew = false; ///< false: the same content was stored already
    };

    /// Steps that move the data from and to its place in the store.
    struct DataMove
    {
        std::function<Status(const std::string& dataPath)> enter;
        std::function<void(const std::string& dataPath)> undo;
    };

    /// Stores a content durably: has move bring in the data, and writes the sum file.
    Result<Addition> add(const Content& content, const DataMove& move) const;

    /// Takes the content that is stored under the name already for the one with this digest, if it is the
    /// same.
    Result<Addition> acceptSame(const StoredFile& existing, const ContentDigest& digest) const;

    /// Removes what is stored under the name; false where nothing is.
    Result<bool> remove(const std::string& name) const;

private:
    [[nodiscard]] std::optional<StoredFile> listed(const std::string& name) const;
    [[nodiscard]] Status corrupt(const std::string& name, const QString& reason) const;
    Result<Addition> addLocked(const Content& content, const DataMove& move) const;
    Status clear(const std::string& name) const;
    Status enter(const Content& content, const DataMove& move) const;
    Status enterWithSum(const StoredFile& file, const DataMove& move) const;
    Status enterBesideSum(const StoredFile& file, const DataMove& move) const;
    Status verify(const StoredFile& file) const;
    Status removeLocked(const std::string& name) const;

    StoreLocation m_location;
    std::string m_base;
    std::string m_files;
    std::string m_sums;
    std::string m_temps;
    std::string m_mark;
};

} // namespace KOZAV::Backend
