#include "digits/bbp/bbp_console_run.h"

#include "base/console/format.h"
#include "base/names/names.h"
#include "base/status/linear_console_node.h"
#include "digits/output/interrupted.h"
#include "platform/parallel/interruptible_run.h"

namespace kalvor::BBPv2 {

namespace {

constexpr u64 kLineWidth = 79;
constexpr double kRefreshSeconds = 0.1;

}  // namespace

void run_on_console(BBPSession& session) {
    RunMonitor monitor;
    LinearConsoleNode console(kLineWidth, kRefreshSeconds);
    bool stopped = false;
    try {
        stopped = run_interruptible(
            monitor, [&] { session.run(console, monitor); }, [&] { end_busy_run("Interrupted.", console); });
    } catch (...) {
        monitor.warnings.report(console);
        throw;
    }
    if (!stopped) return;
    print_interrupted("Interrupted. " + Console::format_fixed(session.percent_done(), 2) +
                      " % of the terms were summed.");
    throw RunStopped();
}

}  // namespace kalvor::BBPv2
