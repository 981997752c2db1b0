#pragma once

#include <QString>

#include <optional>

namespace KOZAV::Samples {

/// The bytes meant by "4096", "100K", "5M" or "8G" (multiples of 1024, either case); nothing for any other
/// text.
[[nodiscard]] std::optional<quint64> parseSize(const QString& text);

/// The size as a person reads it: "5 M", "1.5 G", "700 bytes".
[[nodiscard]] QString readableSize(quint64 bytes);

} // namespace KOZAV::Samples
