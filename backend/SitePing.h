#pragma once

#include "backend/HostInterface.h"
#include "backend/Status.h"
#include "backend/config/Settings.h"

#include <QString>

namespace KOZAV::Backend {

class DocumentStore;

/// What a look at one service tells, in the words that people are shown; empty where there is nothing to
/// tell.
struct LookWords
{
    QString state; ///< "reachable" or "failed"
    QString engine;
    QString place;
    QString encryption; ///< a protocol, "no", or "local" where nothing goes over a connection
    QString topology;
    QString latency;
};

/// What a look at one service of a site gave.
struct ServiceLook
{
    QString service; ///< "rows" or "files"
    QString place;   ///< by the configuration
    Result<ServiceHealth> health;

    [[nodiscard]] LookWords words() const;
};

/// Connects to the database that the settings name. Makes and changes nothing.
ServiceLook lookAtRows(const Settings& settings);

/// Looks whether stored files can be looked for and the mark of the site be read, since a server may answer
/// whoever asks. Makes and changes nothing.
/// @param store  the open store of these settings, or why it is not open
ServiceLook lookAtFiles(const Settings& settings, const Result<DocumentStore*>& store);
/// The same over a connection of its own.
ServiceLook lookAtFiles(const Settings& settings);

} // namespace KOZAV::Backend
