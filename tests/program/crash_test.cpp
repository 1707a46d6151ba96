// The real program crashes in the middle of a computation, of something from outside.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include "support/crash.h"
#include "support/mini_dump.h"
#include "support/run_program.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::RunOptions;
using kalvor_test::TemporaryFolder;

// Whether the file holds the text, now or within a minute.
bool appears_in(const std::string& file, const std::string& text) {
    for (int i = 0; i < 3000; i++) {
        if (kalvor_test::read_file(file).find(text) != std::string::npos) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

TEST(CrashTest, AComputationThatCrashesLeavesADump) {
    TemporaryFolder folder;
    RunOptions options;
    options.folder = folder.path();
    options.environment = {"KALVOR_TEST_SECRET=swordfish-of-the-environment"};
    options.output_file = folder / "out";
    ProgramRun run;
    // One task: the summation of the series, which prints nothing, is far from its end when the dump is
    // written.
    std::thread runner([&] {
        run = kalvor_test::run_kalvor({"pause:-1", "skip-warnings", "custom", "pi", "-dec:300m", "-TD:1",
                                       "-od:0", "-o", "swordfish-of-the-command-line"},
                                      options);
    });
    const bool sums = appears_in(options.output_file, "(Expansion Factor = ");
    const trel::u32 process = kalvor_test::crash_program_in(folder.path());
    runner.join();
    EXPECT_TRUE(sums) << run.out;
    ASSERT_NE(process, 0u) << run.out;
    const kalvor_test::CrashCode code = kalvor_test::crash_code(kalvor_test::CrashCause::bad_access);
    EXPECT_EQ(run.exit_code, code.exit_code) << run.out;
    EXPECT_TRUE(run.out.ends_with(kalvor_test::crash_report_text("Done!"))) << run.out;

    std::vector<std::string> dumps = folder.files();
    std::erase_if(dumps, [](const std::string& name) { return !name.ends_with(".dmp"); });
    ASSERT_EQ(dumps.size(), 1u);
    EXPECT_EQ(dumps[0].rfind("Kalvor-20", 0), 0u);
    MiniDump dump(kalvor_test::read_file(folder / dumps[0]));
    ASSERT_TRUE(dump.valid());
    EXPECT_EQ(dump.exception_code(), code.in_dump);
    EXPECT_EQ(dump.process_id(), process);
    EXPECT_FALSE(dump.mentions("swordfish-of"));
    const auto modules = dump.modules();
    EXPECT_TRUE(std::any_of(modules.begin(), modules.end(), [](const MiniDump::Module& m) {
        return std::filesystem::path(m.name).stem() == "kalvor";
    }));
    EXPECT_TRUE(dump.valid());
}

}  // namespace
