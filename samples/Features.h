#pragma once

#include "samples/Files.h"
#include "samples/Random.h"

namespace KOZAV::Samples {

enum class LayerKind { Component, Paste, Silk, Mask, Signal, Plane, Drill, Rout, Outline };

/// Share of a step's bytes that such layers have relative to the others; 0 for those without features.
[[nodiscard]] quint32 featuresWeight(LayerKind kind);

/// The rectangle from (0, 0) that a step is drawn on, in millionths of an inch.
struct Board
{
    qint64 width = 0;
    qint64 height = 0;
};

/// A board of believable size.
[[nodiscard]] Board makeBoard(Random& random);

/// Millionths of an inch as a decimal fraction of inches: "1.25".
[[nodiscard]] QByteArray inches(qint64 millionths);

/// The features file that states a step's outline.
[[nodiscard]] QByteArray profileText(const Board& board);

/// What a features file takes at least, rounded up: its header and a run of features.
constexpr quint64 kSmallestFeatures = 900;

/// Writes features as a layer of that kind has them, all inside the board, until the file holds about `bytes`
/// bytes; nothing for a kind without features. Never more than a few megabytes of them are in memory.
void writeFeatures(OutputFile& file, const Board& board, LayerKind kind, Random random, quint64 bytes);

} // namespace KOZAV::Samples
