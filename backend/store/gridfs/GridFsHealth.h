#pragma once

#include "backend/ServiceHealth.h"
#include "backend/Status.h"
#include "backend/store/gridfs/GridFsServer.h"
#include "backend/store/gridfs/MongoHandles.h"

namespace KOZAV::Backend {

/// Asks the server behind a connection for its version, its role and how fast it answers.
Result<ServiceHealth> gridFsHealth(mongoc_client_t* client, const GridFsServer& server);

} // namespace KOZAV::Backend
