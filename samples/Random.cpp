#include "samples/Random.h"

namespace KOZAV::Samples {

Random Random::forPurpose(quint64 seed, const QByteArray& purpose)
{
    // FNV-1a: one value for one purpose on every machine, unlike qHash().
    quint64 hash = 0xcbf29ce484222325U;
    for (const char letter : purpose)
        hash = (hash ^ static_cast<unsigned char>(letter)) * 0x100000001b3U;
    return Random(Random(seed).next() ^ hash);
}

} // namespace KOZAV::Samples
