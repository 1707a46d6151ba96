#include "digits/viewer/viewer_console_run.h"

#include "base/status/linear_console_node.h"
#include "digits/output/interrupted.h"
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
    const u64 processors = os::usable_processor_count();
    const auto framework = ParallelismSettings().framework->make_framework();
    const ParallelContext parallel{framework.get(), processors, &monitor};
    FileLedger files;
    MovedDigits moved;
    const ViewerRun run = {
        parallel, console, ViewerCalls::of_this_machine(), FileIO::FileCalls::of_this_machine(), &files,
        &console, &moved};
    const auto report = [&] {
        framework->warnings().report(console);
        monitor.warnings.report(console);
    };
    bool stopped = false;
    try {
        stopped = run_interruptible(
            monitor, [&] { action(run); }, [&] { end_busy_run(files, console, moved.text()); });
    } catch (...) {
        report();
        throw;
    }
    report();
    if (!stopped) return;
    print_interrupted(interrupted_text(files.kept(), moved.text()));
    throw RunStopped();
}

}  // namespace kalvor::DigitViewer2
