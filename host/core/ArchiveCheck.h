#pragma once

#include "host/core/Remark.h"

#include <QString>

#include <atomic>
#include <optional>

namespace KOZAV::Host {

/// What is wrong with an archive as far as its outer form shows it.
struct ArchiveFlaw
{
    enum class Kind {
        None,
        CutShort, ///< it ends before its own end
        Damaged,  ///< it is not what it says of itself, or cannot be read
        Gone,     ///< there is no such file any more
        Unknown   ///< by its content it is none of these kinds
    };

    Kind kind = Kind::None;
    QString text; ///< for people
};

/// Looks whether an archive is there to its end, by its content whatever its name: of a zip archive the
/// directory at its end and where that says everything lies, a gzip stream to its last byte with the sums in
/// it, a rar archive as its headers lead through it. Nothing is unpacked, and never more than about a
/// megabyte is held.
/// @param cancelled  set by another thread to have it end early, without a flaw
ArchiveFlaw checkArchive(const QString& path, const std::atomic<bool>& cancelled);

/// What is told of a flaw; nothing where there is none.
/// @param isSavedJob  it is one of the system's own, whose content may be of any kind
std::optional<Remark> remarkOf(const ArchiveFlaw& flaw, bool isSavedJob);

} // namespace KOZAV::Host
