// The standard output on a terminal: this program is run again on a pseudo terminal of its own.
#include <gtest/gtest.h>

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "base/console/console.h"
#include "os/console.h"

using namespace trel;

namespace {

struct Outcome {
    std::string output;
    int status = -1;
};

// Runs one of the disabled tests below on a terminal; `input` is typed in at once. A key never typed would
// hang the child, so an alarm ends it.
Outcome on_terminal(const char* test, const std::string& input, const char* no_color = nullptr) {
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        alarm(30);
        if (no_color) setenv("NO_COLOR", no_color, 1);
        const std::string filter = std::string("--gtest_filter=TerminalChild.DISABLED_") + test;
        execl("/proc/self/exe", "test", filter.c_str(), "--gtest_also_run_disabled_tests", nullptr);
        _exit(99);
    }
    Outcome out;
    if (child < 0) return out;
    [[maybe_unused]] const ssize_t typed = write(terminal, input.data(), input.size());
    char buffer[4096];
    while (true) {
        const ssize_t got = read(terminal, buffer, sizeof buffer);
        if (got <= 0) break;  // the terminal reports an error when its last user is gone
        out.output.append(buffer, static_cast<size_t>(got));
    }
    close(terminal);
    waitpid(child, &out.status, 0);
    // Between the marks; the rest belongs to the test framework.
    const size_t from = out.output.find("<<"), to = out.output.find(">>");
    out.output = from == std::string::npos || to == std::string::npos
                     ? "no marks: " + out.output
                     : out.output.substr(from + 2, to - from - 2);
    return out;
}

}  // namespace

// The children: each runs only inside the terminal that a test further down opens for it, which also checks
// what it printed. "DISABLED_" keeps them out of a plain run, where there is no terminal to look at.

TEST(TerminalChild, DISABLED_Colors) {
    Console::print("<<");
    for (const char color : {'B', 'G', 'T', 'R', 'P', 'Y', 'b', 'g', 't', 'r', 'p', 'y', 'w', ' '}) {
        Console::print(std::string(1, color), color);
    }
    Console::print(">>");
    Console::flush();
}

TEST(TerminalChild, DISABLED_Resize) {
    Console::print("<<");
    os::set_window_size(80, 25);
    Console::print(">>");
    Console::flush();
}

TEST(TerminalChild, DISABLED_Pause) {
    Console::print("<<");
    Console::pause();
    Console::pause();
    Console::print(Console::is_terminal() ? "terminal" : "none");
    Console::print(os::started_from_existing_console() ? " shared" : " own");
    Console::print(">>");
    Console::flush();
}

TEST(TerminalChild, DISABLED_FatalExit) {
    Console::print("<<");
    Console::error_line("broken");
    Console::print(">>");
    Console::fatal_exit(7);
}

// Lines, and then a key, from the same input.
TEST(TerminalChild, DISABLED_Lines) {
    Console::print("<<");
    std::string line;
    for (int i = 0; i < 3; i++) Console::print(Console::read_line(line) ? "[" + line + "]" : "[end]");
    Console::print(os::wait_for_key() ? "[key]" : "[no key]");
    Console::print(Console::read_line(line) ? "[" + line + "]" : "[end]");
    Console::print(">>");
    Console::flush();
}

TEST(Terminal, LinesAreReadWithoutTheirEnds) {
    // The terminal echoes what is typed, wherever the output stands by then.
    const Outcome out = on_terminal("Lines", "first\n\nthird line\nklast\n");
    for (const char* text : {"[first]", "[]", "[third line]", "[key]", "[last]"}) {
        EXPECT_NE(out.output.find(text), std::string::npos) << text << "\n" << out.output;
    }
    // Ctrl-D on an empty line is the end of the input.
    const Outcome ended = on_terminal("Lines", "first\n\x04\x04k\n");
    EXPECT_NE(ended.output.find("[first]"), std::string::npos) << ended.output;
    EXPECT_NE(ended.output.find("[end]"), std::string::npos) << ended.output;
}

