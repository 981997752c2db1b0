#pragma once

#include "backend/Status.h"
#include "backend/config/Settings.h"

#include <memory>

namespace KOZAV::Backend {

class Database;

/// Has an embedded database read through once a day, on a thread of its own, while the site is used.
///
/// What the reading finds is logged, and told to whoever uses the site from then on. The thread ends before
/// this object and before the application object of the process do: at the latest when the reading that is
/// under way has come to its end.
class SiteWatch final
{
public:
    SiteWatch();
    ~SiteWatch();
    Q_DISABLE_COPY(SiteWatch)

    /// To be called when the database is about to be used, with its settings; costs next to nothing unless a
    /// day is over. Begins a reading where the last one, of whatever program, is a day old; of a site without
    /// an identity none. @return Corrupt where a reading has found the database damaged
    Status look(Database& database, const DatabaseSettings& settings);

    /// Waits for the end of a reading that is under way, and forgets what readings have found.
    void reset();

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace KOZAV::Backend
