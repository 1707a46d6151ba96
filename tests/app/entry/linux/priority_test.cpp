// "priority:" reaches the system.
#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>

#include "app/entry/entry.h"
#include "support/capture_console.h"

namespace {

// Runs the program with this option and ends with the nice value that the process then has.
[[noreturn]] void end_with_nice_value(const char* option) {
    {
        CaptureConsole console;
        kalvor::run_program({"kalvor", option, "pause:-2", "skip-warnings", "about"});
    }
    _exit(getpriority(PRIO_PROCESS, 0));
}

}  // namespace

// Lowering is everybody's right; a level below the lowest is the lowest.
TEST(PriorityOptionDeathTest, IsTheNiceValueOfTheProcess) {
    const int before = getpriority(PRIO_PROCESS, 0);
    if (before >= 19) GTEST_SKIP() << "started at the lowest priority";
    EXPECT_EXIT(end_with_nice_value("priority:-5"), testing::ExitedWithCode(19), "");
    if (before < 10) {
        EXPECT_EXIT(end_with_nice_value("priority:-1"), testing::ExitedWithCode(10), "");
    }
}
