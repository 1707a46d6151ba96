// A run of the stress tester as the program carries it out: shown on the console, ended by interrupts.
#pragma once

#include "app/stress/stress_run.h"
#include "app/stress/stress_settings.h"
#include "base/names/names.h"

namespace kalvor {

// False when something failed. An interrupt (os/interrupt.h) ends the run with its closing lines; then
// RunStopped is thrown, which ends the process as an interrupted one.
bool run_stress_on_console(const StressSettings& settings, const StressCalls& calls);

}  // namespace kalvor
