#pragma once

#include <mongoc/mongoc.h>

#include <memory>

namespace KOZAV::Backend {

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
