#pragma once

#include "samples/Board.h"
#include "samples/LayerStack.h"

#include <QByteArray>

#include <vector>

namespace KOZAV::Samples {

/// The symbols that the features of a layer are drawn with.
struct SymbolTable
{
    std::vector<QByteArray> names;
    /// The first so many are round and draw lines and arcs; all of them serve as pads.
    quint32 roundCount = 0;
};

[[nodiscard]] SymbolTable symbolTable(LayerKind kind, Units units);

/// Symbols of the job's own, each with a folder below "symbols".
[[nodiscard]] std::vector<QByteArray> userSymbols();

/// Content of a user symbol's features file.
[[nodiscard]] QByteArray userSymbolFeatures(const QByteArray& symbol, const Board& board);

} // namespace KOZAV::Samples
