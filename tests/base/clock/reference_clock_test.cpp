#include "base/clock/reference_clock.h"

#include <gtest/gtest.h>

#include "base/clock/performance_counter.h"
#include "base/clock/timer.h"
#include "base/clock/tsc_frequency.h"
#include "support/capture_console.h"

using namespace trel;

TEST(ReferenceClockTest, KindByFrequency) {
    constexpr u64 kTsc = 3000000000;
    const struct {
        u64 performance, tsc;
        const char* kind;
    } cases[] = {
        {14318180, kTsc, "HPET"},
        {24000000, kTsc, "HPET"},
        {24000000, u64(24000000) * 1024, "HPET"},  // the frequency of a timer goes before the ratio
        {3579545, kTsc, "ACPI"},
        {3579545, u64(3579545) * 1024, "ACPI"},
        {14318179, kTsc, ""},
        {14318181, kTsc, ""},
        {3579544, kTsc, ""},
        {23999999, kTsc, ""},
        {kTsc / 1024, kTsc, "TSC"},
        // The bounds themselves lie outside.
        {1000000, 1008000000, ""},
        {1000000, 1008000001, "TSC"},
        {1000000, 1039999999, "TSC"},
        {1000000, 1040000000, ""},
        {10000000, kTsc, ""},
        {1000000000, kTsc, ""},
        {1000000, 0, ""},
        {0, kTsc, ""},
        {0, 0, ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(reference_clock_kind(c.performance, c.tsc), c.kind) << c.performance << ' ' << c.tsc;
    }
}

TEST(ReferenceClockTest, KindByName) {
    EXPECT_EQ(reference_clock_kind("hpet"), "HPET");
    EXPECT_EQ(reference_clock_kind("acpi_pm"), "ACPI");
    EXPECT_EQ(reference_clock_kind("tsc"), "TSC");
    for (const char* other :
         {"", "kvm-clock", "hyperv_clocksource_tsc_page", "jiffies", "TSC", "tsc-early"}) {
        EXPECT_EQ(reference_clock_kind(other), "") << other;
    }
}

TEST(ReferenceClockTest, OfThisMachine) {
    const ReferenceClocks clocks = reference_clocks();
    EXPECT_EQ(clocks.kind, get_reference_clock_kind());
    EXPECT_TRUE(clocks.kind == "" || clocks.kind == "HPET" || clocks.kind == "ACPI" || clocks.kind == "TSC");
    EXPECT_EQ(clocks.performance_frequency, os::performance_frequency());
    EXPECT_EQ(clocks.tsc_by_performance_counter, measure_tsc_frequency());
    EXPECT_EQ(clocks.tsc_by_system_clock, measure_tsc_frequency_by_system_clock());
    // Two clocks over the same counter. Wide, because a busy machine may interrupt either measurement.
    EXPECT_GT(clocks.tsc_by_system_clock, clocks.tsc_by_performance_counter / 2);
    EXPECT_LT(clocks.tsc_by_system_clock, clocks.tsc_by_performance_counter * 2);
}

namespace {

// A machine whose clock makes one step a reading, and whose time-stamp counter makes 1000 of them.
struct FakeMachine {
    std::vector<u32> affinity = {3, 5, 64};
    std::vector<std::vector<u32>> pinned;
    u64 time = 1000;
    u64 readings = 0;
    u64 system = 1000000000;  // nanoseconds
    u64 frequency = 1600;
    u64 fails_at = ~u64(0);     // the reading that fails
    u64 set_back_at = ~u64(0);  // the reading before which the clock is set back
    bool affinity_known = true;
    size_t refuses_pin = ~size_t(0);  // the call that fails
};
FakeMachine machine;

os::OsError failure() {
    return {22, os::ErrorCategory::invalid_parameter};
}

const FrequencyCalls kFake = {
    [](std::vector<u32>& processors) {
        if (!machine.affinity_known) return failure();
        processors = machine.affinity;
        return os::OsError{};
    },
    [](const std::vector<u32>& processors) {
        if (machine.pinned.size() == machine.refuses_pin) return failure();
        machine.pinned.push_back(processors);
        return os::OsError{};
    },
    [] { return machine.time * 1000; },
    [] {
        if (machine.readings == machine.set_back_at) machine.time -= 500;
        if (machine.readings++ == machine.fails_at) return u64(0);
        machine.system += 625000;
        return machine.time++;
    },
    [] { return machine.frequency; },
    [] { return machine.system; },
    {},
};

// As by whoever needs the number.
u64 measured(const FrequencyCalls& calls) {
    const TscRates rates = measure_tsc(calls);
    rates.require();
    return rates.by_performance_counter;
}

class TscMeasurementTest : public testing::Test {
  protected:
    void SetUp() override { machine = FakeMachine(); }
};
using TscMeasurementDeathTest = TscMeasurementTest;

}  // namespace

// A second thread of the run may use the processor meanwhile: the clock is not read in a loop.
TEST_F(TscMeasurementTest, SleepsThroughTheInterval) {
    FrequencyCalls sleeping = kFake;
    sleeping.pass = [](double seconds) {
        machine.time += static_cast<u64>(seconds * static_cast<double>(machine.frequency));
        return true;
    };
    // 102 steps between the readings of the time-stamp counter, 101 between those of the clock.
    EXPECT_EQ(measured(sleeping), 102000u * 1600 / 101);
    EXPECT_EQ(machine.readings, 2u);
}

TEST_F(TscMeasurementTest, OverASixteenthOfASecondOnTheLowestProcessor) {
    CaptureConsole console;
    // 101 steps between the readings of the time-stamp counter, 100 between those of the clock.
    EXPECT_EQ(measured(kFake), 1616000u);
    EXPECT_EQ(machine.readings, 101u);
    EXPECT_EQ(machine.pinned, (std::vector<std::vector<u32>>{{3}, {3, 5, 64}}));
    EXPECT_EQ(console.take(), "");
}

TEST_F(TscMeasurementTest, AFrequencyIsCutOff) {
    CaptureConsole console;
    machine.frequency = 1615;  // still 100 ticks: 101000 / 100 x 1615 = 1631150
    EXPECT_EQ(measured(kFake), 1631150u);
    machine = FakeMachine();
    machine.frequency = 1648;  // 103 ticks: 104000 / 103 x 1648
    EXPECT_EQ(measured(kFake), 1664000u);
    machine = FakeMachine();
    machine.frequency = 1663;  // 104000 / 103 x 1663 = 1679145.6
    EXPECT_EQ(measured(kFake), 1679145u);
}

TEST_F(TscMeasurementTest, UnreadableAffinityIsNotFatal) {
    CaptureConsole console(CaptureConsole::terminal, true);
    machine.affinity_known = false;
    EXPECT_EQ(measured(kFake), 1616000u);
    EXPECT_TRUE(machine.pinned.empty());
    EXPECT_EQ(console.take(), "\n{R}Unable to read thread affinity.\n{w}");
}

TEST_F(TscMeasurementTest, AClockThatIsSetBackBeginsAnew) {
    CaptureConsole console;
    machine.set_back_at = 60;
    EXPECT_EQ(measured(kFake), 1616000u);
    EXPECT_EQ(machine.readings, 61u + 101u);
}

// Both rates are of one interval: the clock on the wall is read at its ends.
TEST_F(TscMeasurementTest, TheWallClockIsReadOverTheSameInterval) {
    FrequencyCalls sleeping = kFake;
    sleeping.pass = [](double) {
        machine.time += 100;
        machine.system += 50000000;
        return true;
    };
    const TscRates rates = measure_tsc(sleeping);
    EXPECT_EQ(rates.by_performance_counter, 102000u * 1600 / 101);
    // Two readings of the other clock took 625 us each.
    EXPECT_EQ(rates.by_system_clock, static_cast<u64>(102000 / 0.05125));
}

TEST_F(TscMeasurementTest, AWallClockThatIsSetBackBeginsAnew) {
    int n = 0;
    FrequencyCalls sleeping = kFake;
    sleeping.pass = [&n](double) {
        machine.time += 100;
        machine.system += n++ == 0 ? u64(0) - 100000000 : 50000000;
        return true;
    };
    EXPECT_GT(measure_tsc(sleeping).by_system_clock, 0u);
    EXPECT_EQ(n, 2);
}

TEST_F(TscMeasurementTest, AnAbandonedOneHasNoRatesAndGivesThePlaceBack) {
    FrequencyCalls sleeping = kFake;
    sleeping.pass = [](double) { return false; };
    const TscRates rates = measure_tsc(sleeping);
    EXPECT_TRUE(rates.abandoned);
    EXPECT_EQ(rates.by_performance_counter, 0u);
    EXPECT_EQ(machine.pinned, (std::vector<std::vector<u32>>{{3}, {3, 5, 64}}));
}

// A sandbox may refuse to place threads.
TEST_F(TscMeasurementTest, GoesOnWithoutAPlace) {
    CaptureConsole console;
    machine.refuses_pin = 0;
    // The counters of the processors differ a little.
    EXPECT_NEAR(static_cast<double>(measured(kFake)), 1600000, 50000);
    EXPECT_EQ(console.take(), "");
}

TEST_F(TscMeasurementDeathTest, WhatEndsTheProcess) {
    const auto measure = [] { measured(kFake); };
    machine.refuses_pin = 1;
    EXPECT_EXIT(measure(), testing::ExitedWithCode(1), "\nUnable to set Affinity Mask.\n");
    machine = FakeMachine();
    machine.frequency = 0;
    EXPECT_EXIT(measure(), testing::ExitedWithCode(1), "\nUnable to measure clock speed.\n");
    machine = FakeMachine();
    machine.system = 0;
    EXPECT_EXIT(measure(), testing::ExitedWithCode(1), "\nUnable to measure clock speed.\n");
    for (const u64 reading : {0, 1, 50, 100}) {
        machine = FakeMachine();
        machine.fails_at = reading;
        EXPECT_EXIT(measure(), testing::ExitedWithCode(1), "\nUnable to measure clock speed.\n") << reading;
    }
}

TEST(PerformanceCounterDeathTest, ATimerWithoutAClockEndsTheProcess) {
    EXPECT_EQ(readable_counter(5), 5u);
    EXPECT_GT(performance_counter(), 0u);
    EXPECT_EXIT(readable_counter(0), testing::ExitedWithCode(1), "\nUnable to access performance counter.\n");
}
