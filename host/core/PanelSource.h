#pragma once

#include <QString>

namespace KOZAV::Host {

/// What a run of the file import panel imports.
struct PanelSource
{
    enum class Kind { Batch, Archive, JobFolder };

    Kind kind = Kind::Batch;
    QString path;    ///< as the panel has it; empty for a batch that was never chosen
    QString company; ///< of a single source: the one that is chosen in the panel

    bool operator==(const PanelSource& other) const
    {
        return kind == other.kind && path == other.path && company == other.company;
    }
};

} // namespace KOZAV::Host
