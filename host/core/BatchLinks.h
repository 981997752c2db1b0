#pragma once

#include <QString>

#include <vector>

namespace KOZAV::Host {

/// A link in a batch directory to something that does not lie in it.
struct LinkOut
{
    QString path;
    QString target; ///< where it leads to in the end, with no link on the way
};

/// The company folders and entries of a batch directory that are such links, in the order of the import.
/// Links within job folders are not looked at: who packs the folder refuses those that lead out of it.
std::vector<LinkOut> linksOutOf(const QString& batchDirectory);

} // namespace KOZAV::Host
