// What a run takes, and what would fit.
#include "app/session/memory_plan.h"

#include <gtest/gtest.h>

namespace kalvor {
namespace {

using trel::u64;

u64 total(const ComputeSettings& settings, u64 digits) {
    return RunPlan::make(settings, ComputeSize::from_decimal(digits)).memory.total();
}

TEST(MemoryPlanTest, TheProgramAndItsOutputCount) {
    ComputeSettings settings;
    settings.set_decimal_digits(1000000);
    const MemoryPlan written = RunPlan::make(settings, settings.size).memory;
    settings.output_enable = false;
    const MemoryPlan counted = RunPlan::make(settings, settings.size).memory;
    EXPECT_GE(counted.program, u64(7) << 20);
    EXPECT_GE(written.total() - counted.total(), u64(4) << 20);
    EXPECT_EQ(counted.total(), counted.working_memory + counted.twiddle_tables + counted.program);
}

TEST(MemoryPlanTest, TheLargestSizeThatFits) {
    ComputeSettings settings;
    settings.set_decimal_digits(1000000000);
    for (const u64 megabytes : {20, 100, 1000, 3000}) {
        const u64 bytes = megabytes << 20;
        const u64 digits = digits_that_fit(settings, bytes);
        EXPECT_LE(total(settings, digits), bytes) << megabytes;
        // No other size with two digits lies between.
        u64 unit = 1;
        while (digits / unit >= 100) unit *= 10;
        EXPECT_EQ(digits % unit, 0u) << digits;
        EXPECT_GT(total(settings, digits + unit), bytes) << megabytes;
    }
    EXPECT_EQ(digits_that_fit(settings, 1 << 20), 0u);
    EXPECT_EQ(digits_that_fit(settings, u64(1) << 50), 1000000000u);
}

// Sizes that no algorithm reaches do not fit either.
TEST(MemoryPlanTest, NoMoreThanTheAlgorithmsReach) {
    ComputeSettings settings;
    settings.size = ComputeSize::from_decimal(u64(1) << 62);
    const u64 digits = digits_that_fit(settings, ~u64(0));
    EXPECT_GT(digits, 1000000000000u);
    EXPECT_LT(digits, u64(1) << 62);
}

}  // namespace
}  // namespace kalvor
