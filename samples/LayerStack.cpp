#include "samples/LayerStack.h"

namespace KOZAV::Samples {

namespace {

QByteArray copperName(int number, int count)
{
    const QByteArray prefix = "l" + QByteArray::number(number);
    if (number == 1)
        return prefix + "_top";
    if (number == count)
        return prefix + "_bot";
    return prefix + (number % 2 == 0 ? "_pln" : "_sig");
}

Layer copperLayer(int number, int count)
{
    const bool inner = number > 1 && number < count;
    return {
        inner && number % 2 == 0 ? LayerKind::Plane : LayerKind::Signal, copperName(number, count), {}, {}};
}

QByteArray typeName(LayerKind kind)
{
    switch (kind) {
    case LayerKind::Component:
        return "COMPONENT";
    case LayerKind::Paste:
        return "SOLDER_PASTE";
    case LayerKind::Silk:
        return "SILK_SCREEN";
    case LayerKind::Mask:
        return "SOLDER_MASK";
    case LayerKind::Signal:
        return "SIGNAL";
    case LayerKind::Plane:
        return "POWER_GROUND";
    case LayerKind::Drill:
        return "DRILL";
    case LayerKind::Rout:
        return "ROUT";
    case LayerKind::Outline:
        return "DOCUMENT";
    }
    return "DOCUMENT";
}

QByteArray layerBlock(int row, const Layer& layer)
{
    const QByteArray context = layer.kind == LayerKind::Outline ? "MISC" : "BOARD";
    return "\nLAYER {\n    ROW=" + QByteArray::number(row) + "\n    CONTEXT=" + context +
           "\n    TYPE=" + typeName(layer.kind) + "\n    NAME=" + layer.name.toUpper() +
           "\n    POLARITY=POSITIVE\n    START_NAME=" + layer.startName.toUpper() +
           "\n    END_NAME=" + layer.endName.toUpper() + "\n    OLD_NAME=\n}\n";
}

} // namespace

quint32 Layer::weight() const
{
    switch (kind) {
    case LayerKind::Signal:
        return 10;
    case LayerKind::Plane:
        return 6;
    case LayerKind::Silk:
        return 5;
    case LayerKind::Mask:
        return 3;
    case LayerKind::Drill:
    case LayerKind::Paste:
        return 2;
    case LayerKind::Component:
    case LayerKind::Rout:
    case LayerKind::Outline:
        return 0;
    }
    return 0;
}

std::vector<Layer> layerStack(int copperLayers)
{
    std::vector<Layer> layers{{LayerKind::Component, "comp_+_top", {}, {}},
                              {LayerKind::Paste, "spt", {}, {}},
                              {LayerKind::Silk, "sst", {}, {}},
                              {LayerKind::Mask, "smt", {}, {}}};
    for (int number = 1; number <= copperLayers; ++number)
        layers.push_back(copperLayer(number, copperLayers));
    layers.push_back({LayerKind::Mask, "smb", {}, {}});
    layers.push_back({LayerKind::Silk, "ssb", {}, {}});
    layers.push_back({LayerKind::Paste, "spb", {}, {}});
    layers.push_back({LayerKind::Component, "comp_+_bot", {}, {}});
    const QByteArray first = copperName(1, copperLayers);
    const QByteArray last = copperName(copperLayers, copperLayers);
    layers.push_back({LayerKind::Drill, "drill", first, last});
    if (copperLayers >= 4)
        layers.push_back({LayerKind::Drill, "drill_1-2", first, copperName(2, copperLayers)});
    layers.push_back({LayerKind::Rout, "rout", first, last});
    layers.push_back({LayerKind::Outline, "outline", {}, {}});
    return layers;
}

QByteArray matrixText(const std::vector<QByteArray>& steps, const std::vector<Layer>& layers)
{
    QByteArray text;
    int column = 0;
    for (const QByteArray& step : steps)
        text +=
            "\nSTEP {\n    COL=" + QByteArray::number(++column) + "\n    NAME=" + step.toUpper() + "\n}\n";
    int row = 0;
    for (const Layer& layer : layers)
        text += layerBlock(++row, layer);
    return text;
}

} // namespace KOZAV::Samples
