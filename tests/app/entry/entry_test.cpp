#include "app/entry/entry.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <new>

#include "base/command_line/parameter_list.h"
#include "base/errors/exceptions.h"
#include "base/errors/expected_exceptions.h"
#include "support/capture_console.h"
#include "support/crash.h"

using namespace kalvor;

namespace {

std::string said(const std::function<void()>& body, int exit_code) {
    CaptureConsole console(CaptureConsole::terminal, true);
    EXPECT_EQ(run_reported(body), exit_code);
    return console.take();
}

}  // namespace

TEST(RunReported, NothingEscapes) {
    EXPECT_EQ(said([] { trel::Console::print("done"); }, 0), "done");
}

TEST(RunReported, AnExceptionPrintsItsReport) {
    EXPECT_EQ(said([] { throw trel::LimitExceededException("", "", 0, 1000); }, 1),
              "{R}\n\nException Encountered: LimitExceededException\n\nLimit Exceeded:\n\n"
              "    Limit: Unknown\n    Attempted:      1,000\n\n\n{w}");
}

TEST(RunReported, AStandardExceptionIsARedLine) {
    EXPECT_EQ(said([] { throw std::bad_alloc(); }, 1), "{R}Uncaught std exception: std::bad_alloc\n");
    EXPECT_EQ(said([] { throw trel::CommandLine::CommandLineException("Expected more parameters."); }, 1),
              "{R}Uncaught std exception: Expected more parameters.\n");
    EXPECT_EQ(said([] { throw ModeChangeException("To swap mode."); }, 1),
              "{R}Uncaught std exception: To swap mode.\n");
}

TEST(RunProgramDeathTest, WithoutTheExecutablesPath) {
    EXPECT_EXIT(
        {
            print_to_stderr();
            trel::Console::set_pause_before_fatal_exit(false);
            run_program({"kalvor", "about"}, [] { return std::optional<std::string>(); });
        },
        testing::ExitedWithCode(1), "^\nFailed to retrieve path.\n$");
}

// Reported as a crash: the lines of the crash report and a dump, then the end of the process.
TEST(RunReported, AnythingElseIsACrash) {
    // The same for both processes: on Windows the one that crashes begins this test anew.
    const std::filesystem::path folder = "scratch-entry-crash";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    EXPECT_EXIT(
        {
            dup2(2, 1);  // where a death test looks
            std::filesystem::current_path(folder);
            run_reported([] { throw "not ready to use."; });
        },
        testing::ExitedWithCode(1), "^" + kalvor_test::crash_report_text("Done!") + "$");
    int dumps = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        dumps += entry.path().extension() == ".dmp" ? 1 : 0;
    }
    EXPECT_EQ(dumps, 1);
    std::filesystem::remove_all(folder);
}
