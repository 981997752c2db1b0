#pragma once

#include <QByteArray>
#include <QDateTime>

namespace KOZAV::Backend {

/// A time in UTC as ISO 8601 with milliseconds and a trailing "Z", as QDateTime writes it for the years 0 to
/// 9999, in a small part of its time: rows and stored files carry many of them. Empty for an invalid time.
QByteArray isoTime(const QDateTime& time);

} // namespace KOZAV::Backend
