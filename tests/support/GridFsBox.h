#pragma once

#include "backend/store/DocumentStore.h"
#include "tests/support/GridFsPeer.h"

#include <QTemporaryDir>

#include <memory>

namespace KOZAV::Test {

/// A store in GridFS on a server of its own, an empty location in it, and a folder for what goes in and comes
/// out.
class GridFsBox final
{
public:
    /// @param uriOptions  such as "socketTimeoutMS=2000"
    explicit GridFsBox(const PeerOptions& options = {}, QString uriOptions = {});

    [[nodiscard]] GridFsPeer& peer() { return m_peer; }
    [[nodiscard]] Backend::DocumentStore& store() const { return *m_store; }
    [[nodiscard]] const Backend::StoreLocation& location() const { return m_location; }
    /// The connection text of the store, without its password.
    [[nodiscard]] QString uri() const;

    /// Opens the store anew, as the next start of a program does.
    void reopen();

    /// A path in the folder.
    [[nodiscard]] std::string beside(const std::string& name) const;
    /// Names in the folder, sorted.
    [[nodiscard]] QStringList besideNames() const;

    /// Writes content to the file "source" and puts that.
    Backend::Result<Backend::StoredFile> put(const std::string& name, const QByteArray& content);
    /// Fetches to the file "fetched".
    Backend::Status get(const std::string& name);
    /// What a get brings; null where it fails.
    QByteArray contentOf(const std::string& name);

private:
    [[nodiscard]] bool hasLogin() const;

    PeerOptions m_options;
    QString m_uriOptions;
    QTemporaryDir m_folder;
    GridFsPeer m_peer;
    Backend::StoreLocation m_location;
    std::unique_ptr<Backend::DocumentStore> m_store;
};

} // namespace KOZAV::Test
