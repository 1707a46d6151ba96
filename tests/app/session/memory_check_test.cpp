// What is said when a run does not fit into the machine.
#include "app/session/memory_check.h"

#include <gtest/gtest.h>

#include "base/status/linear_console_node.h"
#include "support/capture_console.h"

namespace kalvor {
namespace {

constexpr trel::os::MemoryStatus kMachine{1000, 600, 1000000};

constexpr const char* kAdvice =
    "\nInsufficient memory may lead to virtual memory thrashing which can cause severe\n"
    "performance degradation and/or system unresponsiveness.\n";

std::string said(const trel::os::MemoryStatus& machine, trel::u64 needed) {
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    check_memory(machine, needed, status);
    return console.text();
}

TEST(MemoryCheckTest, WhatFitsIsNotMentioned) {
    EXPECT_EQ(said(kMachine, 0), "");
    EXPECT_EQ(said(kMachine, 600), "");
}

TEST(MemoryCheckTest, MoreThanIsFree) {
    const std::string wanted = std::string("\nThere is insufficient available physical memory.\n") + kAdvice;
    EXPECT_EQ(said(kMachine, 601), wanted);
    EXPECT_EQ(said(kMachine, 1000), wanted);
}

TEST(MemoryCheckTest, MoreThanThereIs) {
    EXPECT_EQ(said(kMachine, 1001), std::string("\nThere is insufficient physical memory.\n") + kAdvice);
    EXPECT_EQ(said(kMachine, 1000000), std::string("\nThere is insufficient physical memory.\n") + kAdvice);
}

TEST(MemoryCheckTest, UnknownSizesAreNotHeldAgainstTheRun) {
    EXPECT_EQ(said({}, 1ULL << 60), "");
}

TEST(MemoryCheckDeathTest, BeyondTheAddressSpaceTheProgramEnds) {
    EXPECT_EXIT(
        {
            // What is printed goes to the standard output, which a death test does not look at.
            trel::LinearConsoleNode status(79, 1.0);
            trel::Console::set_pause_before_fatal_exit(false);
            check_memory(kMachine, 1000001, status);
        },
        testing::ExitedWithCode(1), "");
}

}  // namespace
}  // namespace kalvor
