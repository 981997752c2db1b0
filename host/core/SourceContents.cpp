#include "host/core/SourceContents.h"

#include "host/core/AllCores.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <map>
#include <utility>

namespace KOZAV::Host {

QString keepWhatMayBeKnown(std::vector<ComparedSource*>& sources)
{
    QString failure;
    QHash<bool, QSet<qint64>> known;
    std::map<std::pair<bool, qint64>, int> counts;
    for (const bool isFolder : {false, true}) {
        QSet<qint64> lengths;
        for (const ComparedSource* source : sources) {
            if (source->content.isFolder == isFolder)
                lengths.insert(source->content.length);
        }
        const auto found = knownLengths(isFolder, lengths, failure);
        if (!found)
            return failure;
        known.insert(isFolder, *found);
    }
    for (const ComparedSource* source : sources)
        ++counts[{source->content.isFolder, source->content.length}];
    const auto isUnknown = [&](const ComparedSource* source) {
        const SourceContent& content = source->content;
        return content.length < 0 || (counts[{content.isFolder, content.length}] == 1 &&
                                      !known[content.isFolder].contains(content.length));
    };
    sources.erase(std::remove_if(sources.begin(), sources.end(), isUnknown), sources.end());
    return {};
}

void readContents(std::vector<ComparedSource*> sources, unsigned threads,
                  const std::function<bool(qint64 bytes)>& onBytes, const std::function<void()>& look)
{
    // None is left with a long one at the end.
    std::stable_sort(sources.begin(), sources.end(),
                     [](const ComparedSource* one, const ComparedSource* other) {
                         return one->content.length > other->content.length;
                     });
    forEachOnCores(
        sources.size(), threads,
        [&](std::size_t number) {
            ComparedSource& source = *sources[number];
            source.content = contentOf(source.path, source.content.isFolder, onBytes);
        },
        look);
}

} // namespace KOZAV::Host
