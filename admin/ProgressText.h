#pragma once

#include <QString>

namespace KOZAV::Admin {

/// How far a command has come that works through files.
struct FilesDone
{
    qint64 files = 0; ///< of filesTotal
    qint64 filesTotal = 0;
    qint64 bytes = 0; ///< of bytesTotal
    qint64 bytesTotal = 0;
    qint64 elapsedMs = 0; ///< since the first of them
};

/// Part of the whole, from 0 to 1; 1 where there is nothing.
double fractionOf(qint64 done, qint64 total);

/// Bytes make the way; where there are none, files do, as they are looked at all the same. 1 only with the
/// last file.
double fractionOf(const FilesDone& done);

/// "1.5 MiB"
QString sizeText(qint64 bytes);

/// "3/9"
QString countText(qint64 done, qint64 total);
QString filesText(const FilesDone& done);

/// "3/9, 500.0 of 1000.0 MiB, 50.0 MiB/s, 0:10 left"; rate and time as soon as they mean something.
QString detailsOf(const FilesDone& done);

} // namespace KOZAV::Admin
