#include "backend/store/gridfs/Bson.h"

namespace KOZAV::Backend {

namespace {

constexpr int wholeKey = -1; // its length is that of the C string

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

Bson& Bson::objectId(const char* key, const bson_oid_t& value)
{
    bson_append_oid(&m_document, key, wholeKey, &value);
    return *this;
}

Bson& Bson::id(const char* key, const GridFsId& value)
{
    bson_append_value(&m_document, key, wholeKey, value.get());
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

} // namespace KOZAV::Backend
