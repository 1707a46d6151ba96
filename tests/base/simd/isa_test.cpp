#include "base/simd/isa.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "support/run_program.h"

using namespace trel;

namespace {
const std::vector<Isa> kBoth = {Isa::avx2, Isa::avx512};
const std::vector<Isa> kOne = {Isa::avx2};
}  // namespace

TEST(ChooseIsaTest, HighestUnlessNamed) {
    EXPECT_EQ(choose_isa(std::nullopt, kBoth).isa, Isa::avx512);
    EXPECT_EQ(choose_isa("", kBoth).isa, Isa::avx512);
    EXPECT_EQ(choose_isa(std::nullopt, kOne).isa, Isa::avx2);
    EXPECT_EQ(choose_isa(std::nullopt, {}).isa, Isa::avx2);
    EXPECT_EQ(choose_isa("avx2", kBoth).isa, Isa::avx2);
    EXPECT_EQ(choose_isa("avx512", kBoth).isa, Isa::avx512);
}

TEST(ChooseIsaTest, RefusalsNameTheValueAndWhatIsAccepted) {
    const IsaChoice unknown = choose_isa("sse9", kBoth);
    EXPECT_FALSE(unknown.isa);
    EXPECT_EQ(unknown.error,
              "KALVOR_ISA: \"sse9\" is not an instruction-set level. Accepted here: \"avx2\", \"avx512\".");
    const IsaChoice missing = choose_isa("avx512", kOne);
    EXPECT_FALSE(missing.isa);
    EXPECT_EQ(missing.error,
              "KALVOR_ISA: \"avx512\" is not available on this machine. Accepted here: \"avx2\".");
    EXPECT_FALSE(choose_isa("AVX2", kBoth).isa);
    EXPECT_FALSE(choose_isa("avx2 ", kBoth).isa);
}

// The first question ends a process whose user has named no level that there is.
TEST(ActiveIsaTest, AnUnknownNameEndsTheProcess) {
    kalvor_test::RunOptions options;
    options.environment = {"KALVOR_ISA=mmx"};
    const kalvor_test::ProgramRun run =
        kalvor_test::run_this_test({"--gtest_filter=ActiveIsaTest.IsOneOfTheAvailable"}, options);
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_NE(run.err.find("\nKALVOR_ISA: \"mmx\" is not an instruction-set level."), std::string::npos)
        << run.err;
    EXPECT_EQ(run.out.find("KALVOR_ISA"), std::string::npos) << run.out;
}

TEST(ActiveIsaTest, IsOneOfTheAvailable) {
    const char* forced = std::getenv("KALVOR_ISA");
    if (forced && *forced) {
        EXPECT_STREQ(isa_name(active_isa()), forced);
    } else if (!available_isas().empty()) {
        EXPECT_EQ(active_isa(), available_isas().back());
    }
}
