#pragma once

#include <QString>

namespace KOZAV::Host {

/// The two services that a site is made of.
enum class SitePart { Rows, Files };

/// What is known of one of them.
struct SitePartState
{
    QString engine;      ///< name and version
    QString place;       ///< holds no password
    bool remote = false; ///< on a server
    QString encryption;  ///< protocol of an encrypted connection; empty where there is none
    QString topology;    ///< how several servers make it; empty where it is one
    QString lastFailure; ///< why it could not be reached; empty while it can

    [[nodiscard]] bool isReachable() const { return lastFailure.isEmpty(); }
};

} // namespace KOZAV::Host
