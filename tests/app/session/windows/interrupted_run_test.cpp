// A run on a console window of its own, which Ctrl-C interrupts. Ctrl-C only: Wine delivers Ctrl-Break to
// nobody.
#include <gtest/gtest.h>
#include <windows.h>

#include <thread>

#include "app/session/console_run.h"
#include "os/interrupt.h"
#include "platform/parallel/run_monitor.h"
#include "support/child.h"
#include "support/windows/console_window.h"

namespace {

const kalvor_test::Child interrupted_run("interrupted run", [] {
    kalvor::ComputeSettings settings;
    settings.set_decimal_digits(50000000);
    settings.output_enable = false;
    // The run's own watch takes it, or nobody does and the process ends the same way.
    std::thread interrupt([] {
        Sleep(1000);
        GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
    });
    interrupt.detach();
    try {
        kalvor::run_on_console(std::move(settings));
    } catch (const trel::RunStopped&) {
        trel::os::end_as_interrupted();
    }
});

}  // namespace

TEST(InterruptedRunTest, EndsAsAnInterruptedProcess) {
    const kalvor_test::ConsoleRun run = kalvor_test::run_on_console("interrupted run");
    EXPECT_EQ(run.exit_code, static_cast<int>(0xC000013A));
}
