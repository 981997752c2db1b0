#pragma once

#include <QByteArray>

#include <vector>

namespace KOZAV::Samples {

enum class LayerKind { Component, Paste, Silk, Mask, Signal, Plane, Drill, Rout, Outline };

/// One row of the job's matrix and the folder of that name in every step.
struct Layer
{
    LayerKind kind = LayerKind::Signal;
    /// Lower case, as the folder has it; the matrix writes it in upper case.
    QByteArray name;
    /// First and last copper layer of a drill or rout layer, else empty.
    QByteArray startName;
    QByteArray endName;

    /// Share of the step's bytes relative to the other layers; 0 for layers whose content does not grow.
    [[nodiscard]] quint32 weight() const;
    [[nodiscard]] bool isCopper() const { return kind == LayerKind::Signal || kind == LayerKind::Plane; }
    [[nodiscard]] bool isDrilled() const { return kind == LayerKind::Drill || kind == LayerKind::Rout; }
};

/// The layers of a board with this many copper layers, from the top down, then drills, rout and outline.
[[nodiscard]] std::vector<Layer> layerStack(int copperLayers);

/// Content of the matrix file.
[[nodiscard]] QByteArray matrixText(const std::vector<QByteArray>& steps, const std::vector<Layer>& layers);

} // namespace KOZAV::Samples
