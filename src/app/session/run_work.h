// The phases of a whole run for its meter.
#pragma once

#include <vector>

#include "app/session/memory_plan.h"
#include "base/names/names.h"
#include "base/status/work_meter.h"

namespace kalvor {

// In the order of a run: memory, the constant's own, check by another formula, conversion, verification,
// writing, reading back. Their seconds are those of a machine of today with the tasks and processors of the
// settings. None when nothing is known of the constant.
std::vector<WorkPhase> run_work(const RunPlan& plan, const ComputeSettings& settings);

// How long a run will take, about, at a default rate; 0 when nothing is known of the constant.
double expected_seconds(const std::vector<WorkPhase>& phases);

}  // namespace kalvor
