#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QString>

namespace KOZAV::Test {

/// One fault that the peer is to show; see `gridfs_peer.py --help` for the words.
struct PeerFault
{
    QString action;     ///< error, full, wcerror, notprimary, drop, stall, refuse
    QString at;         ///< chunk, file, read, handshake, any, or the name of a command
    int n = 1;          ///< at which of them, counted from the order on
    int times = 1;      ///< how many in a row; 0: from there on
    bool after = false; ///< drop or stall once the write is done
};

/// How a peer presents itself.
struct PeerOptions
{
    QString replicaSet;  ///< its name; empty: a server alone
    QString certificate; ///< file of the TLS certificate; empty: no TLS
    QString key;         ///< file of its key
    QString user;        ///< empty: no login
    QString password;
};

/// A server for GridFS: our peer, started for this object and ended with it or with this program, or the one
/// that $ZAV_TEST_MONGODB_URI names. Only the peer fails on order; its data is gone when it is stopped.
class GridFsPeer final
{
public:
    explicit GridFsPeer(PeerOptions options = {});
    ~GridFsPeer();
    Q_DISABLE_COPY(GridFsPeer)

    /// Why there is no server to test with; empty where there is one.
    [[nodiscard]] const QString& problem() const { return m_problem; }
    /// Why nothing can be ordered; empty where it can.
    [[nodiscard]] QString refusal() const;

    /// Connection text for the server, with options such as "socketTimeoutMS=2000&w=1" and, where given, a
    /// login.
    [[nodiscard]] QString uri(const QString& options = {}, const QString& login = {}) const;
    [[nodiscard]] quint16 port() const { return m_port; }

    /// Ends the peer's process; start() brings an empty one at the same port.
    void stop();
    void start();

    // The rest is for the peer alone, and ends the test program where the peer does not obey.

    /// Replaces the faults in force and begins to count anew.
    void order(const QList<PeerFault>& faults);
    void clearFaults() { order({}); }
    /// How often a fault has been shown since it was ordered.
    [[nodiscard]] int hits() { return counters()[QStringLiteral("hits")].toInt(); }

    /// Closes the listening port and every connection; comeBack() opens it again, with all data.
    void goAway() { ask(QStringLiteral("refuse")); }
    void comeBack() { ask(QStringLiteral("listen")); }
    /// Closes every connection.
    void hangUp() { ask(QStringLiteral("hangup")); }
    /// Forgets data, faults and counts.
    void reset() { ask(QStringLiteral("reset")); }

    /// commands (by name), insertedChunks, mostChunksAtOnce, connections, openConnections, openCursors,
    /// chunks, files
    [[nodiscard]] QJsonObject counters() { return ask(QStringLiteral("counters")); }
    /// How often a command has been received.
    [[nodiscard]] int received(const QString& command);
    /// incomplete: names of files without all their chunks; orphanChunks: number of chunks without files
    /// document
    [[nodiscard]] QJsonObject check() { return ask(QStringLiteral("check")); }
    [[nodiscard]] QStringList incompleteFiles();
    [[nodiscard]] int orphanChunks() { return check()[QStringLiteral("orphanChunks")].toInt(); }
    /// bucket, name, length, chunkSize and sha256 of every file.
    [[nodiscard]] QJsonArray files()
    {
        return ask(QStringLiteral("files"))[QStringLiteral("files")].toArray();
    }

    /// Damages the n-th chunk, counted from 0, of a file. how: forget, flip, cut, grow, empty, text, renumber
    void alterChunk(const QString& name, int n, const QString& how);
    /// Sets fields of a files document, by dotted names; a null takes the field away.
    void setFile(const QString& name, const QJsonObject& values);

    QJsonObject ask(const QString& what, QJsonObject order = {});

private:
    [[nodiscard]] quint16 readPort(const QByteArray& label);

    PeerOptions m_options;
    QProcess m_process;
    QString m_problem;
    QString m_givenUri;
    quint16 m_port = 0;
    quint16 m_control = 0;
};

} // namespace KOZAV::Test
