#pragma once

#include "backend/Status.h"

#include <QString>

#include <bson/bson.h>

namespace KOZAV::Backend {

/// The Status for a failed call of libmongoc: "Cannot <action>: <reason>", without passwords.
/// @param server  the server in words
Status mongoFailure(const QString& action, const QString& server, const bson_error_t& error);

/// Whether a server has answered that it did not carry out what it was asked. Otherwise it may have done so.
bool isRefusal(const bson_error_t& error);

} // namespace KOZAV::Backend
