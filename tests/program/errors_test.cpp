// Bad input and unwritable places: the text that names what is wrong, exit code 1, and nothing
// left that looks like a finished digit file.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support/run_program.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::run_in;
using kalvor_test::RunOptions;
using kalvor_test::TemporaryFolder;

TEST(ErrorsTest, UnknownWordsAndOptions) {
    TemporaryFolder folder;
    const struct {
        std::vector<std::string> arguments;
        const char* text;
    } cases[] = {
        {{"fly"}, "\nInvalid Parameter: fly\n"},
        {{"fly:me:to"}, "\nInvalid Parameter: fly:me:to\n"},
        {{"digits"}, "\nInvalid Parameter: digits\n"},
        {{"Bench"}, "\nInvalid Parameter: Bench\n"},  // words are what they are, letter for letter
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
        {{"custom", "pi", "-dec:2m", "-C:1m"}, "Compressed digit files are not available in this version."},
        {{"custom", "pi", "-C:-1", "-dec:2m"}, "Compressed digit files are not available in this version."},
        {{"custom", "pi", "-o"}, "Expected more parameters."},
    };
    for (const auto& c : cases) {
        const ProgramRun run = run_in(folder, c.arguments);
        EXPECT_EQ(run.exit_code, 1) << c.text;
        EXPECT_TRUE(run.has(c.text)) << "wanted: " << c.text << "\ngot: " << run.out;
        EXPECT_TRUE(folder.files().empty()) << c.text;
    }
}

// Known words, answered as the menus answer.
TEST(ErrorsTest, ActionsThatThisVersionDoesNotHave) {
    TemporaryFolder folder;
    const struct {
        std::vector<std::string> arguments;
        const char* what;
    } cases[] = {
        {{"bench", "1m"}, "Benchmark Pi"},
        {{"stress"}, "The Component Stress Tester"},
        {{"benchio", "-swap:disk-raid0"}, "The I/O Performance Analysis"},
        {{"bbp", "1b"}, "The BBP Digit Extractor for Pi"},
        {{"digitviewer"}, "The Digit Viewer"},
        {{"validate", "file.txt"}, "The Benchmark Validator"},
        {{"slave:0"}, "Slave mode"},
    };
    for (const auto& c : cases) {
        const ProgramRun run = run_in(folder, c.arguments);
        EXPECT_EQ(run.exit_code, 1) << c.what;
        EXPECT_TRUE(run.has(std::string("\n\n") + c.what + " is not available in this version.\n\n"))
            << run.out;
        EXPECT_FALSE(run.has("Exception") || run.has("Invalid")) << run.out;
    }
}

// Planned at once, whatever the size.
TEST(ErrorsTest, SizeBeyondTheAddressSpaceIsRefusedWhenMemoryIsPlanned) {
    TemporaryFolder folder;
    const ProgramRun run = run_in(folder, {"custom", "pi", "-dec:1000000000000000"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_TRUE(run.has("Insufficient Address Space")) << run.out;
    EXPECT_FALSE(run.has("Working Memory:")) << run.out;
    EXPECT_TRUE(folder.files().empty());
}

TEST(ErrorsTest, UnwritablePath) {
    TemporaryFolder folder;
    // A file stands where the folder should be.
    const std::string blocker = folder / "file";
    { std::ofstream(blocker) << "x"; }
    const ProgramRun run = run_in(folder, {"custom", "pi", "-dec:100", "-o", "file/out"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_TRUE(run.has("Path is not writable.")) << run.out;
    EXPECT_TRUE(run.has("file/out")) << run.out;
    EXPECT_EQ(folder.files(), std::vector<std::string>{"file"});
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

TEST(ErrorsTest, TooFewDigitsToCompressAreWrittenAsText) {
    const char* const warning = "Warning: Digits per file below minimum: Disabling compression.\n";
    const std::vector<std::string> cases[] = {
        {"custom", "pi", "-dec:1000", "-C:1m"},
        {"custom", "pi", "-compress:1m", "-dec:1000"},
        {"custom", "pi", "-dec:1000", "-C:999999"},
        {"custom", "pi", "-dec:1000", "-C:-1"},
        {"custom", "pi", "-hex:1", "-dec:1100000", "-C:1m"},  // fewer than a million hexadecimal digits
    };
    for (const auto& arguments : cases) {
        TemporaryFolder folder;
        const ProgramRun run = run_in(folder, arguments);
        EXPECT_EQ(run.exit_code, 0) << run.out;
        EXPECT_TRUE(run.has(warning)) << run.out;
        EXPECT_TRUE(std::filesystem::exists(folder / "Pi - Dec - Chudnovsky.txt"));
    }
    TemporaryFolder folder;
    EXPECT_FALSE(run_in(folder, {"custom", "pi", "-dec:1000", "-C:0"}).has("Warning: Digits per file"));
}

}  // namespace
