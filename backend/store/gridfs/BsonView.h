#pragma once

#include <QDateTime>

#include <bson/bson.h>

#include <optional>
#include <string>

namespace KOZAV::Backend {

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

    /// A value of any type; points into the document.
    [[nodiscard]] std::optional<bson_iter_t> value(const char* path) const;

    /// How many elements the array at the path has; 0 where there is none.
    [[nodiscard]] int elements(const char* path) const;

private:
    const bson_t* m_document;
};

} // namespace KOZAV::Backend
