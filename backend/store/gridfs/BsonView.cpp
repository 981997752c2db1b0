#include "backend/store/gridfs/BsonView.h"

#include <cmath>

namespace KOZAV::Backend {

namespace {

std::optional<qint64> exactly(double value)
{
    constexpr double exactBound = 9007199254740992.0; // 2^53
    if (std::fabs(value) <= exactBound && std::floor(value) == value)
        return static_cast<qint64>(value);
    return std::nullopt;
}

} // namespace

std::optional<bson_iter_t> BsonView::value(const char* path) const
{
    bson_iter_t start = {};
    bson_iter_t found = {};
    if (bson_iter_init(&start, m_document) && bson_iter_find_descendant(&start, path, &found))
        return found;
    return std::nullopt;
}

std::optional<std::string> BsonView::text(const char* path) const
{
    const auto found = value(path);
    if (!found || !BSON_ITER_HOLDS_UTF8(&*found))
        return std::nullopt;
    uint32_t length = 0;
    const char* text = bson_iter_utf8(&*found, &length);
    return std::string(text, length);
}

std::optional<qint64> BsonView::wholeNumber(const char* path) const
{
    const auto found = value(path);
    if (!found)
        return std::nullopt;
    if (BSON_ITER_HOLDS_DOUBLE(&*found))
        return exactly(bson_iter_double(&*found));
    if (BSON_ITER_HOLDS_INT(&*found))
        return bson_iter_as_int64(&*found);
    return std::nullopt;
}

QDateTime BsonView::date(const char* path) const
{
    const auto found = value(path);
    if (!found || !BSON_ITER_HOLDS_DATE_TIME(&*found))
        return {};
    return QDateTime::fromMSecsSinceEpoch(bson_iter_date_time(&*found), Qt::UTC);
}

std::optional<BsonView::Bytes> BsonView::binary(const char* path) const
{
    const auto found = value(path);
    if (!found || !BSON_ITER_HOLDS_BINARY(&*found))
        return std::nullopt;
    bson_subtype_t subtype = BSON_SUBTYPE_BINARY;
    uint32_t size = 0;
    const uint8_t* data = nullptr;
    bson_iter_binary(&*found, &subtype, &size, &data);
    return Bytes{reinterpret_cast<const char*>(data), size};
}

int BsonView::elements(const char* path) const
{
    const auto found = value(path);
    bson_iter_t element = {};
    if (!found || !BSON_ITER_HOLDS_ARRAY(&*found) || !bson_iter_recurse(&*found, &element))
        return 0;
    int count = 0;
    while (bson_iter_next(&element))
        ++count;
    return count;
}

} // namespace KOZAV::Backend
