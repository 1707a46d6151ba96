// Memory that is not there, places that cannot be written, full disks: the text that names what is wrong,
// exit code 1, and nothing left that looks like a finished digit file.
#include <gtest/gtest.h>

#include "support/run_program.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::run_in;
using kalvor_test::run_kalvor;
using kalvor_test::RunOptions;
using kalvor_test::TemporaryFolder;

TEST(LimitsTest, MoreMemoryThanTheMachineGivesIsRefusedBeforeAnythingIsComputed) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers need an unlimited address space";
#endif
    TemporaryFolder folder;
    RunOptions options;
    options.folder = folder.path();
    options.memory_limit = 400 << 20;
    for (const bool force : {false, true}) {
        const ProgramRun run =
            run_kalvor({"pause:-2", "custom", "pi", "-dec:200m", force ? "-force:1" : "-force:0"}, options);
        EXPECT_EQ(run.exit_code, 1);
        // The limit counts as the machine's memory; with -force the system itself refuses.
        const std::vector<std::string> refused = {"The computation needs", " are free: at most "};
        const std::vector<std::string> not_given = {
            "\nThe system did not give ", " of memory. Compute fewer ", "\nSee \"kalvor help\".\n",
            "\nLarge heap allocation failed.\n", "\nFailed Allocation: "};
        for (const std::string& text : force ? not_given : refused) {
            EXPECT_NE(run.err.find(text), std::string::npos) << text << run.err;
            EXPECT_EQ(run.out.find(text), std::string::npos) << text << run.out;
        }
        EXPECT_FALSE(run.has("Series CommonP2B3...")) << run.out;
        EXPECT_TRUE(folder.files().empty());
    }
}

// A folder in which nobody can make files, not even a privileged user.
TEST(LimitsTest, UnwritableFolder) {
    TemporaryFolder folder;
    const ProgramRun run = run_in(folder, {"custom", "pi", "-dec:100", "-o", "/proc"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_TRUE(run.has("Path is not writable.")) << run.out;
    EXPECT_TRUE(run.has("/proc")) << run.out;
    EXPECT_TRUE(folder.files().empty());
}

TEST(LimitsTest, FullDiskLeavesNothingThatLooksComplete) {
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

// The report of a failed write comes once, not again when the file is closed.
TEST(LimitsTest, FullDiskIsReportedOnce) {
    TemporaryFolder folder;
    RunOptions full;
    full.file_size_limit = 1 << 20;
    const ProgramRun run = run_in(folder, {"custom", "pi", "-dec:5m", "-verify:0"}, full);
    EXPECT_EQ(run.exit_code, 1) << run.out;
    const std::size_t first = run.err.find("Disk is Full");
    ASSERT_NE(first, std::string::npos) << run.out;
    EXPECT_EQ(run.err.find("Disk is Full", first + 1), std::string::npos) << run.out;
    EXPECT_EQ(folder.files(), std::vector<std::string>{"Pi - Dec - Chudnovsky (incomplete).txt"});
}

}  // namespace
