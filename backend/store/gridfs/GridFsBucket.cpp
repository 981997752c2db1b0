#include "backend/store/gridfs/GridFsBucket.h"

#include "backend/Operation.h"
#include "backend/ServerPause.h"
#include "backend/store/StoreNames.h"

#include <algorithm>
#include <chrono>
#include <cstring>
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
constexpr const char* siteSuffix = ".site";
constexpr const char* siteId = "site";
constexpr const char* neverThere = "kozav_confirmed"; // a field of no document

// Names that one request asks for: of the longest, a part of what a request may hold.
constexpr size_t namesAtOnce = 1000;

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
    return newestOf(Bson());
}

Result<std::vector<StoredFile>> GridFsBucket::files(const std::vector<std::string>& names)
{
    std::vector<StoredFile> found;
    for (size_t start = 0; start < names.size(); start += namesAtOnce) {
        const size_t end = std::min(names.size(), start + namesAtOnce);
        Bson wanted;
        for (size_t i = start; i < end; ++i)
            wanted.text(QByteArray::number(static_cast<qulonglong>(i - start)).constData(), names[i]);
        auto some = newestOf(Bson().document("filename", Bson().array("$in", wanted)));
        if (!some.ok())
            return some;
        std::move(some->begin(), some->end(), std::back_inserter(found));
    }
    return found;
}

/// A page may end between two revisions of a name: the last name of a full one is left to the next page.
Result<std::vector<StoredFile>> GridFsBucket::filesBehind(std::string& last, bool& more)
{
    constexpr std::size_t documentsAtOnce = 1000;
    Bson options;
    options.document("sort", Bson().int32("filename", 1).int32("uploadDate", 1))
        .int64("limit", qint64(documentsAtOnce));
    std::vector<std::string> names; // of all documents, ours or not
    std::map<std::string, StoredFile> newest;
    const auto asked = query(m_files, Bson().document("filename", Bson().text("$gt", last)), options,
                             [&](const BsonView& document) {
                                 names.push_back(document.text("filename").value_or(last));
                                 if (const auto file = GridFsFile::read(document))
                                     newest.insert_or_assign(file->stored().name, file->stored());
                                 return Status();
                             });
    if (!asked.ok())
        return asked;
    more = names.size() == documentsAtOnce;
    if (!names.empty() && (!more || names.front() == names.back())) {
        last = names.back();
    } else if (more) {
        newest.erase(names.back());
        last = *std::find_if(names.rbegin(), names.rend(),
                             [&names](const std::string& name) { return name != names.back(); });
    }
    std::vector<StoredFile> files;
    files.reserve(newest.size());
    for (auto& entry : newest)
        files.push_back(std::move(entry.second));
    return files;
}

