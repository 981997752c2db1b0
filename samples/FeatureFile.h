#pragma once

#include "samples/FeatureGenerator.h"
#include "samples/JobTree.h"

#include <QByteArray>
#include <QString>

namespace KOZAV::Samples {

/// Everything of a features file that stands before the features themselves.
[[nodiscard]] QByteArray featureFileHeader(const Board& board, LayerKind kind, const SymbolTable& symbols,
                                           quint64 count);

/// Writes a features file of about `bytes` bytes and returns how many features it holds: always at least one,
/// and never more than a few megabytes in memory.
quint64 writeFeatureFile(JobTree& tree, const QString& name, const Board& board, LayerKind kind,
                         FeatureGenerator generator, quint64 bytes);

} // namespace KOZAV::Samples
