#include "digits/bbp/bbp_console_run.h"

#include "base/console/console.h"
#include "base/console/format.h"
#include "base/names/names.h"
#include "base/status/linear_console_node.h"
#include "os/interrupt.h"

namespace kalvor::BBPv2 {

namespace {

constexpr u64 kLineWidth = 79;
constexpr double kRefreshSeconds = 0.1;
// A tile of terms takes milliseconds, so the run has long stopped by then; the process is to end within two
// seconds whatever happens.
constexpr u32 kGraceMilliseconds = 1500;

}  // namespace

void run_on_console(BBPSession& session) {
    RunMonitor monitor;
    LinearConsoleNode console(kLineWidth, kRefreshSeconds);
    {
        const os::InterruptWatch watch([&] { monitor.stop.request(); }, [] { os::end_as_interrupted(); },
                                       kGraceMilliseconds);
        try {
            session.run(console, monitor);
        } catch (const RunStopped&) {
        } catch (...) {
            monitor.warnings.report(console);
            throw;
        }
    }
    // Also when the interrupt came too late to stop anything: the exit code tells the caller of it.
    if (!monitor.stop.requested()) return;
    Console::set_color('w');
    Console::new_line();
    Console::print_line("Interrupted. " + Console::format_fixed(session.percent_done(), 2) +
                        " % of the terms were summed.");
    Console::flush();
    throw RunStopped();
}

}  // namespace kalvor::BBPv2
