// The digit files of whole runs: what is replaced, and what stands in the way.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "support/run_program.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::read_file;
using kalvor_test::run_in;
using kalvor_test::TemporaryFolder;

constexpr const char* kFile = "Pi - Dec - Chudnovsky.txt";
constexpr const char* kDraft = "Pi - Dec - Chudnovsky (incomplete).txt";

bool says(const ProgramRun& run, const std::string& text) {
    return (run.out + run.err).find(text) != std::string::npos;
}

TEST(OutputTest, ALongerFileIsKeptUnlessToldOtherwise) {
    TemporaryFolder folder;
    EXPECT_EQ(run_in(folder, {"custom", "pi", "-dec:2000"}).exit_code, 0);
    const std::string longer = read_file(folder / kFile);
    ASSERT_EQ(longer.size(), 2002U);
    const ProgramRun refused = run_in(folder, {"custom", "pi", "-dec:1000"});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_TRUE(
        says(refused, "The digit file already there is longer: it has 2,000 digits, this run makes 1,000."))
        << refused.out;
    EXPECT_FALSE(says(refused, "Begin Computation:")) << refused.out;
    EXPECT_EQ(read_file(folder / kFile), longer);
    const ProgramRun again = run_in(folder, {"custom", "pi", "-dec:2000"});
    EXPECT_EQ(again.exit_code, 0);
    EXPECT_TRUE(says(again, std::string("\nReplacing ") + kFile + " (2,000 digits).\n")) << again.out;
    EXPECT_EQ(run_in(folder, {"custom", "pi", "-dec:1000", "-overwrite:1"}).exit_code, 0);
    EXPECT_EQ(read_file(folder / kFile), longer.substr(0, 1002));
    EXPECT_EQ(kalvor_test::files_but_validation(folder), std::vector<std::string>{kFile});
}

// A run without digit files has a validation file to write. However it is started.
TEST(OutputTest, EveryRunLooksAtItsFolder) {
    const TemporaryFolder folder;
    kalvor_test::RunOptions options;
    options.folder = "/proc";  // takes no files, not even from the administrator
    for (const bool output : {false, true}) {
        std::ofstream(folder / "a.cfg")
            << "{ Action : \"CustomCompute\" CustomCompute : {"
               " Constant : { Constant : \"pi\" Algorithm : \"chudnovsky\" }"
               " ComputeSize : { DecimalDigits : 1000 EnableHexDigits : \"false\" }"
               " Output : { Path : \"\" OutputEnable : \""
            << (output ? "true" : "false")
            << "\" DigitsPerFile : 0 } OutputVerify : \"true\" Mode : \"ram\""
               " Parallelism : { TaskDecomposition : 1 Framework : \"none\" }"
               " Allocator : { Allocator : \"malloc\" } } }";
        const ProgramRun config = kalvor_test::run_kalvor(
            {"pause:-2", "skip-warnings", "config", std::filesystem::absolute(folder / "a.cfg").string()},
            options);
        EXPECT_EQ(config.exit_code, 1) << config.out << config.err;
        EXPECT_TRUE(says(config, "Path is not writable.")) << config.out << config.err;
        const ProgramRun custom = kalvor_test::run_kalvor(
            {"pause:-2", "custom", "pi", "-dec:1000", output ? "-od:1" : "-od:0"}, options);
        EXPECT_TRUE(says(custom, "Path is not writable.")) << custom.out << custom.err;
    }
}

TEST(OutputTest, AFileThatAnotherRunHoldsIsRefusedBeforeTheComputation) {
    TemporaryFolder folder;
    const int draft = open((folder / kDraft).c_str(), O_RDWR | O_CREAT, 0666);
    ASSERT_EQ(flock(draft, LOCK_EX), 0);
    const ProgramRun refused = run_in(folder, {"custom", "pi", "-dec:1000"});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_TRUE(
        says(refused, "Another run is writing this file. Wait until it has ended, or choose another folder."))
        << refused.out;
    EXPECT_FALSE(says(refused, "Begin Computation:")) << refused.out;
    EXPECT_EQ(folder.files(), std::vector<std::string>{kDraft});
    // Its run was killed.
    close(draft);
    EXPECT_EQ(run_in(folder, {"custom", "pi", "-dec:1000"}).exit_code, 0);
    EXPECT_EQ(kalvor_test::files_but_validation(folder), std::vector<std::string>{kFile});
}

// Nothing is written through links that somebody laid out.
TEST(OutputTest, LinksAreNotFollowed) {
    TemporaryFolder folder;
    { std::ofstream(folder / "victim") << "precious"; }
    { std::ofstream(folder / "pathcheck.sf") << "mine"; }
    ASSERT_EQ(symlink("victim", (folder / kDraft).c_str()), 0);
    const ProgramRun refused = run_in(folder, {"custom", "pi", "-dec:1000"});
    EXPECT_EQ(refused.exit_code, 1);
    EXPECT_TRUE(says(refused, "A link, a folder or a device has the name of the file that is to be written."))
        << refused.out;
    EXPECT_EQ(read_file(folder / "victim"), "precious");
    ASSERT_EQ(unlink((folder / kDraft).c_str()), 0);
    // The final name is replaced, not followed.
    { std::ofstream(folder / "digits") << "3.14"; }
    ASSERT_EQ(symlink("digits", (folder / kFile).c_str()), 0);
    EXPECT_EQ(run_in(folder, {"custom", "pi", "-dec:1000"}).exit_code, 0);
    EXPECT_EQ(read_file(folder / "digits"), "3.14");
    EXPECT_EQ(read_file(folder / kFile).size(), 1002U);
    EXPECT_EQ(read_file(folder / "pathcheck.sf"), "mine");
}

}  // namespace
