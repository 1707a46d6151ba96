#include "digits/bbp/bbp_console_run.h"

#include "base/console/console.h"
#include "base/console/format.h"
#include "base/names/names.h"
#include "base/status/linear_console_node.h"
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
        stopped = run_interruptible(monitor, [&] { session.run(console, monitor); });
    } catch (...) {
        monitor.warnings.report(console);
        throw;
    }
    if (!stopped) return;
    Console::set_color('w');
    Console::new_line();
    Console::print_line("Interrupted. " + Console::format_fixed(session.percent_done(), 2) +
                        " % of the terms were summed.");
    Console::flush();
    throw RunStopped();
}

}  // namespace kalvor::BBPv2
