// The standard output on a terminal: this program is run again on a pseudo terminal of its own.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>

#include "base/console/console_children.h"
#include "support/run_program.h"

namespace {

struct Outcome {
    std::string output;
    int status = -1;
};

// A pseudo terminal with one of the children on it.
class Screen {
  public:
    // `variable`: "NAME=value", or only "NAME" to take it out of the child's environment. With `output` the
    // child's standard output goes there.
    explicit Screen(const char* test, const char* variable = nullptr, const char* output = nullptr,
                    unsigned short columns = 0) {
        winsize size{};
        size.ws_col = columns;
        child_ = forkpty(&outside_, nullptr, nullptr, &size);
        if (child_ == 0) {
            alarm(30);  // a key never typed would hang the child
            setenv("TERM", "xterm", 1);
            if (variable) putenv(const_cast<char*>(variable));
            if (output) dup2(open(output, O_WRONLY | O_CREAT, 0600), 1);
            execl("/proc/self/exe", "test", "--child", test, nullptr);
            _exit(99);
        }
        // Held open, so that the terminal can be looked at when its last user is gone.
        inside_ = open(ptsname(outside_), O_RDWR | O_NOCTTY | O_CLOEXEC);
    }
    ~Screen() {
        close(outside_);
        close(inside_);
    }
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    void type(const std::string& keys) {
        [[maybe_unused]] const ssize_t typed = write(outside_, keys.data(), keys.size());
    }
    void send(int signal) { kill(child_, signal); }
    // Reads until the child has printed this.
    void read_up_to(const std::string& text) {
        while (output_.find(text) == std::string::npos && read_some(30000)) {
        }
    }
    bool echoes_lines() const {
        termios settings{};
        constexpr tcflag_t kBoth = ECHO | ICANON;
        return tcgetattr(inside_, &settings) == 0 && (settings.c_lflag & kBoth) == kBoth;
    }
    void wait_for_raw() const {
        while (echoes_lines()) usleep(1000);
    }
    // Its output between the marks.
    Outcome end() {
        Outcome out;
        while (waitpid(child_, &out.status, WNOHANG) == 0) read_some(10);
        while (read_some(0)) {
        }
        const size_t from = output_.find("<<"), to = output_.find(">>");
        out.output = from == std::string::npos || to == std::string::npos
                         ? "no marks: " + output_
                         : output_.substr(from + 2, to - from - 2);
        return out;
    }

  private:
    bool read_some(int milliseconds) {
        pollfd readable{outside_, POLLIN, 0};
        if (poll(&readable, 1, milliseconds) <= 0) return false;
        char buffer[4096];
        const ssize_t got = read(outside_, buffer, sizeof buffer);
        if (got <= 0) return false;
        output_.append(buffer, static_cast<size_t>(got));
        return true;
    }

    int outside_ = -1, inside_ = -1;
    pid_t child_ = -1;
    std::string output_;
};

// `input` is typed in at once.
Outcome on_terminal(const char* test, const std::string& input, const char* variable = nullptr,
                    unsigned short columns = 0) {
    Screen terminal(test, variable, nullptr, columns);
    terminal.type(input);
    return terminal.end();
}

}  // namespace

