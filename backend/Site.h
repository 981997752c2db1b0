#pragma once

#include "backend/Status.h"
#include "backend/config/Settings.h"

#include <memory>

namespace KOZAV::Backend {

class Database;
class DocumentStore;

/// One site: a configuration file, and the rows and stored files that it names.
///
/// It opens on first use, follows changes of the configuration file, and opens database and store anew when
/// their sections change. Threads may share one; those that do end before it does.
class Site final
{
public:
    /// What a site is opened for.
    enum class Use {
        Services, ///< as long as the process runs: a configuration file and folders that are missing are
                  ///< made, what is wrong with the configuration is logged, and a server that did not answer
                  ///< is left alone for a while
        OneRun    ///< one run of a program: nothing is made or logged; the caller tells what fails
    };

    /// @param configurationPath  see Backend::configurationPath()
    explicit Site(const QString& configurationPath, Use use = Use::OneRun);
    ~Site();
    Q_DISABLE_COPY(Site)

    /// The site behind the service operations, which have no parameter for it.
    static Site& current();

    /// Works on another configuration file from now on. Closes whatever was open.
    void setConfigurationPath(const QString& path);
    [[nodiscard]] QString configurationPath() const;

    /// The settings as the file now says. A file that has become unreadable is an error, never silently
    /// replaced by what was read before.
    Result<Settings> settings();

    /// The database of the calling thread, open and migrated. Owned by the site.
    Result<Database*> database();

    /// The document store. Owned by the site.
    Result<DocumentStore*> documentStore();

    /// Closes the connections of the calling thread and the store; the next use opens them again. Waits for
    /// the daily reading of the database (SiteWatch) where that is under way.
    void close();

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace KOZAV::Backend
