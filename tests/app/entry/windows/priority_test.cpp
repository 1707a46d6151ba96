// "priority:" reaches the system.
#include <gtest/gtest.h>

#include <windows.h>

#include "app/entry/entry.h"
#include "os/process.h"
#include "support/capture_console.h"

namespace {

// Runs the program with this option and ends with the priority class that the process then has.
[[noreturn]] void end_with_priority_class(const char* option) {
    {
        CaptureConsole console;
        kalvor::run_program({"kalvor", option, "pause:-2", "skip-warnings", "about"});
    }
    trel::os::exit_process(static_cast<int>(GetPriorityClass(GetCurrentProcess())));
}

}  // namespace

TEST(PriorityOptionDeathTest, IsThePriorityClassOfTheProcess) {
    EXPECT_EXIT(end_with_priority_class("priority:-5"), testing::ExitedWithCode(IDLE_PRIORITY_CLASS), "");
    EXPECT_EXIT(end_with_priority_class("priority:2"), testing::ExitedWithCode(HIGH_PRIORITY_CLASS), "");
    EXPECT_EXIT(end_with_priority_class("priority:7"), testing::ExitedWithCode(REALTIME_PRIORITY_CLASS), "");
    // Without the option a level below normal.
    EXPECT_EXIT(end_with_priority_class("colors:0"), testing::ExitedWithCode(BELOW_NORMAL_PRIORITY_CLASS),
                "");
}