TEST(TerminalTest, LinesAreReadWithoutTheirEnds) {
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

TEST(TerminalTest, ColorsAreEscapes) {
    const Outcome colored = on_terminal("Colors", "");
    EXPECT_EQ(colored.output,
              "\x1b[94mB\x1b[92mG\x1b[96mT\x1b[91mR\x1b[95mP\x1b[93mY"
              "\x1b[34mb\x1b[32mg\x1b[36mt\x1b[31mr\x1b[35mp\x1b[33my\x1b[0mw ");
    EXPECT_EQ(on_terminal("Colors", "", "NO_COLOR=1").output, "BGTRPYbgtrpyw ");
    EXPECT_EQ(on_terminal("Colors", "", "NO_COLOR=").output, colored.output);  // empty counts as not set
}

// A terminal that would show escapes as text, or of which nothing is known.
TEST(TerminalTest, SomeHaveNoEscapes) {
    for (const char* term : {"TERM=dumb", "TERM=", "TERM"}) {
        EXPECT_EQ(on_terminal("Colors", "", term).output, "BGTRPYbgtrpyw ") << term;
        EXPECT_EQ(on_terminal("Resize", "", term).output, "") << term;
    }
}

TEST(TerminalTest, LinesAreErasedByAnEscapeWhereThereIsOne) {
    EXPECT_EQ(on_terminal("Erase", "", nullptr, 60).output, "60\r\x1b[K");
    EXPECT_EQ(on_terminal("Erase", "").output, "0\r\x1b[K");
    const auto blanks = [](size_t n) { return "\r" + std::string(n, ' ') + "\r"; };
    // Never into the last column.
    EXPECT_EQ(on_terminal("Erase", "", "TERM=dumb", 60).output, "60" + blanks(59));
    EXPECT_EQ(on_terminal("Erase", "", "TERM", 200).output, "200" + blanks(79));
    EXPECT_EQ(on_terminal("Erase", "", "TERM=").output, "0" + blanks(79));
}

TEST(TerminalTest, AWindowIsResizedByAnEscape) {
    EXPECT_EQ(on_terminal("Resize", "").output, "\x1b[8;25;80t");
}

TEST(TerminalTest, PauseTakesOneKeyWithoutEcho) {
    // The second pause gets the end-of-input character as an ordinary key: nothing ends up waiting for a
    // line.
    const Outcome out = on_terminal("Pause", "x\x04");
    const size_t echoed = out.output.find("x");
    EXPECT_NE(out.output.find("Press any key to continue . . . \r\n"), std::string::npos) << out.output;
    EXPECT_NE(out.output.find("terminal shared"), std::string::npos) << out.output;
    EXPECT_EQ(echoed, std::string::npos) << out.output;
    EXPECT_TRUE(WIFEXITED(out.status)) << out.status;
}

TEST(TerminalTest, FatalExitPausesAndExitsWithItsCode) {
    const Outcome out = on_terminal("FatalExit", "k");
    EXPECT_EQ(out.output, "\r\n\x1b[91mbroken\r\n\x1b[0m");
    ASSERT_TRUE(WIFEXITED(out.status));
    EXPECT_EQ(WEXITSTATUS(out.status), 7);
}

// A key with a sequence of its own is one key, and so is a character of several bytes.
TEST(TerminalTest, KeysAreTakenWhole) {
    const Outcome out = on_terminal("ManyKeys", "\x1b[A\x1bOP\x1b[15~\x1b[[A\xc3\xa4qrest\n");
    EXPECT_NE(out.output.find("[key][key][key][key][key][key]"), std::string::npos) << out.output;
    EXPECT_NE(out.output.find("[rest]"), std::string::npos) << out.output;
}

// When the program is ended at its pause the terminal is as it was before.
TEST(TerminalTest, ASignalAtThePauseGivesTheTerminalBack) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        Screen terminal("Pause");
        terminal.read_up_to("Press any key");
        terminal.wait_for_raw();
        if (signal == SIGINT) {
            terminal.type("\x03");
        } else {
            terminal.send(signal);
        }
        const Outcome out = terminal.end();
        ASSERT_TRUE(WIFSIGNALED(out.status)) << signal;
        EXPECT_EQ(WTERMSIG(out.status), signal);
        EXPECT_TRUE(terminal.echoes_lines()) << signal;
    }
}

TEST(TerminalTest, AKeyGivesTheTerminalBack) {
    Screen terminal("Pause");
    terminal.wait_for_raw();
    terminal.type("xy");
    terminal.end();
    EXPECT_TRUE(terminal.echoes_lines());
}

// Nobody sees the question when the output is a file, and nobody can answer when the input is.
TEST(TerminalTest, KeysAreWaitedForOnBothSidesOnly) {
    const kalvor_test::TemporaryFolder folder;
    const std::string file = folder / "out";
    Screen terminal("Pause", nullptr, file.c_str());
    const Outcome out = terminal.end();
    EXPECT_TRUE(WIFEXITED(out.status)) << out.status;
    EXPECT_EQ(kalvor_test::read_file(file),
              "<<Press any key to continue . . . \nPress any key to continue . . . \nnone shared>>");
    kalvor_test::RunOptions options;
    options.terminal = true;
    options.input = "a\nb\nc\nnext\n";
    const kalvor_test::ProgramRun run = kalvor_test::run_this_test({"--child", "Lines"}, options);
    EXPECT_NE(run.out.find("[a][b][c][no key][next]"), std::string::npos) << run.out;
}

// A question about a full disk goes to a terminal whose keys can answer it, and to nobody else.
TEST(TerminalTest, ARunIsAttendedWithBothSidesOnly) {
    EXPECT_EQ(on_terminal("Attended", "").output, "attended");
    const kalvor_test::TemporaryFolder folder;
    const std::string file = folder / "out";
    Screen terminal("Attended", nullptr, file.c_str());
    terminal.end();
    EXPECT_EQ(kalvor_test::read_file(file), "<<alone>>");
    kalvor_test::RunOptions options;
    options.terminal = true;
    options.input = "an answer\n";
    const kalvor_test::ProgramRun run = kalvor_test::run_this_test({"--child", "Attended"}, options);
    EXPECT_EQ(run.out, "<<alone>>");
}
