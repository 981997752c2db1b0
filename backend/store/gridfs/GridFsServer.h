#pragma once

#include "backend/Status.h"
#include "backend/config/Settings.h"
#include "backend/store/gridfs/MongoDriver.h"

#include <QString>

namespace KOZAV::Backend {

/// Where the MongoDB servers are and how they are spoken to: the URI of the settings, checked and completed.
struct GridFsServer
{
    MongoUri uri;
    QString hosts;             ///< "host:port, ..." for messages
    bool encrypted = false;    ///< by TLS
    qint64 writeTimeoutMs = 0; ///< how long a server may take to confirm a write

    /// Configuration where the URI is none, would let anybody play the server, would not have writes
    /// answered, or would send a login over the network unencrypted. What the URI does not say is set: every
    /// wait has an end, and a read is not sent twice. The password comes from the URI, else from the file or
    /// the environment.
    static Result<GridFsServer> from(const DocumentStoreSettings& settings);

    /// The URI for a look at what a lost connection has left behind: it waits no longer than for a
    /// connection, so that a call does not end much later than the time-out that made it fail.
    [[nodiscard]] MongoUri recoveryUri() const;
};

} // namespace KOZAV::Backend