namespace {

// Runs one of the tests above with pipes instead of a terminal.
std::string on_pipes(const char* test, const std::string& input) {
    const std::string filter = std::string("--gtest_filter=TerminalChild.DISABLED_") + test;
    int to_child[2], from_child[2];
    EXPECT_EQ(pipe(to_child), 0);
    EXPECT_EQ(pipe(from_child), 0);
    const pid_t child = fork();
    if (child == 0) {
        alarm(30);
        dup2(to_child[0], STDIN_FILENO);
        dup2(from_child[1], STDOUT_FILENO);
        for (const int end : {to_child[0], to_child[1], from_child[0], from_child[1]}) close(end);
        execl("/proc/self/exe", "test", filter.c_str(), "--gtest_also_run_disabled_tests", nullptr);
        _exit(99);
    }
    close(to_child[0]);
    close(from_child[1]);
    EXPECT_EQ(write(to_child[1], input.data(), input.size()), static_cast<ssize_t>(input.size()));
    close(to_child[1]);
    std::string output;
    char buffer[4096];
    for (ssize_t got; (got = read(from_child[0], buffer, sizeof buffer)) > 0;) {
        output.append(buffer, static_cast<size_t>(got));
    }
    close(from_child[0]);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    const size_t from = output.find("<<"), to = output.find(">>");
    return from == std::string::npos || to == std::string::npos ? "no marks: " + output
                                                                : output.substr(from + 2, to - from - 2);
}

}  // namespace

// From a file, nothing is read ahead: what follows a line is there for the next reader.
TEST(Lines, FromAPipe) {
    const auto piped = [](const std::string& input) { return on_pipes("Lines", input); };
    EXPECT_EQ(piped("one\ntwo\r\n\nklast"), "[one][two][][key][last]");
    EXPECT_EQ(piped("one\r\r\n\r\n"), "[one\r][][end][no key][end]");
    EXPECT_EQ(piped(""), "[end][end][end][no key][end]");
    EXPECT_EQ(piped("without an end"), "[without an end][end][end][no key][end]");
    const std::string longest(65536, 'x');
    EXPECT_EQ(piped(longest + "yyy\nnext\nz\nk"), "[" + longest + "][next][z][key][end]");
}

TEST(Terminal, ColorsAreEscapes) {
    const Outcome colored = on_terminal("Colors", "");
    EXPECT_EQ(colored.output,
              "\x1b[94mB\x1b[92mG\x1b[96mT\x1b[91mR\x1b[95mP\x1b[93mY"
              "\x1b[34mb\x1b[32mg\x1b[36mt\x1b[31mr\x1b[35mp\x1b[33my\x1b[0mw ");
    EXPECT_EQ(on_terminal("Colors", "", "1").output, "BGTRPYbgtrpyw ");
    EXPECT_EQ(on_terminal("Colors", "", "").output, colored.output);  // empty counts as not set
}

// The texts are the same without a terminal, the escapes are not there.
TEST(Redirected, HasNoEscapes) {
    EXPECT_EQ(on_pipes("Colors", ""), "BGTRPYbgtrpyw ");
    EXPECT_EQ(on_pipes("Resize", ""), "");
    EXPECT_EQ(on_pipes("Pause", "xy"),
              "Press any key to continue . . . \nPress any key to continue . . . \nnone shared");
}

TEST(Terminal, AWindowIsResizedByAnEscape) {
    EXPECT_EQ(on_terminal("Resize", "").output, "\x1b[8;25;80t");
}

TEST(Terminal, PauseTakesOneKeyWithoutEcho) {
    // The second pause gets the end-of-input character as an ordinary key: nothing ends up waiting for a
    // line.
    const Outcome out = on_terminal("Pause", "x\x04");
    const size_t echoed = out.output.find("x");
    EXPECT_NE(out.output.find("Press any key to continue . . . \r\n"), std::string::npos) << out.output;
    EXPECT_NE(out.output.find("terminal own"), std::string::npos) << out.output;
    EXPECT_EQ(echoed, std::string::npos) << out.output;
    EXPECT_TRUE(WIFEXITED(out.status)) << out.status;
}

TEST(Terminal, FatalExitPausesAndExitsWithItsCode) {
    const Outcome out = on_terminal("FatalExit", "k");
    EXPECT_EQ(out.output, "\r\n\x1b[91mbroken\r\n\x1b[0m");
    ASSERT_TRUE(WIFEXITED(out.status));
    EXPECT_EQ(WEXITSTATUS(out.status), 7);
}

// Input that has ended does not block a pause.
TEST(FatalExit, EndOfInputNeverBlocks) {
    EXPECT_EXIT(
        {
            alarm(30);
            [[maybe_unused]] FILE* null_input = std::freopen("/dev/null", "r", stdin);
            Console::fatal_exit(3);
        },
        testing::ExitedWithCode(3), "");
}
