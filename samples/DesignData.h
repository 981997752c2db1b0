#pragma once

#include "samples/JobTree.h"
#include "samples/Placement.h"

#include <QByteArray>
#include <QString>

#include <vector>

namespace KOZAV::Samples {

/// A layer that the nets refer to, and how many features it has.
struct NetLayer
{
    QByteArray name;
    quint64 features;
    bool drilled;
};

/// What a pin costs in the two files below, about: to plan with before they are written.
constexpr quint64 kDesignBytesPerPin = 105;

/// Writes the components file of one side.
void writeComponents(JobTree& tree, const QString& name, const Board& board, const Placement& placement,
                     bool top);

/// Writes the design data: nets with the features that make them, and packages.
void writeDesignData(JobTree& tree, const QString& name, const Board& board, const Placement& placement,
                     const std::vector<NetLayer>& layers, Random random);

/// Writes the net list: the names of the nets and a point for every pin.
void writeNetlist(JobTree& tree, const QString& name, const Board& board, const Placement& placement);

} // namespace KOZAV::Samples
