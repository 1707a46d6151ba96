// The standard output and input as a console window: this program is run again on one of its own.
#include <gtest/gtest.h>

#include <windows.h>

#include "base/command_line/console_settings.h"
#include "base/console/console_children.h"
#include "support/windows/console_window.h"

namespace {

using kalvor_test::ConsoleRun;
using kalvor_test::run_on_console;

const kalvor_test::Child start_child("Start", [] {
    const bool first = os::started_from_existing_console();
    Console::print("text");
    Console::print(first ? " shared" : " own");
    Console::print(os::started_from_existing_console() ? " shared" : " own");
});

const kalvor_test::Child height_child("Height", [] {
    CommandLine::ParameterList words({"kalvor", "height:43"});
    CommandLine::consume_console_options(words);
});

const kalvor_test::Child two_keys_child("TwoKeys", [] {
    std::string line;
    Console::print(os::wait_for_key() ? "[key]" : "[no key]");
    Console::print(os::wait_for_key() ? "[key]" : "[no key]");
    Console::read_line(line);
    Console::print("[" + line + "]");
});

const kalvor_test::Child no_colors_child("NoColors", [] {
    SetEnvironmentVariableW(L"NO_COLOR", L"1");
    kalvor_test::run_child("Colors");
});
const kalvor_test::Child empty_no_color_child("EmptyNoColor", [] {
    SetEnvironmentVariableW(L"NO_COLOR", L"");
    kalvor_test::run_child("Colors");
});

// One side on the window, the other not: whether a key is waited for, and whether a run would ask its user.
void print_who_is_there(DWORD redirected) {
    const HANDLE before = GetStdHandle(redirected), window = GetStdHandle(STD_OUTPUT_HANDLE);
    const HANDLE nothing =
        CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                    OPEN_EXISTING, 0, nullptr);
    SetStdHandle(redirected, nothing);
    std::wstring seen = os::wait_for_key() ? L"[key]" : L"[no key]";
    seen += LinearConsoleNode(79, 1.0).attended() ? L"[attended]" : L"[alone]";
    SetStdHandle(redirected, before);
    CloseHandle(nothing);
    DWORD written = 0;
    WriteConsoleW(window, seen.data(), static_cast<DWORD>(seen.size()), &written, nullptr);
}
const kalvor_test::Child no_output_child("NoOutput", [] { print_who_is_there(STD_OUTPUT_HANDLE); });
const kalvor_test::Child no_input_child("NoInput", [] { print_who_is_there(STD_INPUT_HANDLE); });

// A line that is longer than what is to be erased.
const kalvor_test::Child erased_line_child("ErasedLine", [] {
    Console::print("above\n" + std::string(90, 'x'));
    Console::erase_line(79);
    Console::print("[" + std::to_string(Console::columns()) + "]");
});

// More than the system takes in one call, and characters of more than one byte or unit.
const kalvor_test::Child long_text_child("LongText", [] {
    std::string text;
    for (int i = 0; i < 2500; i++) text += "\xcf\x80 0123456\n";
    Console::print(text + "\xe2\x82\xac end");
});

}  // namespace

// A window that was opened for the program has its cursor in the first corner.
TEST(TerminalTest, AWindowOfItsOwnIsKnownByItsCursor) {
    EXPECT_EQ(run_on_console("Start").screen, "text own shared");
}

TEST(TerminalTest, ColorsAreAttributes) {
    const std::string colored = "<<{9}B{10}G{11}T{12}R{13}P{14}Y{1}b{2}g{3}t{4}r{5}p{6}y{7}w >>";
    EXPECT_EQ(run_on_console("Colors").screen, colored);
    EXPECT_EQ(run_on_console("NoColors").screen, "<<BGTRPYbgtrpyw >>");
    EXPECT_EQ(run_on_console("EmptyNoColor").screen, colored);
}

TEST(TerminalTest, AWindowIsResized) {
    const ConsoleRun run = run_on_console("Resize");
    EXPECT_EQ(run.screen, "<<>>");
    EXPECT_EQ(run.columns, 80);
    EXPECT_EQ(run.rows, 25);
    const ConsoleRun high = run_on_console("Height");
    EXPECT_EQ(high.columns, 80);
    EXPECT_EQ(high.rows, 43);
}

TEST(TerminalTest, PauseTakesOneKeyWithoutEcho) {
    const ConsoleRun run = run_on_console("Pause", "x\r");
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(run.screen,
              "<<Press any key to continue . . .\nPress any key to continue . . .\nterminal shared>>");
}

// A key without a character is one key.
TEST(TerminalTest, ArrowsAreKeys) {
    const ConsoleRun run = run_on_console("TwoKeys", "\x1b[Axyz\r");
    EXPECT_NE(run.screen.find("[key][key]"), std::string::npos) << run.screen;
    EXPECT_NE(run.screen.find("[yz]"), std::string::npos) << run.screen;
}

TEST(TerminalTest, LinesAreReadWithoutTheirEnds) {
    // The window echoes what is typed, wherever the output stands by then.
    const ConsoleRun run = run_on_console("Lines", "first\r\rthird \xcf\x80\rklast\r");
    for (const char* text : {"[first]", "[]", "[third \xcf\x80]", "[key]", "[last]"}) {
        EXPECT_NE(run.screen.find(text), std::string::npos) << text << "\n" << run.screen;
    }
    // Ctrl-Z on an empty line is the end of the input.
    const ConsoleRun ended = run_on_console("Lines", "first\r\x1a\rthird\rk\r");
    for (const char* text : {"[first]", "[end]", "[third]", "[key]"}) {
        EXPECT_NE(ended.screen.find(text), std::string::npos) << text << "\n" << ended.screen;
    }
}

TEST(TerminalTest, LongTextsArriveWhole) {
    const ConsoleRun run = run_on_console("LongText");
    std::string want;
    for (int i = 0; i < 39; i++) want += "\xcf\x80 0123456\n";
    EXPECT_EQ(run.screen, want + "\xe2\x82\xac end");
}

TEST(TerminalTest, FatalExitPausesAndExitsWithItsCode) {
    const ConsoleRun run = run_on_console("FatalExit", "k");
    EXPECT_EQ(run.screen, "<<\n{12}broken\n{7}>>Press any key to continue . . .");
    EXPECT_EQ(run.exit_code, 7);
}

// Nobody sees a question when the output is not the window, and nobody can answer when the input is not.
TEST(TerminalTest, KeysAreWaitedForOnBothSidesOnly) {
    EXPECT_EQ(run_on_console("NoOutput", "k").screen, "[no key][alone]");
    EXPECT_EQ(run_on_console("NoInput", "k").screen, "[no key][alone]");
}

TEST(TerminalTest, ARunIsAttendedOnAWindow) {
    EXPECT_EQ(run_on_console("Attended").screen, "<<attended>>");
}

// The whole line of the window, whatever its width; what stands above it stays.
TEST(TerminalTest, LinesAreErasedWhole) {
    EXPECT_EQ(run_on_console("ErasedLine").screen, "above\n[100]");
}
