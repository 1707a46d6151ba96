// What opens a run on the console.
#pragma once

#include <functional>
#include <string>

#include "app/record/run_record.h"
#include "app/settings/compute_settings.h"
#include "base/names/names.h"
#include "base/status/status.h"

namespace kalvor {

// The machine, the constant with its algorithm, the digits, the mode, the tasks and the start time of the
// record. mode: "Ram Only". The caller prints the machine's last line, whose number may still be
// in the making.
void print_run_header(const ComputeSettings& settings, const RunRecord& record, const std::string& mode,
                      Status& status, const std::function<void()>& print_base_frequency);

}  // namespace kalvor
