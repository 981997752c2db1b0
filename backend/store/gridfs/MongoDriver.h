#pragma once

#include "backend/Status.h"

#include <QString>

#include <mongoc/mongoc.h>

#include <memory>

namespace KOZAV::Backend {

/// Makes libmongoc ready, once a process, and has its messages logged as kozav.backend.store, without
/// passwords.
void startMongoDriver();

/// Keeps the messages of libmongoc about what this thread does out of the log while it lives: those about a
/// URI may quote pieces of a password.
class MongoLogPause final
{
public:
    MongoLogPause();
    ~MongoLogPause();
    Q_DISABLE_COPY(MongoLogPause)
};

/// The Status for a failed call of libmongoc: "cannot <action>: <reason>", without passwords.
/// @param server  the server in words
Status mongoFailure(const QString& action, const QString& server, const bson_error_t& error);

/// Whether a server has answered that it did not carry out what it was asked. Otherwise it may have done so.
bool isRefusal(const bson_error_t& error);

/// Ends the life of an object of libmongoc.
template <auto Destroy>
struct MongoDeleter
{
    template <typename T>
    void operator()(T* object) const
    {
        Destroy(object);
    }
};

using MongoUri = std::unique_ptr<mongoc_uri_t, MongoDeleter<mongoc_uri_destroy>>;
using MongoClient = std::unique_ptr<mongoc_client_t, MongoDeleter<mongoc_client_destroy>>;
using MongoCollection = std::unique_ptr<mongoc_collection_t, MongoDeleter<mongoc_collection_destroy>>;
using MongoCursor = std::unique_ptr<mongoc_cursor_t, MongoDeleter<mongoc_cursor_destroy>>;
using MongoReadConcern = std::unique_ptr<mongoc_read_concern_t, MongoDeleter<mongoc_read_concern_destroy>>;
using MongoReadPrefs = std::unique_ptr<mongoc_read_prefs_t, MongoDeleter<mongoc_read_prefs_destroy>>;
using MongoServerDescription =
    std::unique_ptr<mongoc_server_description_t, MongoDeleter<mongoc_server_description_destroy>>;
using MongoWriteConcern = std::unique_ptr<mongoc_write_concern_t, MongoDeleter<mongoc_write_concern_destroy>>;

} // namespace KOZAV::Backend
