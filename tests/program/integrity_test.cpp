// A released program that is not what the build made does not run.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support/run_program.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::TemporaryFolder;

const std::vector<std::string> kAbout = {"pause:-2", "skip-warnings", "about"};

// A copy of the program with this content.
ProgramRun run_copy(const TemporaryFolder& folder, const std::string& content) {
    const std::string copy = folder / std::filesystem::path(kalvor_test::kalvor_path()).filename().string();
    std::ofstream(copy, std::ios::binary) << content;
    std::filesystem::permissions(copy, std::filesystem::perms::owner_all);
    return kalvor_test::run_program(copy, kAbout);
}

TEST(IntegrityTest, ADamagedProgramSaysSoAndEnds) {
#ifndef KALVOR_SEALED
    GTEST_SKIP() << "only released programs are sealed";
#endif
    const std::string program = kalvor_test::read_file(kalvor_test::kalvor_path());
    TemporaryFolder folder;
    ASSERT_EQ(run_copy(folder, program).exit_code, 0);
    const std::string refusal = "\nThe program's file is damaged or was changed: ";
    // A text in the middle of it, whose change lets the program start anyway.
    const std::string text = "multi-threaded Pi benchmark for overclockers";
    std::string changed = program;
    const std::size_t at = changed.find(text);
    ASSERT_NE(at, std::string::npos);
    changed[at] = 'M';
    for (const std::string& content : {changed, program + "x", program.substr(0, program.size() - 83)}) {
        const ProgramRun run = run_copy(folder, content);
        EXPECT_EQ(run.exit_code, 1) << run.out;
        EXPECT_TRUE(run.has(refusal)) << run.out;
        EXPECT_TRUE(run.has("\nPlease build or install Kalvor again.\n")) << run.out;
        EXPECT_FALSE(run.has("Euler's Constant")) << run.out;
    }
}

}  // namespace
