// The benchmark as a user starts it.
#include <gtest/gtest.h>

#include "support/run_program.h"
#include "support/temporary_folder.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::run_kalvor;
using kalvor_test::TemporaryFolder;

// The digits are held against the table that the sources bring.
TEST(BenchmarkTest, ASmallSize) {
    TemporaryFolder folder;
    const ProgramRun run = run_kalvor({"skip-warnings", "bench", "1M", "-o", folder.file("out")});
    EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
    EXPECT_TRUE(run.has("Decimal Digits:       1,048,576\n")) << run.out;
    EXPECT_TRUE(run.has("Spot Check: Good through 1,048,576\n")) << run.out;
    EXPECT_TRUE(run.has("Benchmark Successful. The digits appear to be OK.\n")) << run.out;
}

TEST(BenchmarkTest, WordsThatAreNoSize) {
    const ProgramRun run = run_kalvor({"skip-warnings", "bench", "1m"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_TRUE(run.err.find("bench: \"1m\" is not a size. Known: 25m, ") != std::string::npos) << run.err;
    EXPECT_TRUE(run.has("Invalid Command: 1m\n")) << run.out << run.err;
}

TEST(BenchmarkTest, HelpPage) {
    const ProgramRun run = run_kalvor({"help", "bench"});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_TRUE(run.has("Usage:  kalvor [console options] bench <size> [options]\n")) << run.out;
}

}  // namespace
