// What is said when a run does not fit into the machine.
#include "app/session/memory_check.h"

#include <gtest/gtest.h>

#include "base/errors/exceptions.h"
#include "base/errors/plain_words.h"
#include "base/status/linear_console_node.h"
#include "support/capture_console.h"

namespace kalvor {
namespace {

constexpr trel::os::MemoryStatus kMachine{1000, 600, 1000000};

constexpr const char* kAdvice =
    "\nInsufficient memory may lead to virtual memory thrashing which can cause severe\n"
    "performance degradation and/or system unresponsiveness.\n";

trel::u64 asked_bytes = 0;

MemoryDemand demand(trel::u64 bytes, bool forced = false) {
    return {bytes,
            [](trel::u64 there) {
                asked_bytes = there;
                return trel::u64(4500000000);
            },
            forced};
}

std::string said(const trel::os::MemoryStatus& machine, const MemoryDemand& needed) {
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    check_memory(machine, needed, status);
    return console.text();
}

std::string refusal(const trel::os::MemoryStatus& machine, trel::u64 needed) {
    try {
        said(machine, demand(needed));
    } catch (const trel::InvalidParametersException& e) {
        return e.message;
    }
    return "";
}

std::string warned(const std::string& what, const std::string& figures) {
    return "\n" + what + "\n\n" + figures + "\n" + kAdvice;
}

TEST(MemoryCheckTest, FiguresInDigits) {
    constexpr trel::u64 kGiB = 1ULL << 30;
    EXPECT_EQ(memory_figures(461 * kGiB / 10, 22 * kGiB, 4500000000),
              "needs 46.1 GiB, 22.0 are free: at most 4,500,000,000 digits");
    EXPECT_EQ(memory_figures(46 * kGiB, 512ULL << 20, 100),
              "needs 46.0 GiB, 512 MiB are free: at most 100 digits");
    EXPECT_EQ(memory_figures(46 * kGiB, 1 << 20, 0),
              "needs 46.0 GiB, 1.00 MiB are free: not even the smallest size fits");
}

TEST(MemoryCheckTest, WhatFitsIsNotMentioned) {
    EXPECT_EQ(said(kMachine, demand(0)), "");
    EXPECT_EQ(said(kMachine, demand(600)), "");
}

TEST(MemoryCheckTest, MoreThanIsFree) {
    const std::string what = "There is insufficient available physical memory.";
    EXPECT_EQ(said(kMachine, demand(601)),
              warned(what, "The computation needs 601 bytes, 600 are free: at most 4,500,000,000 digits."));
    EXPECT_EQ(asked_bytes, 600u);
    EXPECT_EQ(
        said(kMachine, demand(1000)),
        warned(what, "The computation needs 0.98 KiB, 600 bytes are free: at most 4,500,000,000 digits."));
}

TEST(MemoryCheckTest, MoreThanThereIsButForSwapSpace) {
    trel::os::MemoryStatus machine = kMachine;
    machine.total_swap = 500;
    const std::string what = "There is insufficient physical memory.";
    const std::string figures =
        "The computation needs 0.98 KiB, 600 bytes are free: at most 4,500,000,000 digits.";
    EXPECT_EQ(said(machine, demand(1001)), warned(what, figures));
    EXPECT_EQ(refusal(machine, 1500), "");
    EXPECT_NE(refusal(machine, 1501), "");
}

TEST(MemoryCheckTest, BeyondSwapSpaceTheRunIsRefusedUnlessItIsForced) {
    const std::string figures =
        "The computation needs 0.98 KiB, 600 bytes are free: at most 4,500,000,000 digits.";
    EXPECT_EQ(refusal(kMachine, 1001),
              "There is insufficient physical memory.\n" + figures +
                  "\nChoose fewer digits. On a command line -force:1 runs it anyway.");
    EXPECT_EQ(said(kMachine, demand(1001, true)), warned("There is insufficient physical memory.", figures));
}

// A refusal begins with a sentence that has the figures and shows the way out.
TEST(MemoryCheckTest, RefusalsBeginInPlainWords) {
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    std::string words;
    try {
        check_memory(kMachine, demand(1001), status);
    } catch (const trel::InvalidParametersException& e) {
        words = trel::plain_words(e);
    }
    // They are printed by whoever reports the exception.
    EXPECT_EQ(console.text(), "");
    EXPECT_EQ(
        words,
        "The run does not fit into this machine's memory: it needs 0.98 KiB, 600 bytes are free: at most "
        "4,500,000,000 digits. Choose fewer digits. On a command line -force:1 runs it anyway.\nSee \"kalvor "
        "help custom\".");
}

TEST(MemoryCheckTest, UnknownSizesAreNotHeldAgainstTheRun) {
    EXPECT_EQ(said({}, demand(1ULL << 60)), "");
}

TEST(MemoryCheckTest, BeyondTheAddressSpaceTheRunEnds) {
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    try {
        check_memory(kMachine, demand(1000001), status);
        ADD_FAILURE() << "not refused";
    } catch (const trel::RunError& e) {
        EXPECT_STREQ(e.what(), "Insufficient Address Space");
        EXPECT_EQ(console.take(), "");
        e.print();
        EXPECT_EQ(console.text(),
                  "\nThe run needs 977 KiB, 600 bytes are free: at most 4,500,000,000 digits. Choose fewer "
                  "digits.\nSee \"kalvor help custom\".\n"
                  "\nInsufficient Address Space\n"
                  "Fatal error encountered. Terminating program.\n");
    }
    EXPECT_THROW(said(kMachine, demand(1000001, true)), AddressSpaceExceeded);
}

}  // namespace
}  // namespace kalvor
