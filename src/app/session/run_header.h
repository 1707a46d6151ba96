// What opens a run on the console.
#pragma once

#include <string>

#include "app/record/run_record.h"
#include "app/settings/compute_settings.h"
#include "base/names/names.h"
#include "base/status/status.h"

namespace kalvor {

// The machine, the constant with its algorithm, the digits, the mode, the tasks and the start time of the
// record. mode: "Ram Only"
void print_run_header(const ComputeSettings& settings, const RunRecord& record, const std::string& mode,
                      Status& status);

}  // namespace kalvor
