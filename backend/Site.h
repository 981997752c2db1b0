#pragma once

#include "backend/Status.h"
#include "backend/config/Settings.h"

#include <memory>

namespace KOZAV::Backend {

class Database;
class DocumentStore;

/// The site that this process works on: configuration, rows and stored files behind the service operations.
///
/// The service operations have no parameter for it, so one object serves the process. It opens on first use,
/// follows changes of the configuration file, and opens database and store anew when their sections change.
class Site final
{
public:
    static Site& current();

    /// Fixes the configuration file; to be called before the first use. Closes whatever was open.
    void setConfigurationPath(const QString& path);
    [[nodiscard]] QString configurationPath() const;

    /// The settings as the file now says. Makes the file with defaults where there is none at the default
    /// place or the given one. A file that has become unreadable is an error, never silently replaced by what
    /// was read before.
    Result<Settings> settings();

    /// The database of the calling thread, open and migrated. Owned by the site.
    Result<Database*> database();

    /// The document store. Owned by the site.
    Result<DocumentStore*> documentStore();

    /// Closes the connections of the calling thread and the store; the next use opens them again.
    void close();

    ~Site();
    Q_DISABLE_COPY(Site)

private:
    Site();
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace KOZAV::Backend
