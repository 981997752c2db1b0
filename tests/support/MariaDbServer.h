#pragma once

#include "backend/config/Settings.h"
#include "tests/support/BoundProcess.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace KOZAV::Test {

/// What a server is to have beyond what every one has.
struct MariaDbOptions
{
    QString certificate; ///< file of the TLS certificate; empty: no TLS
    QString key;         ///< file of its key
    QStringList arguments;
};

/// A MariaDB server of its own: an empty data folder, reached through a free port of 127.0.0.1 and a socket
/// in its private folder, ended with this object or with this program. It keeps what it has answered as the
/// server of a site does. Ends the test program where the server cannot be started.
class MariaDbServer final
{
public:
    explicit MariaDbServer(MariaDbOptions options = {});
    ~MariaDbServer();
    Q_DISABLE_COPY(MariaDbServer)

    [[nodiscard]] quint16 port() const { return m_port; }
    [[nodiscard]] qint64 processId() const { return m_process.processId(); }

    /// Makes an empty database and an account that has the rights there which a site's account needs, no
    /// more.
    Backend::DatabaseSettings makeDatabase();
    /// Has a configuration file name that database.
    static void writeTo(const QString& configuration, const Backend::DatabaseSettings& settings);

    /// Runs SQL in a database, as the server's administrator. @return whether it succeeded
    bool run(const Backend::DatabaseSettings& settings, const QString& sql) const;
    /// The same for a query. @return the first value of its first row; ends the test program where it fails
    [[nodiscard]] QString value(const Backend::DatabaseSettings& settings, const QString& sql) const;

    /// Opens a connection of the administrator; one of the calling thread.
    /// @return its name for QSqlDatabase, to be removed by the caller; empty where the server cannot be
    /// reached
    [[nodiscard]] QString openConnection(const QString& database) const;

    /// How many connections the accounts that it has made have open.
    [[nodiscard]] int connections() const;
    /// Ends every connection of the accounts that it has made, and waits until they are gone.
    /// @return how many there were
    int killConnections() const;

    /// Ends the server at once, as a crash does; restart() brings it back at the same port with its data.
    void kill() { m_process.end(); }
    void restart();
    /// Replaces the further arguments; from the next start on.
    void setArguments(const QStringList& arguments) { m_options.arguments = arguments; }
    /// Halts it with all its connections; resume() lets it go on where it was.
    void stop();
    void resume() const;

private:
    void makeDataFolder() const;
    [[nodiscard]] bool start();
    [[nodiscard]] QStringList startArguments() const;
    [[nodiscard]] QString inFolder(const char* name) const;
    [[nodiscard]] QString log() const;
    template <typename Use>
    bool administer(const QString& database, const Use& use) const;

    MariaDbOptions m_options;
    QTemporaryDir m_folder;
    BoundProcess m_process;
    quint16 m_port = 0;
    int m_databases = 0;
};

} // namespace KOZAV::Test
