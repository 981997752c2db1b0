#pragma once

#include "backend/Status.h"
#include "backend/store/DocumentStore.h"
#include "backend/store/gridfs/Bson.h"
#include "backend/store/gridfs/ChunkBatch.h"
#include "backend/store/gridfs/GridFsFile.h"
#include "backend/store/gridfs/GridFsServer.h"
#include "backend/store/gridfs/MongoDriver.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace KOZAV::Backend {

/// How a write to a server ended.
struct MongoWrite
{
    enum class End {
        Done,        ///< carried out as a whole and as durable as was asked for
        Refused,     ///< not carried out, or not as a whole
        Unconfirmed, ///< carried out, but not durable in time
        Unknown      ///< no answer: carried out or not, and it may still be
    };

    End end = End::Done;
    Status status;

    [[nodiscard]] bool ok() const { return end == End::Done; }
};

/// Where a reply has the chunks that were asked for.
constexpr const char* chunksOfReply = "cursor.firstBatch";

/// Consecutive chunks of a file.
struct ChunkRange
{
    qint64 first = 0; ///< number of the first one
    qint64 count = 0;
    bool isLast = false; ///< the end of the file
};

/// The two collections of one location, over one connection: every request that a store makes of them.
///
/// Reads ask the primary. Writes are answered once a majority of the servers has them in its journal. No
/// request is sent twice but by the library under the protocol's rules for that, and a read whose connection
/// turns out to be closed at once.
class GridFsBucket final
{
public:
    GridFsBucket(mongoc_client_t* client, const GridFsServer& server, StoreLocation location);

    [[nodiscard]] const StoreLocation& location() const { return m_location; }

    /// How long the server has taken for the quickest look of this object: about what the network takes.
    [[nodiscard]] std::chrono::nanoseconds quickestAnswer() const { return m_quickestAnswer; }

    /// Makes the indexes where they are missing; both collections with them.
    Status makeIndexes();

    /// The file of a name: the newest revision. Nothing where there is none.
    Result<std::optional<GridFsFile>> newest(const std::string& name);
    /// All revisions of a name, oldest first.
    Result<std::vector<GridFsFile>> revisions(const std::string& name);
    /// The newest revision of every name, by name.
    Result<std::vector<StoredFile>> files();
    /// The same of some names.
    Result<std::vector<StoredFile>> files(const std::vector<std::string>& names);

    /// The next stored files behind a name, by name. last and more are for the next call: "" and true at
    /// first.
    Result<std::vector<StoredFile>> filesBehind(std::string& last, bool& more);
    /// The newest revision of everything in quarantine, by name.
    Result<std::vector<QuarantinedFile>> quarantined();
    /// All revisions of a name in quarantine, oldest first.
    Result<std::vector<GridFsFile>> quarantinedRevisions(const std::string& name);
    /// Whether there is a files document with this identifier.
    Result<bool> hasFile(const GridFsId& id);

    /// The filename in the files document with this identifier; empty where there is none.
    Result<std::string> documentName(const GridFsId& id);

    /// Asks for chunks of a file in one request. They are in the reply by number, as many as the
    /// server has and one reply holds. The end of the file is asked for with what lies behind it.
    Status readChunks(const GridFsId& id, const ChunkRange& range, Bson& reply);

    using Visit = std::function<Status(const BsonView& document)>;
    enum class Part { Files, Chunks };
    /// Calls visit for the documents of one collection that answer the filter, until it fails.
    Status visit(Part part, const Bson& filter, const Bson& options, const Visit& visit);

    /// The indexes of a collection as the server describes them; none where there is no such collection.
    Status visitIndexes(Part part, const Visit& visit);

    /// What the chunks of a file take up; -1 where the server cannot tell.
    qint64 chunkBytes(const GridFsId& id);

    /// The identity in the mark of the location; empty where there is none.
    Result<std::string> siteMark();
    /// Refused with AlreadyExists where there is a mark.
    MongoWrite insertSiteMark(const std::string& identity);

    MongoWrite insertChunks(ChunkBatch& batch);
    /// Refused with AlreadyExists where a file of ours has the name.
    MongoWrite insertFile(const GridFsFile& file);
    /// Success where there is none.
    MongoWrite removeFile(const GridFsId& id);
    /// Refused with NotFound where it is gone or has another name by now.
    MongoWrite removeFile(const GridFsFile& file);
    // The two moves, each of one document: refused with NotFound where it is gone or has another name by now,
    // with AlreadyExists where the name to come is taken.
    MongoWrite moveToQuarantine(const GridFsFile& file);
    MongoWrite moveFromQuarantine(const GridFsFile& file);
    /// Success where there are none.
    Status removeChunks(const GridFsId& id);

    // What this connection has seen, as durable as a write of ours: each waits for the servers that hold the
    // document.
    /// Refused with NotFound where the files document is gone.
    MongoWrite confirm(const GridFsFile& file);
    /// The same of what there is under this identifier, if anything.
    Status confirm(const GridFsId& id);
    Status confirmSiteMark();

private:
    using Removal = bool (*)(mongoc_collection_t*, const bson_t*, const bson_t*, bson_t*, bson_error_t*);

    Result<std::vector<StoredFile>> newestOf(const Bson& filter);
    MongoWrite update(const GridFsFile& file, const Bson& change);
    MongoWrite touch(const MongoCollection& collection, const bson_value_t& id, Bson& reply);
    [[nodiscard]] MongoWrite changedOne(const MongoWrite& write, const Bson& reply, const char* count,
                                        const GridFsFile& file) const;
    [[nodiscard]] MongoCollection collection(mongoc_client_t* client, const char* suffix) const;
    [[nodiscard]] Status failure(const QString& action, const bson_error_t& error) const;
    Status ask(const Bson& command, Bson& reply);
    Status query(const MongoCollection& collection, const Bson& filter, const Bson& options,
                 const Visit& visit);
    Status queryOnce(const MongoCollection& collection, const Bson& filter, const Bson& options,
                     const Visit& visit);
    Status visitAll(mongoc_cursor_t* results, const Visit& visit) const;
    Status createIndex(const char* suffix, const Bson& index, bool needed);
    MongoWrite remove(Removal removal, const MongoCollection& collection, const Bson& filter, Bson& reply);
    MongoWrite remove(Removal removal, const MongoCollection& collection, const Bson& filter);
    [[nodiscard]] MongoWrite inserted(bool success, const Bson& reply, const bson_error_t& error,
                                      size_t expected) const;
    [[nodiscard]] MongoWrite ended(bool success, const Bson& reply, const bson_error_t& error,
                                   const QString& action) const;

    mongoc_client_t* m_client;
    const GridFsServer* m_server;
    StoreLocation m_location;
    MongoWriteConcern m_concern;
    MongoCollection m_files;
    MongoCollection m_chunks;
    std::chrono::nanoseconds m_quickestAnswer = std::chrono::nanoseconds::max();
};

} // namespace KOZAV::Backend
