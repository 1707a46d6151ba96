// The program on a console window, where Ctrl-C interrupts it in the middle of runs: after each line that it
// prints, at the earliest moment, in the middle of its output. Whatever it is doing then, it ends as an
// interrupted process, says once what it kept, and leaves no file that looks finished and is not.
// Ctrl-C only: Wine delivers Ctrl-Break to nobody.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>

#include "os/windows/utf8.h"
#include "support/child.h"
#include "support/interrupted_runs.h"
#include "support/run_program.h"
#include "support/windows/console_window.h"

namespace {

using kalvor_test::ConsoleRun;
using kalvor_test::kFile;
using kalvor_test::kLongRun;
using kalvor_test::kMomentsOfLongRun;
using kalvor_test::kMomentsOfShortRun;
using kalvor_test::kShortRun;
using kalvor_test::TemporaryFolder;
using trel::os::to_utf16;

constexpr int kInterrupted = static_cast<int>(0xC000013A);
// What the piece below is told, as a file in its folder: the moment and how to wait there; the program's
// words.
constexpr const char* kOrder = "order";

// Every character of the window, which is as large as its buffer.
std::wstring window_text() {
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    CONSOLE_SCREEN_BUFFER_INFO info{};
    GetConsoleScreenBufferInfo(output, &info);
    std::wstring text(static_cast<std::size_t>(info.dwSize.X) * static_cast<std::size_t>(info.dwSize.Y),
                      L' ');
    DWORD read = 0;
    ReadConsoleOutputCharacterW(output, text.data(), static_cast<DWORD>(text.size()), {0, 0}, &read);
    return text;
}

// Starts the program beside it on the same window, presses Ctrl-C at the moment, and ends as the program did.
const kalvor_test::Child interrupts_the_program("interrupts the program", [] {
    std::ifstream order(kOrder);
    std::string moment, ignored, words;
    std::getline(order, moment);
    std::getline(order, ignored);
    std::getline(order, words);
    // What the program is started to ignore it ignores; this process takes the events that follow.
    SetConsoleCtrlHandler(nullptr, ignored == "ignored");
    // A program whose first character stands in the corner of a window sets the window's size.
    std::puts("");
    std::fflush(stdout);
    std::wstring command =
        L"\"" + to_utf16(kalvor_test::kalvor_path()) + L"\" skip-warnings pause:-2 " + to_utf16(words);
    STARTUPINFOW start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION process{};
    const std::wstring path = std::filesystem::absolute(to_utf16(kalvor_test::kalvor_path())).wstring();
    if (!CreateProcessW(path.c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start,
                        &process)) {
        std::_Exit(97);
    }
    SetConsoleCtrlHandler(nullptr, FALSE);
    SetConsoleCtrlHandler([](DWORD) -> BOOL { return TRUE; }, TRUE);
    while (window_text().find(to_utf16(moment)) == std::wstring::npos) {
        // Without the moment no interrupt: the test sees by the exit code that there was none.
        if (WaitForSingleObject(process.hProcess, 1) == WAIT_OBJECT_0) break;
    }
    GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(process.hProcess, &code);
    std::_Exit(static_cast<int>(code));
});

ConsoleRun interrupt(const TemporaryFolder& folder, const std::vector<std::string>& words,
                     const std::string& moment, bool ignored = false) {
    {
        std::ofstream order(folder / kOrder);
        order << moment << '\n' << (ignored ? "ignored" : "") << '\n';
        for (const std::string& word : words) order << word << ' ';
        order << '\n';
    }
    ConsoleRun run = kalvor_test::run_on_console("interrupts the program", "", folder.path());
    // Without the marks of colours.
    run.screen = std::regex_replace(run.screen, std::regex("\\{[0-9]+\\}"), "");
    return run;
}

class InterruptedEarlyTest : public testing::TestWithParam<std::string> {};

TEST_P(InterruptedEarlyTest, EarlyOnEndsAsAnInterruptedProcess) {
    const TemporaryFolder folder;
    const ConsoleRun run = interrupt(folder, kLongRun, GetParam());
    kalvor_test::expect_stopped_early(folder, run.screen, run.exit_code, kInterrupted);
    EXPECT_EQ(run.screen.find(", run "), std::string::npos) << "a progress line is left: " << run.screen;
}

INSTANTIATE_TEST_SUITE_P(Moments, InterruptedEarlyTest, testing::ValuesIn(kMomentsOfLongRun));

class InterruptedLateTest : public testing::TestWithParam<std::string> {};

TEST_P(InterruptedLateTest, EndsAsAnInterruptedProcessOrIsComplete) {
    const TemporaryFolder folder;
    const ConsoleRun run = interrupt(folder, kShortRun, GetParam());
    kalvor_test::expect_stopped_or_complete(folder, run.screen, run.exit_code, kInterrupted);
}

INSTANTIATE_TEST_SUITE_P(Moments, InterruptedLateTest, testing::ValuesIn(kMomentsOfShortRun));

class SlowInterruptedLateTest : public testing::TestWithParam<std::string> {};

TEST_P(SlowInterruptedLateTest, EndsAsAnInterruptedProcess) {
    kalvor_test::expect_stopped_late([&](const TemporaryFolder& folder) {
        const ConsoleRun run = interrupt(folder, kalvor_test::kLateRun, GetParam());
        return kalvor_test::expect_stopped_or_complete(folder, run.screen, run.exit_code, kInterrupted,
                                                       kalvor_test::kLateRunBytes);
    });
}

INSTANTIATE_TEST_SUITE_P(SlowMoments, SlowInterruptedLateTest, testing::ValuesIn(kMomentsOfShortRun));

// Ctrl-C means nothing to a run that was started not to care.
TEST(InterruptedRunTest, AnIgnoredInterruptStaysIgnored) {
    const TemporaryFolder folder;
    const ConsoleRun run =
        interrupt(folder, {"custom", "pi", "-dec:5m", "-o", "out"}, "Begin Computation:", true);
    EXPECT_EQ(run.exit_code, 0) << run.screen;
    EXPECT_EQ(kalvor_test::count(run.screen, "Interrupted"), 0);
    EXPECT_TRUE(std::filesystem::exists(folder / kFile));
}

// The stress tester, in the middle of a test of a day: with its closing lines.
TEST(InterruptedRunTest, TheStressTesterEndsAsItAlwaysDoes) {
    const TemporaryFolder folder;
    const ConsoleRun run =
        interrupt(folder, {"stress", "BBP", "-pertest:86400", "-M:64M", "-cores:0"}, "Running BBP", false);
    EXPECT_EQ(run.exit_code, kInterrupted) << run.screen;
    EXPECT_EQ(kalvor_test::count(run.screen, "Passed"), 1) << run.screen;
    EXPECT_EQ(kalvor_test::count(run.screen, "Test Finished. Waiting for threads to terminate..."), 1)
        << run.screen;
}

// The digit extractor, whose sub-sum would take a day.
TEST(InterruptedRunTest, TheExtractorSaysHowFarItCame) {
    const TemporaryFolder folder;
    const ConsoleRun run = interrupt(folder, {"bbp", "-offset:10t", "-threads:2"}, "Summing...", false);
    EXPECT_EQ(run.exit_code, kInterrupted) << run.screen;
    EXPECT_EQ(kalvor_test::count(run.screen, "Interrupted. 0.00 % of the terms were summed."), 1)
        << run.screen;
}

// The viewer, while it moves many digits.
TEST(InterruptedRunTest, TheViewerSaysHowFarItCame) {
    const TemporaryFolder folder;
    folder.write("a.txt", "3." + std::string(200000000, '1'));
    const ConsoleRun run =
        interrupt(folder, {"digitviewer", "a.txt", "extract", "-to", "b.txt"}, "Reading...", false);
    EXPECT_EQ(run.exit_code, kInterrupted) << run.screen;
    EXPECT_EQ(kalvor_test::count(run.screen, "Interrupted. "), 1) << run.screen;
    EXPECT_EQ(kalvor_test::count(run.screen, " % of the digits were moved"), 1) << run.screen;
    EXPECT_FALSE(std::filesystem::exists(folder / "b.txt")) << run.screen;
}

}  // namespace
