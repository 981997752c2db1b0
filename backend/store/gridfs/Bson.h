#pragma once

#include "backend/store/gridfs/GridFsId.h"

#include <QDateTime>

#include <bson/bson.h>

#include <string>

namespace KOZAV::Backend {

/// A BSON document of a few fields: one to be sent, or a reply.
///
/// Texts have to be valid UTF-8 without NUL. The library refuses to grow a document beyond 2 GB, which
/// nothing here comes near.
class Bson final
{
public:
    Bson() { bson_init(&m_document); }
    ~Bson() { bson_destroy(&m_document); }
    Q_DISABLE_COPY(Bson)

    Bson& text(const char* key, const std::string& value);
    Bson& int32(const char* key, int value);
    Bson& int64(const char* key, qint64 value);
    Bson& flag(const char* key, bool value);
    Bson& date(const char* key, const QDateTime& value);
    Bson& objectId(const char* key, const bson_oid_t& value);
    Bson& id(const char* key, const GridFsId& value);
    Bson& emptyBinary(const char* key);
    Bson& document(const char* key, const Bson& value);
    Bson& array(const char* key, const Bson& value);

    [[nodiscard]] const bson_t* get() const { return &m_document; }

    /// Where the library puts a reply: to be called once, on an empty document.
    [[nodiscard]] bson_t* forReply() { return &m_document; }
    /// For functions of the library that append to a document.
    [[nodiscard]] bson_t* forAppending() { return &m_document; }

private:
    bson_t m_document;
};

} // namespace KOZAV::Backend
