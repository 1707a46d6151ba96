// What a run takes, and what would fit.
#include "app/session/memory_plan.h"

#include <gtest/gtest.h>

#include "app/session/bbp_check.h"
#include "base/config/parser.h"
#include "constants/catalog/custom_constant.h"
#include "support/capture_console.h"

namespace kalvor {
namespace {

using trel::u64;

u64 total(const ComputeSettings& settings, u64 digits) {
    return RunPlan::make(settings, ComputeSize::from_decimal(digits)).memory.total();
}

TEST(MemoryPlanTest, TheProgramAndItsOutputCount) {
    ComputeSettings settings;
    settings.set_decimal_digits(1000000);
    const MemoryPlan text = RunPlan::make(settings, settings.size).memory;
    settings.digits_per_file = ComputeSettings::kOneFile;
    const MemoryPlan compressed = RunPlan::make(settings, settings.size).memory;
    settings.output_enable = false;
    const MemoryPlan counted = RunPlan::make(settings, settings.size).memory;
    EXPECT_GE(counted.program, u64(7) << 20);
    // The window of a text file stands in working memory.
    EXPECT_EQ(text.total(), counted.total());
    EXPECT_GE(compressed.total() - counted.total(), u64(4) << 20);
    ComputeSettings few;
    few.set_decimal_digits(1000);
    EXPECT_GE(RunPlan::make(few, few.size).memory.output, u64(4) << 20);
    EXPECT_EQ(counted.total(), counted.working_memory + counted.twiddle_tables + counted.program);
}

TEST(MemoryPlanTest, TheCheckOfTheLastDigitsCounts) {
    ComputeSettings settings;
    settings.set_decimal_digits(2000000);
    settings.output_verify = false;
    const u64 without = RunPlan::make(settings, settings.size).memory.program;
    settings.output_verify = true;
    const u64 unasked = RunPlan::make(settings, settings.size).memory.program;
    EXPECT_EQ(unasked - without, bbp_request(settings, settings.size).bytes());
    settings.bbp_digits = 1048576;
    EXPECT_GT(RunPlan::make(settings, settings.size).memory.program, unasked + (u64(5) << 20));
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

// A formula of very many terms is itself large.
TEST(MemoryPlanTest, ThePlanOfTheConstantCounts) {
    const auto program = [](int terms) {
        std::string list;
        for (int i = 0; i < terms; i++) list += "[1 1]";
        const auto tree = Config::parse_acfg(
            "{NameShort : \"a\" NameLong : \"b\" AlgorithmShort : \"c\" AlgorithmLong : \"d\" "
            "Formula : {LinearCombination : [" +
            list + "]}}");
        CaptureConsole console;
        ComputeSettings settings;
        settings.constant = std::make_unique<CustomConstant>(tree->as<Config::Object>());
        settings.set_decimal_digits(100);
        const RunPlan plan = RunPlan::make(settings, settings.size);
        EXPECT_GT(plan.constant->plan_bytes(), 0u);
        return plan.memory.program;
    };
    EXPECT_GT(program(10000), program(2) + 10000 * 1000);
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
