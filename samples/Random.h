#pragma once

#include <QByteArray>

namespace KOZAV::Samples {

/// SplitMix64. The generator has its own numbers because those of the standard library's distributions differ
/// between implementations, and a seed must give the same bytes everywhere.
class Random final
{
public:
    explicit Random(quint64 seed)
        : m_state(seed)
    {
    }

    /// A stream of its own for one file or one decision, so that a change to one leaves the others as they
    /// are.
    [[nodiscard]] static Random forPurpose(quint64 seed, const QByteArray& purpose)
    {
        // FNV-1a: one value for one purpose on every machine, unlike qHash().
        quint64 hash = 0xcbf29ce484222325U;
        for (const char letter : purpose)
            hash = (hash ^ static_cast<unsigned char>(letter)) * 0x100000001b3U;
        return Random(Random(seed).next() ^ hash);
    }

    quint64 next()
    {
        m_state += 0x9e3779b97f4a7c15U;
        quint64 mixed = m_state;
        mixed = (mixed ^ (mixed >> 30U)) * 0xbf58476d1ce4e5b9U;
        mixed = (mixed ^ (mixed >> 27U)) * 0x94d049bb133111ebU;
        return mixed ^ (mixed >> 31U);
    }

    /// A number from 0 to `bound` - 1; `bound` must not be 0.
    quint32 below(quint32 bound) { return static_cast<quint32>(((next() >> 32U) * bound) >> 32U); }

    /// A number from `first` to `last`, both included.
    int between(int first, int last)
    {
        return first + static_cast<int>(below(static_cast<quint32>(last - first + 1)));
    }

private:
    quint64 m_state;
};

} // namespace KOZAV::Samples
