#pragma once

#include "backend/Status.h"

#include <QDateTime>

#include <bson/bson.h>

#include <functional>
#include <optional>
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
    Bson& value(const char* key, const bson_value_t& value);
    Bson& emptyBinary(const char* key);
    Bson& document(const char* key, const Bson& value);
    Bson& array(const char* key, const Bson& value);

    /// The condition of a filter that the field has this value, whatever that is made of: an identifier of
    /// another program may be a document, with fields that would be taken for operators.
    Bson& equal(const char* key, const bson_value_t& value);

    /// Makes it the empty document that it was.
    void clear();

    [[nodiscard]] const bson_t* get() const { return &m_document; }

    /// Where the library puts a reply: to be called once, on an empty document.
    [[nodiscard]] bson_t* forReply() { return &m_document; }
    /// For functions of the library that append to a document.
    [[nodiscard]] bson_t* forAppending() { return &m_document; }

private:
    bson_t m_document;
};

/// Reads a BSON document that somebody else owns. Paths are dotted; a value is what is there of the wanted
/// kind.
class BsonView final
{
public:
    explicit BsonView(const bson_t* document)
        : m_document(document)
    {
    }

    [[nodiscard]] std::optional<std::string> text(const char* path) const;

    /// An integer of any width, or a floating-point number that is one.
    [[nodiscard]] std::optional<qint64> wholeNumber(const char* path) const;

    /// UTC; invalid where there is none.
    [[nodiscard]] QDateTime date(const char* path) const;

    struct Bytes
    {
        const char* data = nullptr;
        qint64 size = 0;
    };
    /// Points into the document.
    [[nodiscard]] std::optional<Bytes> binary(const char* path) const;

    /// Holds the library's type, which by itself would lose its alignment as an argument of a template.
    struct Value
    {
        bson_iter_t at;
    };
    /// A value of any type; points into the document.
    [[nodiscard]] std::optional<Value> value(const char* path) const;

    /// Calls visit for the documents in the array at the path, until it fails. They point into this one.
    [[nodiscard]] Status visitDocuments(const char* path,
                                        const std::function<Status(const BsonView& document)>& visit) const;

    /// How many elements the array at the path has; 0 where there is none.
    [[nodiscard]] int elements(const char* path) const;

private:
    const bson_t* m_document;
};

} // namespace KOZAV::Backend
