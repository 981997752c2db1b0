#pragma once

#include "samples/JobPlan.h"

#include <QByteArray>

namespace KOZAV::Samples {

/// Contents of the small files of a job, which do not grow with its size.
/// @{
[[nodiscard]] QByteArray jobInfo(const JobPlan& plan);
[[nodiscard]] QByteArray jobAttributes(const JobPlan& plan);
[[nodiscard]] QByteArray systemAttributes(const JobPlan& plan);
[[nodiscard]] QByteArray standardFont(quint64 seed);
[[nodiscard]] QByteArray stepHeader(const StepPlan& step);
[[nodiscard]] QByteArray stepProfile(const StepPlan& step);
[[nodiscard]] QByteArray stepAttributes(const StepPlan& step);
[[nodiscard]] QByteArray layerAttributes(const StepPlan& step, const Layer& layer);
[[nodiscard]] QByteArray drillTools(const StepPlan& step);
/// @}

} // namespace KOZAV::Samples
