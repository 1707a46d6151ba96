// "priority:" reaches the system.
#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/wait.h>
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

// Root may, but in some containers root may not.
bool may_raise_priority() {
    const pid_t child = fork();
    if (child == 0) {
        setpriority(PRIO_PROCESS, 0, 15);
        _exit(setpriority(PRIO_PROCESS, 0, 10) == 0 ? 0 : 1);
    }
    int status = -1;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0;
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

// "nice" before the command counts as long as nobody asks for another priority.
TEST(PriorityOptionDeathTest, ALowerPriorityStays) {
    const auto end_at_15 = [](const char* option) {
        setpriority(PRIO_PROCESS, 0, 15);
        end_with_nice_value(option);
    };
    if (getpriority(PRIO_PROCESS, 0) > 10) GTEST_SKIP() << "started at a low priority";
    EXPECT_EXIT(end_at_15("colors:0"), testing::ExitedWithCode(15), "");
    EXPECT_EXIT(end_at_15("priority:-1"), testing::ExitedWithCode(may_raise_priority() ? 10 : 15), "");
}
