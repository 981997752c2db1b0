#include "backend/store/gridfs/Bson.h"

#include <cmath>

namespace KOZAV::Backend {

namespace {

constexpr int wholeKey = -1; // its length is that of the C string

std::optional<qint64> exactly(double value)
{
    constexpr double exactBound = 9007199254740992.0; // 2^53
    if (std::fabs(value) <= exactBound && std::floor(value) == value)
        return static_cast<qint64>(value);
    return std::nullopt;
}

} // namespace

Bson& Bson::text(const char* key, const std::string& value)
{
    bson_append_utf8(&m_document, key, wholeKey, value.data(), static_cast<int>(value.size()));
    return *this;
}

Bson& Bson::int32(const char* key, int value)
{
    bson_append_int32(&m_document, key, wholeKey, value);
    return *this;
}

Bson& Bson::int64(const char* key, qint64 value)
{
    bson_append_int64(&m_document, key, wholeKey, value);
    return *this;
}

Bson& Bson::flag(const char* key, bool value)
{
    bson_append_bool(&m_document, key, wholeKey, value);
    return *this;
}

Bson& Bson::date(const char* key, const QDateTime& value)
{
    bson_append_date_time(&m_document, key, wholeKey, value.toMSecsSinceEpoch());
    return *this;
}

Bson& Bson::value(const char* key, const bson_value_t& value)
{
    bson_append_value(&m_document, key, wholeKey, &value);
    return *this;
}

Bson& Bson::emptyBinary(const char* key)
{
    const uint8_t nothing = 0;
    bson_append_binary(&m_document, key, wholeKey, BSON_SUBTYPE_BINARY, &nothing, 0);
    return *this;
}

Bson& Bson::document(const char* key, const Bson& value)
{
    bson_append_document(&m_document, key, wholeKey, value.get());
    return *this;
}

Bson& Bson::array(const char* key, const Bson& value)
{
    bson_append_array(&m_document, key, wholeKey, value.get());
    return *this;
}

Bson& Bson::equal(const char* key, const bson_value_t& value)
{
    return document(key, Bson().value("$eq", value));
}

void Bson::clear()
{
    bson_destroy(&m_document);
    bson_init(&m_document);
}

std::optional<BsonView::Value> BsonView::value(const char* path) const
{
    bson_iter_t start = {};
    bson_iter_t found = {};
    if (bson_iter_init(&start, m_document) && bson_iter_find_descendant(&start, path, &found))
        return Value{found};
    return std::nullopt;
}

std::optional<std::string> BsonView::text(const char* path) const
{
    const auto found = value(path);
    if (!found || !BSON_ITER_HOLDS_UTF8(&found->at))
        return std::nullopt;
    uint32_t length = 0;
    const char* text = bson_iter_utf8(&found->at, &length);
    return std::string(text, length);
}

std::optional<qint64> BsonView::wholeNumber(const char* path) const
{
    const auto found = value(path);
    if (!found)
        return std::nullopt;
    if (BSON_ITER_HOLDS_DOUBLE(&found->at))
        return exactly(bson_iter_double(&found->at));
    if (BSON_ITER_HOLDS_INT(&found->at))
        return bson_iter_as_int64(&found->at);
    return std::nullopt;
}

QDateTime BsonView::date(const char* path) const
{
    const auto found = value(path);
    if (!found || !BSON_ITER_HOLDS_DATE_TIME(&found->at))
        return {};
    return QDateTime::fromMSecsSinceEpoch(bson_iter_date_time(&found->at), Qt::UTC);
}

std::optional<BsonView::Bytes> BsonView::binary(const char* path) const
{
    const auto found = value(path);
    if (!found || !BSON_ITER_HOLDS_BINARY(&found->at))
        return std::nullopt;
    bson_subtype_t subtype = BSON_SUBTYPE_BINARY;
    uint32_t size = 0;
    const uint8_t* data = nullptr;
    bson_iter_binary(&found->at, &subtype, &size, &data);
    return Bytes{reinterpret_cast<const char*>(data), size};
}

Status BsonView::visitDocuments(const char* path,
                                const std::function<Status(const BsonView& document)>& visit) const
{
    const auto found = value(path);
    bson_iter_t element = {};
    if (!found || !BSON_ITER_HOLDS_ARRAY(&found->at) || !bson_iter_recurse(&found->at, &element))
        return {};
    while (bson_iter_next(&element)) {
        if (!BSON_ITER_HOLDS_DOCUMENT(&element))
            continue;
        uint32_t length = 0;
        const uint8_t* bytes = nullptr;
        bson_t document = {};
        bson_iter_document(&element, &length, &bytes);
        if (!bson_init_static(&document, bytes, length))
            continue;
        if (auto visited = visit(BsonView(&document)); !visited.ok())
            return visited;
    }
    return {};
}

int BsonView::elements(const char* path) const
{
    const auto found = value(path);
    bson_iter_t element = {};
    if (!found || !BSON_ITER_HOLDS_ARRAY(&found->at) || !bson_iter_recurse(&found->at, &element))
        return 0;
    int count = 0;
    while (bson_iter_next(&element))
        ++count;
    return count;
}

} // namespace KOZAV::Backend
