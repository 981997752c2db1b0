#pragma once

#include "backend/Status.h"

#include <QString>

#include <functional>

namespace KOZAV::Backend {

/// What a look at an engine in use tells: for `zav_admin ping` and status lines. Holds no password.
struct ServiceHealth
{
    QString engine;      ///< name and version, such as "MariaDB 10.11.6"
    QString place;       ///< file, folder, or host, port and name
    bool remote = false; ///< reached over a network connection or socket
    QString encryption; ///< protocol of an encrypted connection, such as "TLSv1.3"; empty where there is none
    QString topology;   ///< how several servers make the engine, in a few words; empty where it is one
    double latencyMs = 0; ///< of the fastest of a few small requests
};

/// Sends a small request a few times. @return the time of the fastest answer, in milliseconds
Result<double> fastestAnswerMs(const std::function<Status()>& request);

} // namespace KOZAV::Backend
