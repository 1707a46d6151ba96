// The standard output on a terminal: this program is run again on a pseudo terminal of its own.
#include <gtest/gtest.h>

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "base/console/console_children.h"

namespace {

struct Outcome {
    std::string output;
    int status = -1;
};

// Runs one of the children on a terminal; `input` is typed in at once. A key never typed would
// hang the child, so an alarm ends it.
struct Kind {
    const char* term = "xterm";
    unsigned short columns = 0;
};

Outcome on_terminal(const char* test, const std::string& input, const char* no_color = nullptr,
                    const Kind& kind = {}) {
    int terminal = -1;
    winsize size{};
    size.ws_col = kind.columns;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
    if (child == 0) {
        alarm(30);
        if (no_color) setenv("NO_COLOR", no_color, 1);
        kind.term ? setenv("TERM", kind.term, 1) : unsetenv("TERM");
        execl("/proc/self/exe", "test", "--child", test, nullptr);
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
    const size_t from = out.output.find("<<"), to = out.output.find(">>");
    out.output = from == std::string::npos || to == std::string::npos
                     ? "no marks: " + out.output
                     : out.output.substr(from + 2, to - from - 2);
    return out;
}

}  // namespace

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

TEST(Terminal, ColorsAreEscapes) {
    const Outcome colored = on_terminal("Colors", "");
    EXPECT_EQ(colored.output,
              "\x1b[94mB\x1b[92mG\x1b[96mT\x1b[91mR\x1b[95mP\x1b[93mY"
              "\x1b[34mb\x1b[32mg\x1b[36mt\x1b[31mr\x1b[35mp\x1b[33my\x1b[0mw ");
    EXPECT_EQ(on_terminal("Colors", "", "1").output, "BGTRPYbgtrpyw ");
    EXPECT_EQ(on_terminal("Colors", "", "").output, colored.output);  // empty counts as not set
}

TEST(Terminal, LinesAreErasedByAnEscapeWhereThereIsOne) {
    EXPECT_EQ(on_terminal("Erase", "", nullptr, {"xterm", 60}).output, "60\r\x1b[K");
    EXPECT_EQ(on_terminal("Erase", "").output, "0\r\x1b[K");
    const auto blanks = [](size_t n) { return "\r" + std::string(n, ' ') + "\r"; };
    // Never into the last column.
    EXPECT_EQ(on_terminal("Erase", "", nullptr, {"dumb", 60}).output, "60" + blanks(59));
    EXPECT_EQ(on_terminal("Erase", "", nullptr, {nullptr, 200}).output, "200" + blanks(79));
    EXPECT_EQ(on_terminal("Erase", "", nullptr, {"", 0}).output, "0" + blanks(79));
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
