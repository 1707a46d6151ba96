// The real program crashes in the middle of a computation, of a signal from outside.
#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "support/mini_dump.h"
#include "support/run_program.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::RunOptions;
using kalvor_test::TemporaryFolder;

// The process that works in this folder and has used processor time of at least a quarter of a second; waits
// for it, a minute at most. 0: none.
pid_t busy_process_in(const std::string& folder) {
    const std::string wanted = std::filesystem::canonical(folder).string();
    for (int i = 0; i < 3000; i++) {
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
            const std::string cwd = std::filesystem::read_symlink(entry.path() / "cwd", error).string();
            if (error || cwd != wanted) continue;
            std::ifstream stat(entry.path() / "stat");
            std::string word;
            long used = 0;  // clock ticks; the 14th word, the program's name is one word
            for (int field = 1; field <= 14 && stat >> word; field++) {
                if (field == 14) used = std::atol(word.c_str());
            }
            if (4 * used >= sysconf(_SC_CLK_TCK)) return std::atoi(entry.path().filename().c_str());
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return 0;
}

TEST(CrashTest, AComputationThatCrashesLeavesADump) {
    TemporaryFolder folder;
    RunOptions options;
    options.folder = folder.path();
    options.environment = {"KALVOR_TEST_SECRET=swordfish-of-the-environment"};
    ProgramRun run;
    std::thread runner([&] {
        run = kalvor_test::run_kalvor({"pause:-2", "skip-warnings", "custom", "pi", "-dec:100m", "-od:0",
                                       "-o", "swordfish-of-the-command-line"},
                                      options);
    });
    const pid_t process = busy_process_in(folder.path());
    if (process != 0) kill(process, SIGSEGV);
    runner.join();
    ASSERT_NE(process, 0) << run.out;
    EXPECT_EQ(run.exit_code, 128 + SIGSEGV) << run.out;
    const std::string report =
        "\nOops... Kalvor has crashed.\n\nCreating mini-dump file...   Done!\n"
        "\nThe program will now exit.\nPress any key to continue . . . \n";
    ASSERT_GE(run.out.size(), report.size());
    EXPECT_EQ(run.out.substr(run.out.size() - report.size()), report);

    std::vector<std::string> dumps = folder.files();
    std::erase_if(dumps, [](const std::string& name) { return !name.ends_with(".dmp"); });
    ASSERT_EQ(dumps.size(), 1u);
    EXPECT_EQ(dumps[0].rfind("Kalvor-20", 0), 0u);
    MiniDump dump(kalvor_test::read_file(folder / dumps[0]));
    ASSERT_TRUE(dump.valid());
    EXPECT_EQ(dump.exception_code(), static_cast<trel::u32>(SIGSEGV));
    EXPECT_EQ(dump.process_id(), static_cast<trel::u32>(process));
    EXPECT_FALSE(dump.mentions("swordfish-of"));
    const auto modules = dump.modules();
    EXPECT_TRUE(std::any_of(modules.begin(), modules.end(),
                            [](const MiniDump::Module& m) { return m.name.ends_with("/kalvor"); }));
    EXPECT_TRUE(dump.valid());
}

}  // namespace
