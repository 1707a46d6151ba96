// The program on a terminal: colours, progress lines that come and go, the size of the window.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/run_program.h"

namespace {

using kalvor_test::ProgramRun;
using kalvor_test::run_kalvor;
using kalvor_test::RunOptions;

ProgramRun on_terminal(std::vector<std::string> arguments, unsigned short columns = 0,
                       const std::string& kind = "xterm") {
    const kalvor_test::TemporaryFolder folder;
    RunOptions options;
    options.folder = folder.path();
    options.terminal = true;
    options.columns = columns;
    options.environment = {"TERM=" + kind};
    arguments.insert(arguments.begin(), "skip-warnings");
    return run_kalvor(arguments, options);
}

// What is left to read after carriage returns have run over the start of their line, without escapes.
std::string visible(const std::string& text) {
    std::string screen, line;
    std::size_t column = 0;
    for (std::size_t i = 0; i < text.size(); i++) {
        if (text[i] == '\x1b') {
            while (i < text.size() && text[i] != 'm' && text[i] != 'K') i++;
            if (i < text.size() && text[i] == 'K') line.resize(std::min(line.size(), column));
        } else if (text[i] == '\r') {
            column = 0;
        } else if (text[i] == '\n') {
            screen += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
            line.clear();
            column = 0;
        } else {
            if (line.size() <= column) line.resize(column + 1, ' ');
            line[column++] = text[i];
        }
    }
    return screen + line;
}

TEST(TerminalTest, TheHeaderHasItsColours) {
    const ProgramRun run = on_terminal({"custom", "pi", "-dec:1000", "-od:0", "-TD:2", "-PF:spawn"});
    EXPECT_EQ(run.exit_code, 0) << run.out;
    for (const char* text :
         {"\x1b[96m    x64, ABM,", "\x1b[0mTopology:             \x1b[96m",
          "\x1b[0mCPU Base Frequency:   \x1b[93m", "\x1b[0mAlgorithm:  \x1b[93mChudnovsky (1988)\x1b[0m\r\n",
          "\x1b[0mDecimal Digits:       \x1b[92m1,000\x1b[0m\r\n",
          "\x1b[0mHexadecimal Digits:   \x1b[32mDisabled\x1b[0m\r\n",
          "\x1b[0mComputation Mode:     \x1b[91mRam Only\x1b[0m\r\n", "\x1b[0mStart Time:           \x1b[93m",
          "\x1b[0mTotal Computation Time:      \x1b[92m"}) {
        EXPECT_TRUE(run.has(text)) << text << "\n" << run.out;
    }
}

TEST(TerminalTest, ProgressLinesLeaveNothingBehind) {
    const std::vector<std::string> arguments = {"custom", "pi", "-dec:20000", "-od:0", "-TD:2", "-PF:spawn"};
    const ProgramRun run = on_terminal(arguments);
    ASSERT_EQ(run.exit_code, 0) << run.out;
    EXPECT_TRUE(run.has("\x1b[0mWorking Memory...  ")) << run.out;
    EXPECT_TRUE(run.has("\x1b[0mTwiddle Tables...  ")) << run.out;
    EXPECT_TRUE(run.has("\r\x1b[K")) << run.out;
    const std::string screen = visible(run.out);
    EXPECT_EQ(screen.find("Working Memory..."), std::string::npos) << screen;
    EXPECT_EQ(screen.find("Twiddle Tables..."), std::string::npos) << screen;
    EXPECT_NE(screen.find("\nWorking Memory: "), std::string::npos) << screen;
    EXPECT_NE(screen.find("\nTwiddle Tables: "), std::string::npos) << screen;
    // Line for line what is printed without a terminal, but for times and allocation.
    const kalvor_test::TemporaryFolder folder;
    const ProgramRun plain = kalvor_test::run_in(folder, arguments);
    EXPECT_EQ(std::count(screen.begin(), screen.end(), '\n'),
              std::count(plain.out.begin(), plain.out.end(), '\n'));
}

// Every progress line ends before the last column, so that a narrow window does not scroll.
TEST(TerminalTest, ProgressLinesFitNarrowWindows) {
    const std::string erase = "\r\x1b[K";
    for (const unsigned short columns : {20, 60}) {
        const ProgramRun run =
            on_terminal({"custom", "pi", "-dec:20000", "-od:0", "-TD:2", "-PF:spawn"}, columns);
        ASSERT_EQ(run.exit_code, 0) << run.out;
        int lines = 0;
        for (std::size_t at = run.out.find(erase); at != std::string::npos;) {
            const std::size_t from = at + erase.size();
            at = run.out.find(erase, from);
            if (at == std::string::npos) break;
            const std::string line = visible(run.out.substr(from, at - from));
            if (line.find('\n') != std::string::npos) continue;  // other output between two lines
            EXPECT_LT(line.size(), columns) << line;
            lines++;
        }
        EXPECT_GE(lines, 2) << run.out;
        if (columns == 60) {
            EXPECT_TRUE(run.has("Working Memory...  ")) << run.out;
            EXPECT_TRUE(run.has("0 s, memory, run ")) << run.out;
        }
    }
    const std::string blanks(59, ' ');
    const ProgramRun dumb =
        on_terminal({"custom", "pi", "-dec:20000", "-od:0", "-TD:2", "-PF:spawn"}, 60, "dumb");
    EXPECT_TRUE(dumb.has("\r" + blanks + "\r")) << dumb.out;
    EXPECT_FALSE(dumb.has(blanks + " ")) << dumb.out;
    EXPECT_FALSE(dumb.has("\x1b[K")) << dumb.out;
}

TEST(TerminalTest, ColoursCanBeSwitchedOff) {
    const ProgramRun run = on_terminal({"colors:0", "about"});
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_TRUE(run.has("Version: 0.7.8 Build 9507\r\n")) << run.out;
    // The feature check comes after the options, so nothing is coloured from the first line on.
    EXPECT_EQ(run.out.find('\x1b'), std::string::npos) << run.out;
}

TEST(TerminalTest, TheMainMenuHasColoursUnlessTheyAreOff) {
    for (const bool colors : {true, false}) {
        const ProgramRun run = on_terminal({colors ? "colors:1" : "colors:0", "pause:-2"});
        EXPECT_TRUE(run.has(colors ? "Enter your choice:\r\n\x1b[0moption: \x1b[96m"
                                   : "Enter your choice:\r\noption: "))
            << run.out;
        EXPECT_EQ(run.out.find('\x1b') != std::string::npos, colors) << run.out;
    }
}

TEST(TerminalTest, HeightResizesTheWindow) {
    EXPECT_TRUE(on_terminal({"height:43", "about"}).has("\x1b[8;43;80t"));
    EXPECT_FALSE(on_terminal({"about"}).has("\x1b[8;"));
}

TEST(TerminalTest, AnExceptionIsRed) {
    const ProgramRun run = on_terminal({"pause:-2", "custom", "tau"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_TRUE(run.has("\x1b[91m\r\n\r\nException Encountered: InvalidParametersException\r\n")) << run.out;
    EXPECT_TRUE(run.has("Invalid Constant: tau\r\n\r\n\r\n\x1b[0m")) << run.out;
}

}  // namespace