Result<std::vector<StoredFile>> GridFsBucket::newestOf(const Bson& filter)
{
    std::map<std::string, StoredFile> newest;
    const auto asked = query(m_files, filter, Bson(), [&newest](const BsonView& document) {
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

Result<std::vector<QuarantinedFile>> GridFsBucket::quarantined()
{
    Bson range;
    range.text("$gte", quarantineName({})).text("$lt", quarantineEnd);
    std::map<std::string, QuarantinedFile> newest;
    const auto asked =
        query(m_files, Bson().document("filename", range), Bson(), [&newest](const BsonView& document) {
            const auto file = GridFsFile::readQuarantined(document);
            if (!file)
                return Status();
            const QuarantinedFile found{file->stored(), file->quarantinedSince()};
            const auto [entry, isFirst] = newest.emplace(found.file.name, found);
            if (!isFirst && found.file.storedAt > entry->second.file.storedAt)
                entry->second = found;
            return Status();
        });
    if (!asked.ok())
        return asked;
    std::vector<QuarantinedFile> files;
    files.reserve(newest.size());
    for (auto& entry : newest)
        files.push_back(std::move(entry.second));
    return files;
}

Result<std::vector<GridFsFile>> GridFsBucket::quarantinedRevisions(const std::string& name)
{
    Bson options;
    options.document("sort", Bson().int32("uploadDate", 1));
    std::vector<GridFsFile> found;
    const auto asked = query(m_files, Bson().text("filename", quarantineName(name)), options,
                             [&found](const BsonView& document) {
                                 if (auto file = GridFsFile::readQuarantined(document))
                                     found.push_back(std::move(*file));
                                 return Status();
                             });
    return asked.ok() ? Result(std::move(found)) : asked;
}

Result<bool> GridFsBucket::hasFile(const GridFsId& id)
{
    Bson options;
    options.document("projection", Bson().int32("_id", 1)).int64("limit", 1);
    bool found = false;
    const auto asked = query(m_files, Bson().equal("_id", id.value()), options, [&found](const BsonView&) {
        found = true;
        return Status();
    });
    return asked.ok() ? Result(found) : asked;
}

Result<std::string> GridFsBucket::documentName(const GridFsId& id)
{
    std::string name;
    const auto asked =
        query(m_files, Bson().equal("_id", id.value()), Bson(), [&name](const BsonView& document) {
            name = document.text("filename").value_or("");
            return Status();
        });
    return asked.ok() ? Result(std::move(name)) : asked;
}

Status GridFsBucket::readChunks(const GridFsId& id, const ChunkRange& range, Bson& reply)
{
    constexpr qint64 behindTheEnd = 2; // an empty chunk, with which some programs end a file, and one more
    const qint64 most = range.count + (range.isLast ? behindTheEnd : 0);
    Bson filter;
    filter.equal("files_id", id.value());
    Bson numbers;
    if (range.first > 0)
        numbers.int64("$gte", range.first);
    if (!range.isLast)
        numbers.int64("$lt", range.first + range.count);
    if (range.first > 0 || !range.isLast)
        filter.document("n", numbers);
    Bson command;
    command.text("find", m_location.fileStore + chunksSuffix)
        .document("filter", filter)
        .document("sort", Bson().int32("n", 1))
        .int64("limit", most)
        .int64("batchSize", most)
        .flag("singleBatch", true);
    const AnswerWatch watch;
    auto answered = ask(command, reply);
    if (!watch.foundClosed(answered))
        return answered;
    reply.clear();
    return ask(command, reply);
}

Status GridFsBucket::ask(const Bson& command, Bson& reply)
{
    bson_error_t error = {};
    const bool success = mongoc_collection_read_command_with_opts(m_chunks.get(), command.get(), nullptr,
                                                                  nullptr, reply.forReply(), &error);
    return success ? Status() : failure(QStringLiteral("read from"), error);
}

Status GridFsBucket::visit(Part part, const Bson& filter, const Bson& options, const Visit& visit)
{
    return query(part == Part::Files ? m_files : m_chunks, filter, options, visit);
}

Status GridFsBucket::visitIndexes(Part part, const Visit& visit)
{
    const MongoCollection& collection = part == Part::Files ? m_files : m_chunks;
    return visitAll(mongoc_collection_find_indexes_with_opts(collection.get(), nullptr), visit);
}

qint64 GridFsBucket::chunkBytes(const GridFsId& id)
{
    Bson sum;
    sum.document("$sum", Bson().text("$binarySize", "$data"));
    Bson pipeline;
    pipeline.document("0", Bson().document("$match", Bson().equal("files_id", id.value())))
        .document("1", Bson().document("$group", Bson().int32("_id", 0).document("bytes", sum)));
    qint64 bytes = -1;
    const auto asked =
        visitAll(mongoc_collection_aggregate(m_chunks.get(), MONGOC_QUERY_NONE,
                                             Bson().array("pipeline", pipeline).get(), nullptr, nullptr),
                 [&bytes](const BsonView& document) {
                     bytes = document.wholeNumber("bytes").value_or(-1);
                     return Status();
                 });
    return asked.ok() ? bytes : -1; // servers before 4.4 do not know $binarySize
}

Result<std::string> GridFsBucket::siteMark()
{
    std::string identity;
    const auto asked = query(collection(m_client, siteSuffix), Bson().text("_id", siteId), Bson(),
                             [&identity](const BsonView& document) {
                                 identity = document.text("identity").value_or("");
                                 return Status();
                             });
    return asked.ok() ? Result(std::move(identity)) : asked;
}

MongoWrite GridFsBucket::insertSiteMark(const std::string& identity)
{
    Bson document;
    Bson reply;
    bson_error_t error = {};
    document.text("_id", siteId).text("identity", identity);
    const MongoCollection marks = collection(m_client, siteSuffix);
    const bool success =
        mongoc_collection_insert_one(marks.get(), document.get(), nullptr, reply.forReply(), &error);
    return inserted(success, reply, error, 1);
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
    const auto begin = std::chrono::steady_clock::now();
    auto ended = visitAll(
        mongoc_collection_find_with_opts(collection.get(), filter.get(), options.get(), nullptr), visit);
    if (ended.ok())
        m_quickestAnswer =
            std::min<std::chrono::nanoseconds>(m_quickestAnswer, std::chrono::steady_clock::now() - begin);
    return ended;
}

/// @param results  of a request; ended here
Status GridFsBucket::visitAll(mongoc_cursor_t* results, const Visit& visit) const
{
    const MongoCursor cursor(results);
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
    return remove(mongoc_collection_delete_one, m_files, Bson().equal("_id", id.value()));
}

MongoWrite GridFsBucket::removeFile(const GridFsFile& file)
{
    Bson filter;
    Bson reply;
    filter.equal("_id", file.id().value()).text("filename", file.documentName());
    const MongoWrite write = remove(mongoc_collection_delete_one, m_files, filter, reply);
    return changedOne(write, reply, "deletedCount", file);
}

MongoWrite GridFsBucket::moveToQuarantine(const GridFsFile& file)
{
    Bson values;
    values.text("filename", quarantineName(file.stored().name))
        .date("metadata.quarantined", QDateTime::currentDateTimeUtc());
    return update(file, Bson().document("$set", values));
}

MongoWrite GridFsBucket::moveFromQuarantine(const GridFsFile& file)
{
    Bson change;
    change.document("$set", Bson().text("filename", file.stored().name))
        .document("$unset", Bson().text("metadata.quarantined", ""));
    return update(file, change);
}

MongoWrite GridFsBucket::update(const GridFsFile& file, const Bson& change)
{
    Bson filter;
    Bson reply;
    bson_error_t error = {};
    filter.equal("_id", file.id().value()).text("filename", file.documentName());
    const bool success = mongoc_collection_update_one(m_files.get(), filter.get(), change.get(), nullptr,
                                                      reply.forReply(), &error);
    return changedOne(ended(success, reply, error, QStringLiteral("change")), reply, "matchedCount", file);
}

/// The write, or its refusal where there was no document for it.
MongoWrite GridFsBucket::changedOne(const MongoWrite& write, const Bson& reply, const char* count,
                                    const GridFsFile& file) const
{
    if (!write.ok() || BsonView(reply.get()).wholeNumber(count).value_or(0) == 1)
        return write;
    return {MongoWrite::End::Refused, notStored(m_location, file.stored().name)};
}

Status GridFsBucket::removeChunks(const GridFsId& id)
{
    return remove(mongoc_collection_delete_many, m_chunks, Bson().equal("files_id", id.value())).status;
}

MongoWrite GridFsBucket::confirm(const GridFsFile& file)
{
    Bson reply;
    const MongoWrite write = touch(m_files, file.id().value(), reply);
    return changedOne(write, reply, "matchedCount", file);
}

Status GridFsBucket::confirm(const GridFsId& id)
{
    Bson reply;
    return touch(m_files, id.value(), reply).status;
}

Status GridFsBucket::confirmSiteMark()
{
    Bson reply;
    bson_value_t id = {};
    id.value_type = BSON_TYPE_UTF8;
    id.value.v_utf8.str = const_cast<char*>(siteId); // the library only reads it
    id.value.v_utf8.len = static_cast<uint32_t>(std::strlen(siteId));
    return touch(collection(m_client, siteSuffix), id, reply).status;
}

/// A write that changes nothing. It goes to the servers that hold the document, or would, and is answered
/// like any other: once everything before it is durable there.
MongoWrite GridFsBucket::touch(const MongoCollection& collection, const bson_value_t& id, Bson& reply)
{
    Bson change;
    bson_error_t error = {};
    change.document("$unset", Bson().text(neverThere, ""));
    const bool success = mongoc_collection_update_one(collection.get(), Bson().equal("_id", id).get(),
                                                      change.get(), nullptr, reply.forReply(), &error);
    return ended(success, reply, error, QStringLiteral("confirm what is in"));
}

MongoWrite GridFsBucket::remove(Removal removal, const MongoCollection& collection, const Bson& filter)
{
    Bson reply;
    return remove(removal, collection, filter, reply);
}

MongoWrite GridFsBucket::remove(Removal removal, const MongoCollection& collection, const Bson& filter,
                                Bson& reply)
{
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
