// A benchmark's run, as menu and command line start it.
#pragma once

#include "app/custom/compute_options.h"
#include "app/session/authorization_token.h"
#include "base/names/names.h"

namespace kalvor {

// The settings of a computation of Pi to that many decimal digits.
ComputeSettings benchmark_settings(u64 decimal_digits);
// Says that the digits are right when they were compared with known ones.
void report_benchmark(const RunRecord& record);
// Runs it, or writes the settings file that the command names.
bool run_benchmark(ComputeCommand command, const AuthorizationToken& token);

}  // namespace kalvor
