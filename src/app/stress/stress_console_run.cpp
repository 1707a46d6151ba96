#include "app/stress/stress_console_run.h"

#include "base/console/console.h"
#include "base/status/linear_console_node.h"
#include "digits/output/interrupted.h"
#include "platform/parallel/interruptible_run.h"

namespace kalvor {

namespace {

constexpr u64 kLineWidth = 79;
constexpr double kRefreshSeconds = 1.0;

}  // namespace

bool run_stress_on_console(const StressSettings& settings, const StressCalls& calls) {
    RunMonitor monitor;
    LinearConsoleNode console(kLineWidth, kRefreshSeconds);
    bool passed = false;
    // The closing lines of a run that is overdue were printed by then, unless it was still getting its
    // memory.
    const bool stopped = run_interruptible(
        monitor, [&] { passed = run_stress(settings, console, monitor, calls); },
        [&] { end_busy_run("Interrupted.", console); });
    if (stopped) {
        Console::flush();
        throw RunStopped();
    }
    return passed;
}

}  // namespace kalvor
