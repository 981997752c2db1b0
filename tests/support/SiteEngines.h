#pragma once

#include <QString>

namespace KOZAV::Test {

class GridFsPeer;
class MariaDbServer;

/// The engines of the sites of this test program, as $ZAV_TEST_SITE names them: "sqlite" or "mariadb", a
/// slash, "local" or "gridfs"; "sqlite/local" where it names none. A server is started when the first site
/// needs it, and ends with the program.
class SiteEngines final
{
public:
    /// Why no such site can be made; empty where it can.
    static QString problem();

    /// Has a configuration file with the embedded defaults name these engines, with nothing of another site
    /// in them.
    static void applyTo(const QString& configuration);

    /// The servers; null where the engine has none.
    static MariaDbServer* rowServer();
    static GridFsPeer* fileServer();
};

} // namespace KOZAV::Test
