#include "digits/viewer/viewer_console_run.h"

#include <algorithm>

#include "base/console/console.h"
#include "base/status/linear_console_node.h"
#include "os/cpu.h"
#include "platform/parallel/interruptible_run.h"
#include "platform/parallel/parallelism_settings.h"

namespace kalvor::DigitViewer2 {

namespace {

constexpr u64 kLineWidth = 79;
constexpr double kRefreshSeconds = 0.1;

}  // namespace

void run_on_console(const std::function<void(const ViewerRun& run)>& action) {
    RunMonitor monitor;
    LinearConsoleNode console(kLineWidth, kRefreshSeconds);
    const u64 processors = std::max<u64>(os::active_processors().size(), 1);
    const auto framework = ParallelismSettings().framework->make_framework();
    const ParallelContext parallel{framework.get(), processors, &monitor};
    bool stopped = false;
    try {
        stopped = run_interruptible(monitor, [&] { action(ViewerRun{parallel}); });
    } catch (...) {
        monitor.warnings.report(console);
        throw;
    }
    monitor.warnings.report(console);
    if (!stopped) return;
    Console::set_color('w');
    Console::new_line();
    Console::print_line("Interrupted.");
    Console::flush();
    throw RunStopped();
}

}  // namespace kalvor::DigitViewer2
