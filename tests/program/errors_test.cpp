// Bad input, unwritable places and full disks: the text that names what is wrong, exit code 1, and nothing
// left that looks like a finished digit file.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support/run_program.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::run_kalvor;
using kalvor_test::RunOptions;
using kalvor_test::TemporaryFolder;

ProgramRun run_in(const TemporaryFolder& folder, std::vector<std::string> arguments,
                  RunOptions options = {}) {
    options.folder = folder.path();
    arguments.insert(arguments.begin(), {"skip-warnings"});
    return run_kalvor(arguments, options);
}

TEST(ErrorsTest, UnknownWordsAndOptions) {
    TemporaryFolder folder;
    const struct {
        std::vector<std::string> arguments;
        const char* text;
    } cases[] = {
        {{"fly"}, "\nInvalid Parameter: fly\n"},
        {{"fly:me:to"}, "\nInvalid Parameter: fly:me:to\n"},
        {{"bench", "1m"}, "\nInvalid Parameter: bench\n"},
        {{"custom", "pi", "-speed:9"}, "\nInvalid Parameter: -speed:9\n"},
        {{"custom", "pi", "-dec:100", "extra"}, "\nInvalid Parameter: extra\n"},
        {{"custom", "tau"}, "Invalid Constant: tau"},
        {{"custom", ""}, "Invalid constant token."},
        {{"custom", "pi", "-algorithm:4"}, "Invalid Algorithm: 4"},
        {{"custom", "pi", "-algorithm:fast"}, "Invalid Algorithm: fast"},
        {{"custom", "pi", "-TD:0"}, "Task decomposition must be between 1 and 65,536."},
        {{"custom", "pi", "-TD:65537"}, "Task decomposition must be between 1 and 65,536."},
        {{"custom", "pi", "-PF:openmp"}, "Invalid Parallel Framework: openmp"},
        {{"custom", "pi", "-MA:calloc"}, "Invalid Memory Allocator: calloc"},
        {{"custom", "pi", "-M:1GB"}, "Option -M is not supported for this mode."},
        {{"custom", "pi", "-minIO:1MB"}, "Option -minIO is not supported for this mode."},
        {{"custom", "pi", "-swap:disk"}, "Option -swap is not supported for this mode."},
        {{"custom", "pi", "-o"}, "Expected more parameters."},
    };
    for (const auto& c : cases) {
        const ProgramRun run = run_in(folder, c.arguments);
        EXPECT_EQ(run.exit_code, 1) << c.text;
        EXPECT_TRUE(run.has(c.text)) << "wanted: " << c.text << "\ngot: " << run.out;
        EXPECT_TRUE(folder.files().empty()) << c.text;
    }
}

TEST(ErrorsTest, SizeBeyondTheLastAlgorithmIsRefusedWhileMemoryIsPlanned) {
    TemporaryFolder folder;
    const ProgramRun run = run_in(folder, {"custom", "pi", "-dec:100m"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_TRUE(run.has("Limit Exceeded:")) << run.out;
    EXPECT_FALSE(run.has("Working Memory:")) << run.out;
    EXPECT_TRUE(folder.files().empty());
}

TEST(ErrorsTest, UnwritablePath) {
    TemporaryFolder folder;
    // A file stands where the folder should be.
    const std::string blocker = folder / "file";
    { std::ofstream(blocker) << "x"; }
    ProgramRun run = run_in(folder, {"custom", "pi", "-dec:100", "-o", "file/out"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_TRUE(run.has("Path is not writable.")) << run.out;
    EXPECT_TRUE(run.has("file/out")) << run.out;

    // A folder in which nobody can make files, not even a privileged user.
    run = run_in(folder, {"custom", "pi", "-dec:100", "-o", "/proc"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_TRUE(run.has("Path is not writable.")) << run.out;
    EXPECT_TRUE(run.has("/proc")) << run.out;
    EXPECT_EQ(folder.files(), std::vector<std::string>{"file"});
}

TEST(ErrorsTest, FullDiskLeavesNothingThatLooksComplete) {
    TemporaryFolder folder;
    RunOptions full;
    full.file_size_limit = 8192;
    const ProgramRun run = run_in(folder, {"custom", "pi", "-dec:50000", "-o", "out"}, full);
    EXPECT_EQ(run.exit_code, 1) << run.out;
    EXPECT_TRUE(run.has("Disk is Full")) << run.out;
    for (const std::string& name : folder.files()) {
        EXPECT_NE(name.find("(incomplete)"), std::string::npos) << name;
    }
}

TEST(ErrorsTest, UnknownInstructionSetStopsTheProgram) {
    TemporaryFolder folder;
    RunOptions options;
    options.environment = {"KALVOR_ISA=mmx"};
    const ProgramRun run = run_in(folder, {"custom", "pi", "-dec:100"}, options);
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_TRUE(run.has("mmx")) << run.out;
    EXPECT_TRUE(folder.files().empty());
}

TEST(ErrorsTest, DigitCountsOutsideTheBoundsAreClampedAndRun) {
    TemporaryFolder folder;
    const ProgramRun run = run_in(folder, {"custom", "pi", "-dec:7"});
    EXPECT_EQ(run.exit_code, 0) << run.out;
    EXPECT_TRUE(run.has("Warning: Precision below minimum. Adjusting to minimum.")) << run.out;
    EXPECT_EQ(run.value("Decimal Digits:"), "100");
    EXPECT_EQ(kalvor_test::read_file(folder / "Pi - Dec - Chudnovsky.txt").size(), 102U);
}

}  // namespace
