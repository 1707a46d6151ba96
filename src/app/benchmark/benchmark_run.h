// A benchmark's run, as menu and command line start it.
#pragma once

#include "app/custom/compute_options.h"
#include "app/session/authorization_token.h"
#include "base/names/names.h"

namespace kalvor {

// The settings of a computation of Pi to so many decimal digits.
ComputeSettings benchmark_settings(u64 decimal_digits);
// Runs it, or writes the settings file that the command names. Says whether the digits are known to be right.
bool run_benchmark(ComputeCommand command, const AuthorizationToken& token);

}  // namespace kalvor
