// Both collections are read in the order of the files' identifiers, a page of files at a time and the numbers
// of the chunks up to the last of them, which the server takes from an index: what is in memory is one page,
// however many files there are. Only ObjectIds are read so, which ours all are and whose order is that of
// their bytes; files of other programs with other identifiers are counted one by one, and their chunks
// without a file, whose age nothing tells, are left alone.
//
// Files come and go meanwhile, and an upload has chunks before it has a file. So whatever does not fit is
// looked at again at the end, and chunks without a file count only when their identifier, which begins with
// the time at which the upload began, is a day old.

#include "backend/store/gridfs/GridFsSurvey.h"

#include "backend/io/FilePath.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

namespace KOZAV::Backend {

namespace {

using Part = GridFsBucket::Part;
using Kind = StoreFlaw::Kind;

constexpr int filesAtOnce = 1000;
constexpr qint64 uploadSeconds = 24LL * 60 * 60;

GridFsId filledId(uint8_t byte)
{
    bson_value_t value = {};
    value.value_type = BSON_TYPE_OID;
    std::memset(value.value.v_oid.bytes, byte, sizeof value.value.v_oid.bytes);
    return GridFsId(value);
}

/// Of two ObjectIds.
int compared(const GridFsId& one, const GridFsId& other)
{
    return bson_oid_compare(&one.value().value.v_oid, &other.value().value.v_oid);
}

QDateTime madeAt(const GridFsId& id)
{
    return QDateTime::fromSecsSinceEpoch(bson_oid_get_time_t(&id.value().value.v_oid), Qt::UTC);
}

bool mayBeUnderWay(const GridFsId& id)
{
    return madeAt(id).secsTo(QDateTime::currentDateTimeUtc()) < uploadSeconds;
}

std::string hexText(const GridFsId& id)
{
    char text[25];
    bson_oid_to_string(&id.value().value.v_oid, text);
    return text;
}

std::optional<GridFsId> idFromHex(const std::string& text)
{
    if (!bson_oid_is_valid(text.data(), text.size()))
        return std::nullopt;
    bson_value_t value = {};
    value.value_type = BSON_TYPE_OID;
    bson_oid_init_from_string(&value.value.v_oid, text.c_str());
    return GridFsId(value);
}

/// Options of a request for the numbers of chunks, in their order.
void fillNumbersOnly(Bson& options)
{
    options.document("projection", Bson().int32("_id", 0).int32("files_id", 1).int32("n", 1))
        .document("sort", Bson().int32("files_id", 1).int32("n", 1));
}

/// An index that a location has to have.
struct NeededIndex
{
    const char* name;
    Part part;
    std::vector<std::string> fields;
    bool unique;
    QString use;
};

std::vector<NeededIndex> neededIndexes()
{
    return {
        {"filename_1_uploadDate_1",
         Part::Files,
         {"filename", "uploadDate"},
         false,
         QStringLiteral("finding a file takes long without it")},
        {"kozav_unique_filename",
         Part::Files,
         {"filename"},
         true,
         QStringLiteral("two files can get one name without it")},
        {"files_id_1_n_1",
         Part::Chunks,
         {"files_id", "n"},
         false,
         QStringLiteral("reading takes long without it, and the chunks were not looked at")},
    };
}

bool isIndex(const BsonView& index, const NeededIndex& needed)
{
    const auto key = index.value("key");
    bson_iter_t field = {};
    if (!key || !bson_iter_recurse(&key->at, &field))
        return false;
    std::vector<std::string> fields;
    while (bson_iter_next(&field))
        fields.emplace_back(bson_iter_key(&field));
    const auto unique = index.value("unique");
    return fields == needed.fields && (!needed.unique || (unique && bson_iter_as_bool(&unique->at)));
}

} // namespace

/// A file, and what was seen of its chunks. They come by number, so each is the next one, one that was there
/// already, or one behind a gap.
struct GridFsSurvey::Tally
{
    GridFsFile file;
    qint64 next = 0;
    bool hasGap = false;
    bool hasTwice = false;

    void count(qint64 number)
    {
        hasGap = hasGap || number > next;
        hasTwice = hasTwice || number < next;
        next = std::max(next, number + 1);
    }

    [[nodiscard]] qint64 expected() const
    {
        return (file.stored().length + file.chunkSize() - 1) / file.chunkSize();
    }

