#pragma once

#include "host/site/KnownJobs.h"

#include <QString>

#include <functional>
#include <vector>

namespace KOZAV::Host {

/// A source of an import, and its content as far as that is known.
struct ComparedSource
{
    QString company;
    QString name;
    QString path;
    SourceContent content; ///< its length -1 where that cannot be told, its hash empty where it was not read
};

/// Keeps those that may have the content of a job of the site, or of another one of them, by their lengths:
/// only they need to be read. @return why the site cannot be asked; empty on success
[[nodiscard]] QString keepWhatMayBeKnown(std::vector<ComparedSource*>& sources);

/// Reads sources, the longest first, and sets their contents.
/// @param threads  0: one for each core
/// @param onBytes  told of bytes as they are read, on the threads that read; returns whether to go on
/// @param look     called about ten times a second, on the calling thread
void readContents(std::vector<ComparedSource*> sources, unsigned threads,
                  const std::function<bool(qint64 bytes)>& onBytes, const std::function<void()>& look);

} // namespace KOZAV::Host
