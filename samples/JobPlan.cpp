#include "samples/JobPlan.h"

namespace KOZAV::Samples {

namespace {

QByteArray stepName(int number)
{
    switch (number) {
    case 1:
        return "pcb";
    case 2:
        return "array";
    case 3:
        return "panel";
    default:
        return "panel_" + QByteArray::number(number);
    }
}

StepPlan repeatingStep(int number, const StepPlan& repeated, Random& random)
{
    StepPlan step;
    step.name = stepName(number);
    step.repeatedStep = repeated.name;
    step.repeatedBoard = repeated.board;
    step.columns = random.between(1, 3);
    step.rows = random.between(1, 3);
    step.board = repeated.board.panel(step.columns, step.rows);
    return step;
}

std::vector<StepPlan> planSteps(const Board& board, int count, Random& random)
{
    StepPlan pcb;
    pcb.name = stepName(1);
    pcb.board = board;
    std::vector<StepPlan> steps{pcb};
    // The panel holds arrays of boards; what comes after it is a variant of the panel, not a panel of panels.
    for (int number = 2; number <= count; ++number)
        steps.push_back(repeatingStep(number, steps.at(number == 2 ? 0 : 1), random));
    return steps;
}

QDateTime saveTime(Random& random)
{
    constexpr qint64 kStartOf2021 = 1609459200;
    constexpr quint32 kFourYears = 126230400;
    return QDateTime::fromSecsSinceEpoch(kStartOf2021 + random.below(kFourYears), Qt::UTC);
}

} // namespace

JobPlan planJob(const QByteArray& name, quint64 seed, quint64 bytes, int steps, int copperLayers)
{
    Random random = Random::forPurpose(seed, "plan");
    JobPlan plan;
    plan.name = name;
    plan.seed = seed;
    plan.bytes = bytes;
    plan.savedAt = saveTime(random);
    plan.board = makeBoard(random);
    plan.steps = planSteps(plan.board, steps, random);
    plan.layers = layerStack(copperLayers);
    return plan;
}

} // namespace KOZAV::Samples
