// The edge of every thread that runs tasks: an exception never crosses it. It is reported and the process
// ends.
#pragma once

#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// Runs action.run(index). An exception that leaves it is reported (a trel exception by its own report, a
// standard one by its text), then "FATAL ERROR: Unhandled exception in child thread." and the end of the
// process with code 1.
void run_guarded(BasicAction& action, u64 index) noexcept;

}  // namespace trel
