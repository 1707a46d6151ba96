#include "app/entry/entry.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <new>

#include "app/entry/about_page.h"
#include "app/entry/usage.h"
#include "app/menus/not_available.h"
#include "app/settings/option_help.h"
#include "base/command_line/console_settings.h"
#include "base/command_line/parameter_list.h"
#include "base/command_line/refusal.h"
#include "base/errors/exceptions.h"
#include "base/errors/expected_exceptions.h"
#include "digits/bbp/bbp_command.h"
#include "platform/sysinfo/feature_check.h"
#include "support/capture_console.h"
#include "support/crash.h"

using namespace kalvor;

namespace {

std::string said(const std::function<void()>& body, int exit_code) {
    CaptureConsole console(CaptureConsole::terminal, true);
    EXPECT_EQ(run_reported([&] {
                  body();
                  return true;
              }),
              exit_code);
    return console.take();
}

}  // namespace

TEST(RunReportedTest, NothingEscapes) {
    EXPECT_EQ(said([] { trel::Console::print("done"); }, 0), "done");
}

TEST(RunReportedTest, AFailureIsNoMoreThanTheExitCode) {
    CaptureConsole console;
    EXPECT_EQ(run_reported([] { return false; }), 1);
    EXPECT_EQ(console.take(), "");
}

TEST(RunReportedTest, AnExceptionPrintsItsReport) {
    EXPECT_EQ(said([] { throw trel::LimitExceededException("", "", 0, 1000); }, 1),
              "\n{R}This computation is larger than the program can do. Compute fewer digits.\nSee \"kalvor "
              "help\".\n{w}"
              "{R}\n\nException Encountered: LimitExceededException\n\nLimit Exceeded:\n\n"
              "    Limit: Unknown\n    Attempted:      1,000\n\n\n{w}");
}

TEST(RunReportedTest, AStandardExceptionIsARedLine) {
    EXPECT_EQ(
        said([] { throw std::bad_alloc(); }, 1),
        "\n{R}The system did not give more memory. Compute fewer digits, close other programs, or raise the "
        "memory limit of this process.\nSee \"kalvor help\".\n{w}{R}Uncaught std exception: "
        "std::bad_alloc\n");
    EXPECT_EQ(said([] { throw trel::CommandLine::CommandLineException("Expected more parameters."); }, 1),
              "{R}Uncaught std exception: Expected more parameters.\n");
    EXPECT_EQ(said([] { throw ModeChangeException("To swap mode."); }, 1),
              "{R}Uncaught std exception: To swap mode.\n");
}

TEST(RunReportedTest, ARefusalIsAnErrorLine) {
    EXPECT_EQ(said([] { throw trel::CommandLine::RefusedException("-x: no."); }, 1), "\n{R}-x: no.\n{w}");
}

TEST(RunReportedTest, WhatIsMissingIsAnErrorLine) {
    EXPECT_EQ(said([] { not_available("The flying carpet"); }, 1),
              "\n{R}The flying carpet is not available in this version.\n{w}");
}

namespace {

// Runs the program on a machine of the test's own, whose calls leave their mark in what is printed.
class StartUpTest : public testing::Test {
  protected:
    void SetUp() override {
        before_ = trel::CommandLine::console_settings();
        trel::CommandLine::console_settings() = {};
        const auto mark = [](const std::string& text) { trel::Console::print("<" + text + ">"); };
        calls_.started_from_existing_console = [=, this] {
            mark("console");
            return existing_console_;
        };
        calls_.executable_path = [=] {
            mark("path");
            return std::optional<std::string>("/somewhere/bin/kalvor");
        };
        calls_.set_window_size = [=](trel::u32 columns, trel::u32 rows) {
            mark("window " + std::to_string(columns) + " by " + std::to_string(rows));
        };
        calls_.install_crash_report = [=] { mark("crash report"); };
        calls_.set_process_priority = [=](trel::i32 level) { mark("priority " + std::to_string(level)); };
        calls_.detect_features = [=] {
            mark("features");
            return trel::ProcessorFeatures();
        };
        calls_.processor_group_sizes = [=] {
            mark("groups");
            return std::vector<trel::u32>{64, 8};
        };
        calls_.check_integrity = [=](const std::string& path) { mark("integrity of " + path); };
        calls_.authorize = [=] {
            mark("token");
            return StartUpCalls::authorization(1000);
        };
    }
    void TearDown() override { trel::CommandLine::console_settings() = before_; }

    std::string run(std::vector<std::string> words, int exit_code) {
        words.insert(words.begin(), "kalvor");
        CaptureConsole console(CaptureConsole::terminal, true);
        EXPECT_EQ(run_program(words, calls_), exit_code);
        return console.take();
    }

    bool existing_console_ = true;
    StartUpCalls calls_;

  private:
    trel::CommandLine::ConsoleSettings before_;
};

std::string printed(const std::function<void()>& print) {
    CaptureConsole console(CaptureConsole::terminal, true);
    print();
    return console.take();
}

const std::string kKey = "{w}Press any key to continue . . . \n";

// From the crash report to the action.
std::string checks(const std::string& priority, bool skip_warnings) {
    return "<crash report><priority " + priority + "><features>" +
           printed([&] { trel::print_feature_check({}, skip_warnings); }) + "<groups>" + printed([] {
               trel::print_group_balance_check({64, 8});
           }) +
           "<integrity of /somewhere/bin/kalvor><token>{w}";
}

}  // namespace

