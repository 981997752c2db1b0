#pragma once

#include "samples/Features.h"

#include <QByteArray>
#include <QDateTime>

#include <vector>

namespace KOZAV::Samples {

/// A row of the job's matrix, and the folder of that name in every step.
struct Layer
{
    LayerKind kind = LayerKind::Signal;
    /// Lower case, as the folder has it; the matrix writes it in upper case.
    QByteArray name;
    /// First and last copper layer of a drill or rout layer, else empty.
    QByteArray startName;
    QByteArray endName;
};

/// A column of the job's matrix, and a folder below "steps": the board, or a panel of them.
struct Step
{
    QByteArray name;
    Board board;
    /// The step that this one repeats; empty for the board itself.
    QByteArray repeated;

    /// Share of the job's bytes that a layer has here, relative to all layers of all steps: most of a job is
    /// in its board.
    [[nodiscard]] quint32 weightOf(const Layer& layer) const
    {
        return (repeated.isEmpty() ? 6 : 1) * featuresWeight(layer.kind);
    }
};

/// The layers of a board with this many copper layers, from the top down, then drills, rout and outline.
[[nodiscard]] std::vector<Layer> layerStack(int copperLayers);

/// A board, and further steps that repeat it.
[[nodiscard]] std::vector<Step> planSteps(quint64 seed, int count);

/// Contents of the job's small files, which do not grow with its size.
/// @{
[[nodiscard]] QByteArray matrixText(const std::vector<Step>& steps, const std::vector<Layer>& layers);
[[nodiscard]] QByteArray jobInfo(const QByteArray& jobName, const QDateTime& savedAt);
[[nodiscard]] QByteArray jobAttributes();
[[nodiscard]] QByteArray stepHeader(const Step& step);
[[nodiscard]] QByteArray stepAttributes();
[[nodiscard]] QByteArray layerAttributes(const Layer& layer);
/// @}

} // namespace KOZAV::Samples
