#include "base/clock/performance_counter.h"

#include "base/console/console.h"
#include "base/console/error_output.h"

namespace trel {

u64 readable_counter(u64 ticks) {
    if (ticks != 0) return ticks;
    Console::print_problem("Unable to access performance counter.");
    Console::fatal_exit(1);
}

}  // namespace trel
