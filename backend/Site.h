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
///
/// Nothing of a site is made here (createSite() does that): a configuration, database or store that is
/// missing is refused, and so is a part that is not of the site that the configuration names
/// (SiteComparison.h). All of that is Configuration, and the message says what to do. A site of an earlier
/// release, whose parts have no identity, gets one when it is first opened.
class Site final
{
public:
    /// What a site is opened for.
    enum class Use {
        Services, ///< as long as the process runs: missing folders of the caches are made, what is wrong with
                  ///< the configuration is logged, and a server that did not answer is left alone for a while
        OneRun,   ///< one run of a program: nothing is logged; the caller tells what fails
        Reading,  ///< the same for what reads the rows: it takes no lock from writers, and works where the
                  ///< database may only be read
        Mending,  ///< the same, also where stored files are missing: for what voids their jobs or brings them
                  ///< back
        Inspection ///< the same as Reading for what looks at a site of whatever state: what can be opened is,
                   ///< and nothing is compared; see compareIdentity()
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

    /// Whether configuration, database and store have one identity, and why not: for sites that are opened
    /// for inspection. Changes nothing.
    Status compareIdentity();

    /// Closes the connections of the calling thread and the store; the next use opens them again. Waits for
    /// the daily reading of the database (SiteWatch) where that is under way.
    void close();

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace KOZAV::Backend
