#pragma once

#include "backend/store/DocumentStore.h"

#include <QTemporaryDir>

namespace KOZAV::Test {

/// In which a stored content carries its sum (docs/store-layout.md).
constexpr const char* sumAttribute = "user.kozav.sum";

/// An empty local store in a folder of its own, and a folder beside it for what goes in and comes out.
class StoreBox final
{
public:
    StoreBox();

    [[nodiscard]] Backend::DocumentStore& store() const { return *m_store; }

    /// Closes the store and opens it again, as the next start of a program does.
    void reopen();

    [[nodiscard]] std::string root() const;
    /// A path beside the store; its folder exists.
    [[nodiscard]] std::string beside(const std::string& name) const;
    /// Where the store keeps data and sum of a name.
    [[nodiscard]] std::string data(const std::string& name) const;
    [[nodiscard]] std::string sum(const std::string& name) const;
    [[nodiscard]] std::string temps() const;
    /// Gives the stored content of a name another sum than it carries; an empty text takes the one it carries
    /// away. False where the file system keeps no attributes.
    bool setAttached(const std::string& name, const QByteArray& text) const;

    /// Writes content to a file beside the store and puts that.
    Backend::Result<Backend::StoredFile> put(const std::string& name, const QByteArray& content);
    /// What a get brings; null where it fails.
    QByteArray get(const std::string& name);

private:
    QTemporaryDir m_folder;
    std::unique_ptr<Backend::DocumentStore> m_store;
};

/// The location that a StoreBox works on.
const Backend::StoreLocation& testLocation();

/// Marks the root of a local store as one of a site, in a location that no test uses.
void markRoot(const std::string& root);

/// Opens the local store in root; ends the test program where that fails.
std::unique_ptr<Backend::DocumentStore> openLocalStore(const std::string& root);

/// Takes away the sum that the content at path carries, as a copy without attributes does.
void detachSum(const std::string& path);

/// Role of another process: "--store put|adopt|get <root> <name> <path>", "--store
/// remove|quarantine|restore|purge|mark <root> <name>".
int runStoreRole(const QStringList& arguments);

} // namespace KOZAV::Test
