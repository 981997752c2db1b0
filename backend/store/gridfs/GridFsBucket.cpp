#include "backend/store/gridfs/GridFsBucket.h"

#include "backend/Operation.h"
#include "backend/ServerPause.h"
#include "backend/store/StoreNames.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

// What keeps this honest: a write counts as done only if the call succeeded, the reply reports neither a
// write error nor a missing confirmation, and, for inserts, as many documents as were sent. What else an end
// can mean is a MongoWrite::End, and each caller decides by that, never by a message. Reads go to the
// primary, so that whoever has stored a file finds it.

namespace KOZAV::Backend {

namespace {

constexpr const char* filesSuffix = ".files";
constexpr const char* chunksSuffix = ".chunks";

// Servers that have another index over the same fields, or cannot have this one on a sharded collection.
constexpr uint32_t indexConflicts[] = {67, 85, 86};

bool isIndexConflict(const bson_error_t& error)
{
    return error.domain == MONGOC_ERROR_SERVER &&
           std::find(std::begin(indexConflicts), std::end(indexConflicts), error.code) !=
               std::end(indexConflicts);
}

MongoWriteConcern durableWrites(const GridFsServer& server)
{
    MongoWriteConcern concern(mongoc_write_concern_new());
    mongoc_write_concern_set_wmajority(concern.get(), 0);
    mongoc_write_concern_set_wtimeout_int64(concern.get(), server.writeTimeoutMs);
    mongoc_write_concern_set_journal(concern.get(), true);
    return concern;
}

} // namespace

GridFsBucket::GridFsBucket(mongoc_client_t* client, const GridFsServer& server, StoreLocation location)
    : m_client(client)
    , m_server(&server)
    , m_location(std::move(location))
    , m_concern(durableWrites(server))
    , m_files(collection(client, filesSuffix))
    , m_chunks(collection(client, chunksSuffix))
{
}

MongoCollection GridFsBucket::collection(mongoc_client_t* client, const char* suffix) const
{
    const std::string name = m_location.fileStore + suffix;
    MongoCollection made(mongoc_client_get_collection(client, m_location.database.c_str(), name.c_str()));
    const MongoReadPrefs primary(mongoc_read_prefs_new(MONGOC_READ_PRIMARY));
    const MongoReadConcern latest(mongoc_read_concern_new());
    mongoc_collection_set_read_prefs(made.get(), primary.get());
    mongoc_collection_set_read_concern(made.get(), latest.get());
    mongoc_collection_set_write_concern(made.get(), m_concern.get());
    return made;
}

Status GridFsBucket::failure(const QString& action, const bson_error_t& error) const
{
    return mongoFailure(QStringLiteral("%1 %2").arg(action, locationText(m_location)), m_server->hosts,
                        error);
}

Status GridFsBucket::makeIndexes()
{
    Bson byName;
    byName.document("key", Bson().int32("filename", 1).int32("uploadDate", 1))
        .text("name", "filename_1_uploadDate_1");
    Bson byChunk;
    byChunk.document("key", Bson().int32("files_id", 1).int32("n", 1))
        .text("name", "files_id_1_n_1")
        .flag("unique", true);
    Bson ourNames;
    ourNames.document("key", Bson().int32("filename", 1))
        .text("name", "kozav_unique_filename")
        .flag("unique", true)
        .document("partialFilterExpression",
                  Bson().document("metadata.sha256", Bson().flag("$exists", true)));
    if (auto made = createIndex(filesSuffix, byName, false); !made.ok())
        return made;
    if (auto made = createIndex(chunksSuffix, byChunk, false); !made.ok())
        return made;
    return createIndex(filesSuffix, ourNames, true);
}

/// @param needed  false: another index over the same fields does as well
Status GridFsBucket::createIndex(const char* suffix, const Bson& index, bool needed)
{
    Bson command;
    Bson options;
    Bson reply;
    bson_error_t error = {};
    command.text("createIndexes", m_location.fileStore + suffix)
        .array("indexes", Bson().document("0", index));
    mongoc_write_concern_append(m_concern.get(), options.forAppending());
    if (mongoc_client_write_command_with_opts(m_client, m_location.database.c_str(), command.get(),
                                              options.get(), reply.forReply(), &error))
        return {};
    auto failed = failure(QStringLiteral("make an index of"), error);
    if (needed || !isIndexConflict(error))
        return failed;
    qCInfo(logStore).noquote() << failed.message();
    return {};
}

Result<std::optional<GridFsFile>> GridFsBucket::newest(const std::string& name)
{
    Bson options;
    options.document("sort", Bson().int32("uploadDate", -1)).int64("limit", 1);
    std::optional<GridFsFile> found;
    const auto asked =
        query(m_files, Bson().text("filename", name), options, [&found](const BsonView& document) {
            found = GridFsFile::read(document);
            return Status();
        });
    return asked.ok() ? Result(std::move(found)) : asked;
}

Result<std::vector<GridFsFile>> GridFsBucket::revisions(const std::string& name)
{
    Bson options;
    options.document("sort", Bson().int32("uploadDate", 1));
    std::vector<GridFsFile> found;
    const auto asked =
        query(m_files, Bson().text("filename", name), options, [&found](const BsonView& document) {
            if (auto file = GridFsFile::read(document))
                found.push_back(std::move(*file));
            return Status();
        });
    return asked.ok() ? Result(std::move(found)) : asked;
}

Result<std::vector<StoredFile>> GridFsBucket::files()
{
    std::map<std::string, StoredFile> newest;
    const auto asked = query(m_files, Bson(), Bson(), [&newest](const BsonView& document) {
        const auto file = GridFsFile::read(document);
        if (!file)
            return Status();
        const auto [entry, isFirst] = newest.emplace(file->stored().name, file->stored());
        if (!isFirst && file->stored().storedAt > entry->second.storedAt)
            entry->second = file->stored();
        return Status();
    });
    if (!asked.ok())
        return asked;
    std::vector<StoredFile> files;
    files.reserve(newest.size());
    for (auto& entry : newest)
        files.push_back(std::move(entry.second));
    return files;
}

Result<bool> GridFsBucket::hasFile(const GridFsId& id)
{
    Bson options;
    options.document("projection", Bson().int32("_id", 1)).int64("limit", 1);
    bool found = false;
    const auto asked = query(m_files, Bson().value("_id", id.value()), options, [&found](const BsonView&) {
        found = true;
        return Status();
    });
    return asked.ok() ? Result(found) : asked;
}

Status GridFsBucket::visitChunks(const GridFsId& id, int atOnce, const Visit& visit)
{
    Bson options;
    options.document("sort", Bson().int32("n", 1)).int64("batchSize", atOnce);
    return query(m_chunks, Bson().value("files_id", id.value()), options, visit);
}

Status GridFsBucket::query(const MongoCollection& collection, const Bson& filter, const Bson& options,
                           const Visit& visit)
{
    bool visited = false;
    const auto noted = [&](const BsonView& document) {
        visited = true;
        return visit(document);
    };
    const AnswerWatch watch;
    auto ended = queryOnce(collection, filter, options, noted);
    const bool again = !visited && watch.foundClosed(ended);
    return again ? queryOnce(collection, filter, options, noted) : ended;
}

Status GridFsBucket::queryOnce(const MongoCollection& collection, const Bson& filter, const Bson& options,
                               const Visit& visit)
{
    const MongoCursor cursor(
        mongoc_collection_find_with_opts(collection.get(), filter.get(), options.get(), nullptr));
    const bson_t* document = nullptr;
    while (mongoc_cursor_next(cursor.get(), &document)) {
        if (auto visited = visit(BsonView(document)); !visited.ok())
            return visited;
    }
    bson_error_t error = {};
    if (mongoc_cursor_error(cursor.get(), &error))
        return failure(QStringLiteral("read from"), error);
    return {};
}

MongoWrite GridFsBucket::insertChunks(ChunkBatch& batch)
{
    Bson options;
    Bson reply;
    bson_error_t error = {};
    options.flag("validate", false);
    const bool success = mongoc_collection_insert_many(m_chunks.get(), batch.documents(), batch.size(),
                                                       options.get(), reply.forReply(), &error);
    return inserted(success, reply, error, batch.size());
}

MongoWrite GridFsBucket::insertFile(const GridFsFile& file)
{
    Bson document;
    Bson reply;
    bson_error_t error = {};
    file.write(document);
    const bool success =
        mongoc_collection_insert_one(m_files.get(), document.get(), nullptr, reply.forReply(), &error);
    return inserted(success, reply, error, 1);
}

MongoWrite GridFsBucket::removeFile(const GridFsId& id)
{
    return remove(mongoc_collection_delete_one, m_files, Bson().value("_id", id.value()));
}

Status GridFsBucket::removeChunks(const GridFsId& id)
{
    return remove(mongoc_collection_delete_many, m_chunks, Bson().value("files_id", id.value())).status;
}

/// A write that changes nothing is answered like any other: once everything before it is durable.
Status GridFsBucket::confirm()
{
    return removeChunks(GridFsId::fresh());
}

MongoWrite GridFsBucket::remove(Removal removal, const MongoCollection& collection, const Bson& filter)
{
    Bson reply;
    bson_error_t error = {};
    const bool success = removal(collection.get(), filter.get(), nullptr, reply.forReply(), &error);
    return ended(success, reply, error, QStringLiteral("remove from"));
}

MongoWrite GridFsBucket::inserted(bool success, const Bson& reply, const bson_error_t& error,
                                  size_t expected) const
{
    const QString action = QStringLiteral("store in");
    MongoWrite write = ended(success, reply, error, action);
    const qint64 count = BsonView(reply.get()).wholeNumber("insertedCount").value_or(-1);
    if (!write.ok() || count == static_cast<qint64>(expected))
        return write;
    return {MongoWrite::End::Unknown,
            Status::io(QStringLiteral("cannot %1 %2: the MongoDB server %3 confirms %4 of %5 documents")
                           .arg(action, locationText(m_location), m_server->hosts, QString::number(count),
                                QString::number(expected)))};
}

MongoWrite GridFsBucket::ended(bool success, const Bson& reply, const bson_error_t& error,
                               const QString& action) const
{
    const bool refused = BsonView(reply.get()).elements("writeErrors") > 0;
    const bool unconfirmed = BsonView(reply.get()).elements("writeConcernErrors") > 0;
    if (success && !refused && !unconfirmed)
        return {};
    const auto failed = failure(action, error);
    if (refused)
        return {MongoWrite::End::Refused, failed};
    if (unconfirmed)
        return {MongoWrite::End::Unconfirmed, failed};
    return {isRefusal(error) ? MongoWrite::End::Refused : MongoWrite::End::Unknown, failed};
}

} // namespace KOZAV::Backend
