#include "samples/Design.h"

#include <array>

// Names and texts are those of the ODB++ format, release 8, as far as readers look at them: the
// matrix with its steps and layers, headers as NAME=VALUE, attributes as ".name = value".

namespace KOZAV::Samples {

namespace {

/// What the matrix calls the kinds of layers, in the order of LayerKind.
constexpr std::array<const char*, 9> kTypes{{"COMPONENT", "SOLDER_PASTE", "SILK_SCREEN", "SOLDER_MASK",
                                             "SIGNAL", "POWER_GROUND", "DRILL", "ROUT", "DOCUMENT"}};

constexpr qint64 kRail = 300000;

Layer copperLayer(int number, int count)
{
    const QByteArray prefix = "l" + QByteArray::number(number);
    if (number == 1)
        return {LayerKind::Signal, prefix + "_top", {}, {}};
    if (number == count)
        return {LayerKind::Signal, prefix + "_bot", {}, {}};
    if (number % 2 == 0)
        return {LayerKind::Plane, prefix + "_pln", {}, {}};
    return {LayerKind::Signal, prefix + "_sig", {}, {}};
}

QByteArray layerBlock(int row, const Layer& layer)
{
    return "\nLAYER {\n    ROW=" + QByteArray::number(row) +
           "\n    CONTEXT=" + (layer.kind == LayerKind::Outline ? "MISC" : "BOARD") +
           "\n    TYPE=" + kTypes.at(static_cast<std::size_t>(layer.kind)) +
           "\n    NAME=" + layer.name.toUpper() +
           "\n    POLARITY=POSITIVE\n    START_NAME=" + layer.startName.toUpper() +
           "\n    END_NAME=" + layer.endName.toUpper() + "\n    OLD_NAME=\n}\n";
}

QByteArray dateTimeText(const QDateTime& time)
{
    return time.toString(QStringLiteral("yyyyMMdd.HHmmss")).toLatin1();
}

} // namespace

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
    const QByteArray first = copperLayer(1, copperLayers).name;
    const QByteArray last = copperLayer(copperLayers, copperLayers).name;
    layers.push_back({LayerKind::Drill, "drill", first, last});
    if (copperLayers >= 4)
        layers.push_back({LayerKind::Drill, "drill_1-2", first, copperLayer(2, copperLayers).name});
    layers.push_back({LayerKind::Rout, "rout", first, last});
    layers.push_back({LayerKind::Outline, "outline", {}, {}});
    return layers;
}

std::vector<Step> planSteps(quint64 seed, int count)
{
    Random random = Random::forPurpose(seed, "board");
    std::vector<Step> steps{{"pcb", makeBoard(random), {}}};
    for (int number = 2; number <= count; ++number) {
        // The panel holds arrays of boards; what comes after it is a variant of the panel, not a panel of
        // panels.
        const Step& repeated = steps.at(number == 2 ? 0 : 1);
        QByteArray name = number == 2 ? "array" : "panel";
        if (number > 3)
            name += "_" + QByteArray::number(number);
        steps.push_back(
            {name, {2 * (repeated.board.width + kRail), 2 * (repeated.board.height + kRail)}, repeated.name});
    }
    return steps;
}

QByteArray matrixText(const std::vector<Step>& steps, const std::vector<Layer>& layers)
{
    QByteArray text;
    int column = 0;
    for (const Step& step : steps)
        text += "\nSTEP {\n    COL=" + QByteArray::number(++column) + "\n    NAME=" + step.name.toUpper() +
                "\n}\n";
    int row = 0;
    for (const Layer& layer : layers)
        text += layerBlock(++row, layer);
    return text;
}

QByteArray jobInfo(const QByteArray& jobName, const QDateTime& savedAt)
{
    return "JOB_NAME=" + jobName +
           "\nUNITS=INCH\nODB_VERSION_MAJOR=8\nODB_VERSION_MINOR=1\nODB_SOURCE=zav_samples\nCREATION_DATE=" +
           dateTimeText(savedAt.addDays(-3)) + "\nSAVE_DATE=" + dateTimeText(savedAt) +
           "\nSAVE_APP=zav_samples\nSAVE_USER=samples\nMAX_UID=1\n";
}

QByteArray jobAttributes()
{
    return "UNITS=INCH\n.comment = \n.customer = \n.technology = \n.data_source = \n.primary_side = top\n"
           ".ipc_class = class2\n.design_origin_x = 0\n.design_origin_y = 0\n.board_thickness = 0.062\n";
}

QByteArray stepHeader(const Step& step)
{
    QByteArray text =
        "UNITS=INCH\nX_DATUM=0\nY_DATUM=0\nX_ORIGIN=0\nY_ORIGIN=0\nTOP_ACTIVE=0\nBOTTOM_ACTIVE=0\n"
        "RIGHT_ACTIVE=0\nLEFT_ACTIVE=0\nAFFECTING_BOM=\nAFFECTING_BOM_CHANGED=0\n";
    if (step.repeated.isEmpty())
        return text;
    const QByteArray rail = inches(kRail);
    return text + "\nSTEP-REPEAT {\n    NAME=" + step.repeated.toUpper() + "\n    X=" + rail +
           "\n    Y=" + rail + "\n    DX=" + inches(step.board.width / 2 - kRail) +
           "\n    DY=" + inches(step.board.height / 2 - kRail) +
           "\n    NX=2\n    NY=2\n    ANGLE=0\n    FLIP=NO\n    MIRROR=NO\n}\n";
}

QByteArray stepAttributes()
{
    return "UNITS=INCH\n.comment = \n.out_name = \n.out_drill_full = no\n.out_drill_optional = no\n"
           ".out_rout_optional = no\n.fs_direction_top = left2right\n.fs_direction_bottom = right2left\n"
           ".viacap_layer = none\n.out_drill_order = 0\n";
}

QByteArray layerAttributes(const Layer& layer)
{
    const QByteArray text = "UNITS=INCH\n.comment = \n.inp_file = " + layer.name +
                            "\n.out_name = \n.out_mirror = no\n.out_polarity = positive\n";
    const bool copper = layer.kind == LayerKind::Signal || layer.kind == LayerKind::Plane;
    return copper ? text + ".copper_weight = 1\n.layer_dielectric = 0.008\n" : text;
}

} // namespace KOZAV::Samples