TEST_F(StartUpTest, TheStepsInTheirOrder) {
    const std::string about = printed(print_about_page);
    // A prompt that was there before: the window stays as it is, and success does not pause.
    EXPECT_EQ(run({"about"}, 0), "<console><path>" + checks("-1", false) + about + "{w}\n");
    EXPECT_EQ(trel::CommandLine::console_settings().executable_path, "/somewhere/bin/kalvor");
    EXPECT_EQ(trel::CommandLine::console_settings().executable_directory, "/somewhere/bin/");
    // A window of its own.
    existing_console_ = false;
    EXPECT_EQ(run({"about"}, 0),
              "<console><path><window 80 by 25>" + checks("-1", false) + about + "{w}\n" + kKey);
    // Options act before the checks; a window is resized before any option is looked at.
    EXPECT_EQ(run({"priority:2", "skip-warnings", "pause:-2", "about"}, 0),
              "<console><path><window 80 by 25>" + checks("2", true) + about + "{w}\n");
}

TEST_F(StartUpTest, PausesByHowItEnded) {
    const std::string missing =
        "\n{R}Slave mode is not available in this version.\nSee \"kalvor help\".\n{w}{w}\n";
    for (const auto& [pause, after_success, after_failure] :
         {std::tuple("pause:0", false, true), std::tuple("pause:1", true, true),
          std::tuple("pause:-1", false, true), std::tuple("pause:-2", false, false)}) {
        EXPECT_EQ(run({pause, "about"}, 0).ends_with("{w}\n" + kKey), after_success) << pause;
        EXPECT_TRUE(run({pause, "slave"}, 1).ends_with(missing + (after_failure ? kKey : ""))) << pause;
    }
}

// The menu comes up where no action is left, whatever options there were; nobody answers it here.
TEST_F(StartUpTest, WithoutAnActionTheMenu) {
    for (const std::vector<std::string>& words : {std::vector<std::string>{}, {"colors:1", "pause:-1"}}) {
        EXPECT_NE(run(words, 1).find("<integrity of /somewhere/bin/kalvor><token>{w}{g}Kalvor v"),
                  std::string::npos);
    }
    EXPECT_EQ(run({"colors:0", "pause:-2"}, 1).find('{'), std::string::npos);
}

// Before the checks of the machine.
TEST_F(StartUpTest, HelpComesAtOnce) {
    EXPECT_EQ(run({"--version"}, 0), "<console><path>{g}Kalvor v{w}0.7.8 Build 9507\n{w}\n");
    EXPECT_EQ(run({"pause:-2", "help"}, 0), "<console><path>" + printed(print_usage) + "{w}\n");
    EXPECT_EQ(run({"pause:-2", "custom", "-h"}, 0), "<console><path>" + printed([] {
                                                        for (const std::string& line : custom_help()) {
                                                            trel::Console::print_line(line);
                                                        }
                                                    }) + "{w}\n");
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"pause:-2", "help", "bbp"}, {"pause:-2", "bbp", "--help"}}) {
        EXPECT_EQ(run(words, 0), "<console><path>" + printed([] {
                                     for (const std::string& line : BBPv2::bbp_help_page()) {
                                         trel::Console::print_line(line);
                                     }
                                 }) + "{w}\n");
    }
    // What "-o" takes asks for nothing.
    const std::string text = run({"pause:-2", "custom", "pi", "-dec:x", "-o", "-h"}, 1);
    EXPECT_NE(text.find("-dec: \"x\" is not a number."), std::string::npos) << text;
}

// The action is given the token that the start-up has made.
TEST_F(StartUpTest, TheTokenReachesTheSession) {
    const std::string text = run({"custom", "pi", "-dec:1001", "-od:0"}, 1);
    EXPECT_NE(text.find("Size Limit Exceeded.\n\nPlease contact the developer at bugs@kalvor.example."),
              std::string::npos)
        << text;
    calls_.authorize = [] { return AuthorizationToken(); };
    EXPECT_NE(run({"custom", "pi", "-dec:100", "-od:0"}, 1).find("AuthorizationToken is invalid."),
              std::string::npos);
}

// Builds that are not sealed have no such check.
TEST_F(StartUpTest, WithoutACheckOfTheFile) {
    calls_.check_integrity = {};
    EXPECT_EQ(run({"about"}, 0).find("<integrity"), std::string::npos);
}

TEST(RunProgramDeathTest, WithoutTheExecutablesPath) {
    EXPECT_EXIT(
        {
            print_to_stderr();
            trel::Console::set_pause_before_fatal_exit(false);
            StartUpCalls calls = StartUpCalls::of_this_machine();
            calls.executable_path = [] { return std::optional<std::string>(); };
            run_program({"kalvor", "about"}, calls);
        },
        testing::ExitedWithCode(1), "^\nFailed to retrieve path.\n$");
}

// Reported as a crash: the lines of the crash report and a dump, then the end of the process.
TEST(RunReportedTest, AnythingElseIsACrash) {
    // The same for both processes: on Windows the one that crashes begins this test anew.
    const std::filesystem::path folder = "scratch-entry-crash";
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    EXPECT_EXIT(
        {
            dup2(2, 1);  // where a death test looks
            std::filesystem::current_path(folder);
            run_reported([]() -> bool { throw "not ready to use."; });
        },
        testing::ExitedWithCode(1), "^" + kalvor_test::crash_report_text("Done!") + "$");
    int dumps = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        dumps += entry.path().extension() == ".dmp" ? 1 : 0;
    }
    EXPECT_EQ(dumps, 1);
    std::filesystem::remove_all(folder);
}
