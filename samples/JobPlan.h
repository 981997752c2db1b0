#pragma once

#include "samples/Board.h"
#include "samples/LayerStack.h"

#include <QByteArray>
#include <QDateTime>

#include <vector>

namespace KOZAV::Samples {

struct StepPlan
{
    QByteArray name;
    Board board;
    /// The step that this one repeats in columns and rows; empty for the board itself.
    QByteArray repeatedStep;
    Board repeatedBoard;
    int columns = 0;
    int rows = 0;

    /// Share of the job's bytes relative to the other steps: most of a job is in its board.
    [[nodiscard]] quint64 weight() const { return repeatedStep.isEmpty() ? 6 : 1; }
};

/// What a job is going to be, before anything is written.
struct JobPlan
{
    QByteArray name;
    quint64 seed = 0;
    quint64 bytes = 0;
    /// The time of the last save, in the job's texts and on its files.
    QDateTime savedAt;
    Board board;
    std::vector<StepPlan> steps;
    std::vector<Layer> layers;
};

[[nodiscard]] JobPlan planJob(const QByteArray& name, quint64 seed, quint64 bytes, int steps,
                              int copperLayers);

} // namespace KOZAV::Samples
