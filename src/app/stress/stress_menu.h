// The menu of the stress tester.
#pragma once

#include "app/stress/stress_run.h"
#include "app/stress/stress_settings.h"
#include "base/names/names.h"

namespace kalvor {

// Edits the settings and runs the tests once. What the run returned; false: something failed. Throws
// EndOfStreamException at the end of the input, and RunStopped.
bool run_stress_menu(StressSettings settings, const StressMachine& machine, const StressCalls& calls);
// On this machine.
bool run_stress_menu();

}  // namespace kalvor