    /// Nothing but one chunk behind the last.
    [[nodiscard]] bool hasOneMore() const
    {
        return file.damage().isEmpty() && !hasGap && !hasTwice && next == expected() + 1;
    }

    [[nodiscard]] std::optional<StoreFlaw> flaw() const
    {
        const StoredFile& stored = file.stored();
        StoreFlaw found{Kind::SumUnreadable, stored.name, file.damage(), stored.length, stored.storedAt};
        if (!file.damage().isEmpty())
            return found;
        const bool missing = hasGap || next < expected();
        if (!missing && !hasTwice && next == expected())
            return std::nullopt;
        found.kind = missing ? Kind::ChunksMissing : Kind::ChunksSurplus;
        found.text =
            QStringLiteral("its length asks for %1 chunks").arg(expected()) +
            (missing ? QStringLiteral(", and not all are there") : QStringLiteral(", and it has more"));
        return found;
    }
};

Result<std::vector<StoreFlaw>> GridFsSurvey::run()
{
    auto looked = lookAtIndexes();
    // Without its index every page would have the server read all chunks.
    if (looked.ok() && m_chunksIndexed)
        looked = lookAtFiles();
    if (looked.ok() && m_chunksIndexed)
        looked = lookAtForeignFiles();
    if (looked.ok())
        looked = lookAgain();
    return looked.ok() ? Result(std::move(m_flaws)) : looked;
}

Status GridFsSurvey::lookAtIndexes()
{
    const std::vector<NeededIndex> needed = neededIndexes();
    std::vector<bool> found(needed.size());
    bool isMade = false;
    for (const Part part : {Part::Files, Part::Chunks}) {
        auto visited = m_bucket.visitIndexes(part, [&](const BsonView& index) {
            isMade = true;
            for (size_t i = 0; i < needed.size(); ++i)
                found[i] = found[i] || (needed[i].part == part && isIndex(index, needed[i]));
            return Status();
        });
        if (!visited.ok())
            return visited;
    }
    for (size_t i = 0; isMade && i < needed.size(); ++i) {
        if (found[i])
            continue;
        m_chunksIndexed = m_chunksIndexed && needed[i].part != Part::Chunks;
        m_flaws.push_back({Kind::IndexMissing, needed[i].name, needed[i].use, -1, {}});
    }
    return {};
}

Status GridFsSurvey::lookAtFiles()
{
    const GridFsId highest = filledId(0xff);
    GridFsId last = filledId(0);
    for (bool more = true; more;) {
        auto page = filesAfter(last);
        if (!page.ok())
            return page.status();
        more = page->size() == filesAtOnce;
        GridFsId end = more ? page->back().file.id() : highest;
        if (auto counted = countChunks(page.value(), last, end); !counted.ok())
            return counted;
        judge(page.value());
        last = std::move(end);
    }
    return {};
}

Result<GridFsSurvey::Page> GridFsSurvey::filesAfter(const GridFsId& last)
{
    Bson range;
    range.value("$gt", last.value()).value("$lte", filledId(0xff).value());
    Bson options;
    options.document("sort", Bson().int32("_id", 1)).int64("limit", filesAtOnce);
    Page page;
    page.reserve(filesAtOnce);
    const auto visited = m_bucket.visit(Part::Files, Bson().document("_id", range), options,
                                        [&page](const BsonView& document) {
                                            page.push_back({GridFsFile::readAny(document)});
                                            return Status();
                                        });
    return visited.ok() ? Result(std::move(page)) : visited;
}

/// Counts the chunks of the page's files, and notes those between them that are nobody's.
Status GridFsSurvey::countChunks(Page& page, const GridFsId& after, const GridFsId& upTo)
{
    Bson range;
    range.value("$gt", after.value()).value("$lte", upTo.value());
    Bson options;
    fillNumbersOnly(options);
    auto tally = page.begin();
    return m_bucket.visit(
        Part::Chunks, Bson().document("files_id", range), options, [&](const BsonView& chunk) {
            auto found = chunk.value("files_id");
            if (!found)
                return Status();
            const GridFsId id(*bson_iter_value(&found->at));
            while (tally != page.end() && compared(tally->file.id(), id) < 0)
                ++tally;
            const bool isKnown = !m_suspectChunks.empty() && compared(m_suspectChunks.back(), id) == 0;
            if (tally != page.end() && compared(tally->file.id(), id) == 0)
                tally->count(chunk.wholeNumber("n").value_or(-1));
            else if (!isKnown && !mayBeUnderWay(id))
                m_suspectChunks.push_back(id);
            return Status();
        });
}

void GridFsSurvey::judge(const Page& page)
{
    for (const Tally& tally : page) {
        if (tally.flaw())
            m_suspectFiles.push_back(tally.file.id());
    }
}

Status GridFsSurvey::lookAtForeignFiles()
{
    Bson otherType;
    otherType.document("$not", Bson().int32("$type", BSON_TYPE_OID));
    return m_bucket.visit(
        Part::Files, Bson().document("_id", otherType), Bson(),
        [this](const BsonView& document) { return lookAgainAtFile(GridFsFile::readAny(document).id()); });
}

Status GridFsSurvey::lookAgain()
{
    for (const GridFsId& id : m_suspectFiles) {
        if (auto looked = lookAgainAtFile(id); !looked.ok())
            return looked;
    }
    for (const GridFsId& id : m_suspectChunks) {
        if (auto looked = lookAgainAtChunks(id); !looked.ok())
            return looked;
    }
    return {};
}

Status GridFsSurvey::lookAgainAtFile(const GridFsId& id)
{
    std::optional<Tally> tally;
    auto visited = m_bucket.visit(Part::Files, Bson().equal("_id", id.value()), Bson(),
                                  [&tally](const BsonView& document) {
                                      tally.emplace(Tally{GridFsFile::readAny(document)});
                                      return Status();
                                  });
    if (!visited.ok() || !tally)
        return visited;
    Bson options;
    fillNumbersOnly(options);
    visited = m_bucket.visit(Part::Chunks, Bson().equal("files_id", id.value()), options,
                             [&tally](const BsonView& chunk) {
                                 tally->count(chunk.wholeNumber("n").value_or(-1));
                                 return Status();
                             });
    const auto flaw = tally->flaw();
    if (!visited.ok() || !flaw)
        return visited;
    const auto isReal = isStillThere(id, *tally);
    if (isReal.ok() && isReal.value())
        m_flaws.push_back(*flaw);
    return isReal.status();
}

/// Whether what was counted is a flaw. A removal takes the files document before the chunks: while that is
/// there, the chunks are.
Result<bool> GridFsSurvey::isStillThere(const GridFsId& id, const Tally& tally)
{
    auto hasFile = m_bucket.hasFile(id);
    if (!hasFile.ok() || !hasFile.value() || !tally.hasOneMore())
        return hasFile;
    const auto empty = isEmptyChunk(id, tally.expected());
    return empty.ok() ? Result(!empty.value()) : empty;
}

/// Some programs end a file with an empty chunk.
Result<bool> GridFsSurvey::isEmptyChunk(const GridFsId& id, qint64 number)
{
    bool isEmpty = false;
    Bson filter;
    filter.equal("files_id", id.value()).int64("n", number);
    const auto visited = m_bucket.visit(Part::Chunks, filter, Bson(), [&isEmpty](const BsonView& chunk) {
        const auto content = chunk.binary("data");
        isEmpty = content && content->size == 0;
        return Status();
    });
    return visited.ok() ? Result(isEmpty) : visited;
}

Status GridFsSurvey::lookAgainAtChunks(const GridFsId& id)
{
    const auto hasFile = m_bucket.hasFile(id);
    if (!hasFile.ok() || hasFile.value())
        return hasFile.status();
    qint64 chunks = 0;
    Bson options;
    fillNumbersOnly(options);
    auto visited = m_bucket.visit(Part::Chunks, Bson().equal("files_id", id.value()), options,
                                  [&chunks](const BsonView& /*chunk*/) {
                                      ++chunks;
                                      return Status();
                                  });
    if (!visited.ok() || chunks == 0)
        return visited;
    m_flaws.push_back({Kind::ChunksWithoutFile, hexText(id),
                       QStringLiteral("%1 chunks of an upload that did not end").arg(chunks),
                       m_bucket.chunkBytes(id), madeAt(id)});
    return {};
}

Status removeStaleChunks(GridFsBucket& bucket, const std::string& name)
{
    const auto id = idFromHex(name);
    if (!id || mayBeUnderWay(*id))
        return Status::invalidArgument(
            QStringLiteral("\"%1\" does not name the chunks of an upload that ended").arg(displayPath(name)));
    const auto hasFile = bucket.hasFile(*id);
    if (!hasFile.ok() || hasFile.value())
        return hasFile.status();
    return bucket.removeChunks(*id);
}

} // namespace KOZAV::Backend
