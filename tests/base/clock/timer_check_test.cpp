#include "base/clock/timer_check.h"

#include <gtest/gtest.h>

namespace trel {
namespace {

constexpr u64 kCounterRate = 10000000, kTscRate = 3000000000;

// Seconds by the three clocks.
std::string_view checked(double counter, double tsc, double system) {
    const auto ticks = [](double seconds, double rate) { return static_cast<u64>(1e12 + seconds * rate); };
    const ClockReading start{1000000000000, 1000000000000, 1000000000000};
    const ClockReading end{ticks(counter, kCounterRate), ticks(tsc, kTscRate), ticks(system, 1e9)};
    return timer_check_text(check_timers(start, end, kCounterRate, kTscRate));
}

TEST(TimerCheckTest, AllThreeAgreeWithinAPercent) {
    EXPECT_EQ(checked(10, 10, 10), "Passed");
    EXPECT_EQ(checked(10, 10.09, 10.05), "Passed");
    EXPECT_EQ(checked(10, 10.11, 10), "Failed");
    EXPECT_EQ(checked(10.11, 10, 10), "Failed");
    EXPECT_EQ(checked(10, 10, 10.11), "Failed");
    // Each agrees with the counter, but not with each other.
    EXPECT_EQ(checked(10, 9.94, 10.06), "Failed");
    // Set back.
    EXPECT_EQ(checked(10, 10, -1), "Failed");
}

TEST(TimerCheckTest, WhatCannotBeCompared) {
    EXPECT_EQ(checked(0.0999, 0.0999, 0.0999), "Unable to Validate");
    EXPECT_EQ(checked(0.1001, 0.1001, 0.1001), "Passed");
    const ClockReading start{1, 1, 1}, end{kCounterRate, kTscRate, 1000000000};
    EXPECT_EQ(check_timers(start, end, kCounterRate, kTscRate), TimerCheck::passed);
    EXPECT_EQ(check_timers(start, end, 0, kTscRate), TimerCheck::unable);
    EXPECT_EQ(check_timers(start, end, kCounterRate, 0), TimerCheck::unable);
    for (u64 ClockReading::*clock :
         {&ClockReading::performance, &ClockReading::tsc, &ClockReading::system_ns}) {
        ClockReading unread = start;
        unread.*clock = 0;
        EXPECT_EQ(check_timers(unread, end, kCounterRate, kTscRate), TimerCheck::unable);
        unread = end;
        unread.*clock = 0;
        EXPECT_EQ(check_timers(start, unread, kCounterRate, kTscRate), TimerCheck::unable);
    }
}

TEST(TimerCheckTest, AResumedRun) {
    EXPECT_EQ(timer_check_text(TimerCheck::disabled_by_restart), "Disabled due to checkpoint restart");
}

TEST(TimerCheckTest, TheClocksOfThisMachineAreRead) {
    const ClockReading first = ClockReading::now(), second = ClockReading::now();
    for (u64 ClockReading::*clock :
         {&ClockReading::performance, &ClockReading::tsc, &ClockReading::system_ns}) {
        EXPECT_NE(first.*clock, 0u);
        EXPECT_GE(second.*clock, first.*clock);
    }
}

}  // namespace
}  // namespace trel
