#include "host/core/Foreseen.h"

#include <algorithm>
#include <numeric>

namespace KOZAV::Host {

QString outlookName(Outlook outlook)
{
    switch (outlook) {
    case Outlook::Imported:
        return QStringLiteral("imported");
    case Outlook::NotImported:
        return QStringLiteral("not-imported");
    case Outlook::Open:
        break;
    }
    return QStringLiteral("open");
}

int Foreseen::count(Outlook outlook) const
{
    return static_cast<int>(std::count_if(entries.begin(), entries.end(),
                                          [outlook](const auto& entry) { return entry.outlook == outlook; }));
}

int Foreseen::warned() const
{
    return static_cast<int>(std::count_if(entries.begin(), entries.end(), [](const auto& entry) {
        return entry.outlook == Outlook::Imported && !entry.warnings.empty();
    }));
}

qint64 Foreseen::bytes() const
{
    return std::accumulate(entries.begin(), entries.end(), qint64(0), [](qint64 sum, const auto& entry) {
        return entry.isGiven && entry.bytes > 0 ? sum + entry.bytes : sum;
    });
}

bool Foreseen::allImported() const
{
    const bool fits = std::all_of(spaces.begin(), spaces.end(),
                                  [](const ForeseenSpace& space) { return space.isEnough(); });
    return fits && count(Outlook::Imported) == static_cast<int>(entries.size());
}

void ForesightPiece::addTo(Foreseen& foreseen) const
{
    if (walk)
        foreseen = *walk;
    for (const auto& [number, entry] : entries)
        foreseen.entries[number] = entry;
    if (!isLast)
        return;
    foreseen.remarks = remarks;
    foreseen.spaces = spaces;
    foreseen.seconds = seconds;
}

} // namespace KOZAV::Host
