#include "samples/JobTexts.h"

#include <array>

namespace KOZAV::Samples {

namespace {

QByteArray unitsLine(const Board& board)
{
    return "UNITS=" + board.unitsName() + "\n";
}

QByteArray lengthText(qint64 millionths)
{
    return RecordBuffer().length(millionths).bytes();
}

QByteArray attributeBlock(const char* kind, const char* name, const char* prompt, const char* entity)
{
    return QByteArray(kind) + " {\n    NAME=" + name + "\n    PROMPT=" + prompt + "\n    ENTITY=" + entity +
           "\n    DEF=\n}\n\n";
}

/// A few strokes on a grid of three by four; every letter has its own.
QByteArray letterStrokes(Random& random)
{
    QByteArray text;
    const int strokes = random.between(2, 4);
    for (int i = 0; i < strokes; ++i) {
        RecordBuffer line;
        line.text("LINE");
        for (int end = 0; end < 2; ++end) {
            line.letter(' ').length(qint64{100000} * (random.between(0, 2) - 1));
            line.letter(' ').length(qint64{100000} * (random.between(0, 3) - 1));
        }
        text += line.text(" P R 0.012\n").bytes();
    }
    return text;
}

} // namespace

QByteArray jobInfo(const JobPlan& plan)
{
    const QByteArray saved = plan.savedAt.toString(QStringLiteral("yyyyMMdd.HHmmss")).toLatin1();
    const QByteArray created =
        plan.savedAt.addDays(-3).toString(QStringLiteral("yyyyMMdd.HHmmss")).toLatin1();
    return "JOB_NAME=" + plan.name + "\n" + unitsLine(plan.board) +
           "ODB_VERSION_MAJOR=8\nODB_VERSION_MINOR=1\nODB_SOURCE=zav_samples\nCREATION_DATE=" + created +
           "\nSAVE_DATE=" + saved + "\nSAVE_APP=zav_samples 1\nSAVE_USER=samples\nMAX_UID=1\n";
}

QByteArray jobAttributes(const JobPlan& plan)
{
    return unitsLine(plan.board) +
           ".comment = \n.customer = \n.technology = \n.data_source = \n.variant_list = \n.primary_side = "
           "top\n"
           ".ipc_class = class2\n.design_origin_x = 0\n.design_origin_y = 0\n.board_thickness = " +
           lengthText(plan.board.fromMils(62)) + "\n";
}

QByteArray systemAttributes(const JobPlan& plan)
{
    return unitsLine(plan.board) + attributeBlock("TEXT", ".comment", "Comment", "job;step;layer") +
           attributeBlock("TEXT", ".customer", "Customer", "job") +
           attributeBlock("TEXT", ".geometry", "Geometry name", "feature") +
           attributeBlock("OPTION", ".pad_usage", "Pad usage", "feature") +
           attributeBlock("OPTION", ".drill", "Drill type", "feature") +
           attributeBlock("OPTION", ".comp_mount_type", "Mount type", "component") +
           attributeBlock("FLOAT", ".comp_height", "Height", "component") +
           attributeBlock("FLOAT", ".board_thickness", "Thickness", "job;step") +
           attributeBlock("BOOLEAN", ".out_drill_full", "All drills", "step");
}

QByteArray standardFont(quint64 seed)
{
    Random random = Random::forPurpose(seed, "fonts/standard");
    QByteArray text = "XSIZE 0.302\nYSIZE 0.302\nOFFSET 0\n\n";
    for (char letter = '!'; letter <= '~'; ++letter)
        text += QByteArray("CHAR ") + letter + "\n" + letterStrokes(random) + "ECHAR\n\n";
    return text;
}

QByteArray stepHeader(const StepPlan& step)
{
    QByteArray text = unitsLine(step.board) +
                      "X_DATUM=0\nY_DATUM=0\nX_ORIGIN=0\nY_ORIGIN=0\nTOP_ACTIVE=0\nBOTTOM_ACTIVE=0\n"
                      "RIGHT_ACTIVE=0\nLEFT_ACTIVE=0\nAFFECTING_BOM=\nAFFECTING_BOM_CHANGED=0\n";
    if (step.repeatedStep.isEmpty())
        return text;
    const QByteArray rail = lengthText(step.board.fromMils(300));
    return text + "\nSTEP-REPEAT {\n    NAME=" + step.repeatedStep.toUpper() + "\n    X=" + rail +
           "\n    Y=" + rail + "\n    DX=" + lengthText(step.repeatedBoard.width) +
           "\n    DY=" + lengthText(step.repeatedBoard.height) +
           "\n    NX=" + QByteArray::number(step.columns) + "\n    NY=" + QByteArray::number(step.rows) +
           "\n    ANGLE=0\n    FLIP=NO\n    MIRROR=NO\n}\n";
}

QByteArray stepProfile(const StepPlan& step)
{
    RecordBuffer out;
    out.text(unitsLine(step.board)).text("#\n#Num Features\n#\nF 1\n\n#\n#Layer features\n#\nS P 0\n");
    appendOutlineContour(out, step.board);
    return out.text("SE\n").bytes();
}

QByteArray stepAttributes(const StepPlan& step)
{
    return unitsLine(step.board) +
           ".out_drill_full = no\n.out_drill_optional = no\n.out_rout_optional = no\n"
           ".comment = \n.out_name = \n.fs_direction_top = left2right\n"
           ".fs_direction_bottom = right2left\n.viacap_layer = none\n.out_drill_order = 0\n";
}

QByteArray layerAttributes(const StepPlan& step, const Layer& layer)
{
    QByteArray text = unitsLine(step.board) + ".comment = \n.inp_file = " + layer.name + "\n.out_name = \n";
    if (layer.isCopper())
        text += ".copper_weight = 1\n.layer_dielectric = " + lengthText(step.board.fromMils(8)) + "\n";
    if (layer.isDrilled())
        text += ".out_mirror = no\n.cdr_mirror = no\n";
    return text;
}

QByteArray drillTools(const StepPlan& step)
{
    static constexpr std::array<int, 6> kDiameters{{8, 10, 12, 20, 35, 42}};
    // Tool sizes are in mils or microns, one step finer than the unit of the file.
    const auto toolSize = [&](int mils) { return lengthText(step.board.fromMils(mils) * 1000); };
    QByteArray text = unitsLine(step.board) + "THICKNESS=" + toolSize(62) + "\nUSER_PARAMS=\n";
    int number = 0;
    for (const int mils : kDiameters)
        text += "TOOLS {\n    NUM=" + QByteArray::number(++number) +
                "\n    TYPE=" + (mils < 20 ? "VIA" : "PLATED") +
                "\n    TYPE2=STANDARD\n    MIN_TOL=0\n    MAX_TOL=" + toolSize(3) +
                "\n    BIT=\n    FINISH_SIZE=" + toolSize(mils) + "\n    DRILL_SIZE=" + toolSize(mils) +
                "\n}\n\n";
    return text;
}

} // namespace KOZAV::Samples
