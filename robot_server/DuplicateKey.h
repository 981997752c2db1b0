#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace KOZAV::Robot {

/// A member name that occurs twice in one object of a document, compared without its escapes. The document
/// must be grammatical JSON.
[[nodiscard]] std::optional<QString> duplicateKey(const QByteArray& document);

} // namespace KOZAV::Robot
