// The program is interrupted in the middle of runs: after each line that it prints, at the earliest moment,
// in the middle of its output. Whatever it is doing then, it ends by the signal, says once what it kept, and
// leaves no file that looks finished and is not.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "support/interrupted_runs.h"
#include "support/run_program.h"

namespace {

using kalvor_test::count;
using kalvor_test::kFile;
using kalvor_test::kLongRun;
using kalvor_test::kMomentsOfLongRun;
using kalvor_test::kMomentsOfShortRun;
using kalvor_test::kShortRun;
using kalvor_test::TemporaryFolder;

constexpr int kPatience = 300;  // seconds; a run that ignores interrupts takes longer

// The program with its standard output on a pipe, or on a terminal; with a keyboard the terminal is its own,
// input too, or its input is a pipe into which nobody writes.
class ProgramOnPipe {
  public:
    ProgramOnPipe(const TemporaryFolder& folder, std::vector<std::string> words, bool terminal,
                  int ignored = 0, bool keyboard = false) {
        int ends[2] = {-1, -1};
        if (terminal) {
            ends[0] = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
            grantpt(ends[0]);
            unlockpt(ends[0]);
            ends[1] = open(ptsname(ends[0]), O_RDWR | O_NOCTTY | O_CLOEXEC);
        } else if (pipe2(ends, O_CLOEXEC) != 0) {
            return;
        }
        if (!terminal && keyboard && pipe2(keys_, O_CLOEXEC) != 0) return;
        words.insert(words.begin(), {kalvor_test::kalvor_path(), "skip-warnings"});
        if (!keyboard) words.insert(words.begin() + 2, "pause:-2");
        std::vector<char*> arguments;
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        child_ = fork();
        if (child_ == 0) {
            for (const int number : {SIGINT, SIGTERM, SIGHUP})
                signal(number, number == ignored ? SIG_IGN : SIG_DFL);
            if (keyboard && !terminal) {
                dup2(keys_[0], 0);
            } else if (keyboard) {
                setsid();
                ioctl(ends[1], TIOCSCTTY, 0);
                dup2(ends[1], 0);
            } else {
                dup2(open("/dev/null", O_RDONLY), 0);
            }
            dup2(ends[1], 1);
            dup2(ends[1], 2);
            setenv("TERM", "xterm", 1);
            if (chdir(folder.path().c_str()) != 0) _exit(126);
            execv(arguments[0], arguments.data());
            _exit(127);
        }
        inner_ = ends[1];
        out_ = ends[0];
    }
    ~ProgramOnPipe() {
        if (child_ > 0) {
            kill(child_, SIGKILL);
            waitpid(child_, nullptr, 0);
        }
        for (const int end : {out_, inner_, keys_[0], keys_[1]}) {
            if (end >= 0) close(end);
        }
    }

    void interrupt(int number) const { kill(child_, number); }
    void type(std::string_view keys) const {
        ASSERT_EQ(write(out_, keys.data(), keys.size()), ssize_t(keys.size()));
    }
    bool echoes() const {
        termios settings{};
        return tcgetattr(inner_, &settings) == 0 && (settings.c_lflag & (ECHO | ICANON)) == (ECHO | ICANON);
    }
    // Reads until `text` has come; false when the program has ended without it.
    bool wait_for(const std::string& text) {
        while (text_.find(text) == std::string::npos) {
            if (!read_some()) return text_.find(text) != std::string::npos;
        }
        return true;
    }
    // 128 + signal, or the exit code; 999 when it does not end.
    int end() {
        while (read_some()) {
        }
        return ended_ ? WIFSIGNALED(status_) ? 128 + WTERMSIG(status_) : WEXITSTATUS(status_) : 999;
    }
    const std::string& text() const { return text_; }

  private:
    bool read_some() {
        for (int tenths = 0; tenths < 10 * kPatience;) {
            pollfd readable{out_, POLLIN, 0};
            if (poll(&readable, 1, ended_ ? 0 : 100) > 0) {
                char buffer[4096];
                const ssize_t got = read(out_, buffer, sizeof buffer);
                if (got > 0) text_.append(buffer, static_cast<std::size_t>(got));
                return got > 0;
            }
            if (ended_) return false;
            tenths++;
            if (waitpid(child_, &status_, WNOHANG) == child_) {
                ended_ = true;
                child_ = -1;
            }
        }
        return false;
    }

    pid_t child_ = -1;
    int out_ = -1, inner_ = -1, status_ = 0;
    int keys_[2] = {-1, -1};
    bool ended_ = false;
    std::string text_;
};

// The signals take turns.
int signal_of(const std::vector<std::string>& moments, const std::string& moment) {
    constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
    return kSignals[(std::find(moments.begin(), moments.end(), moment) - moments.begin()) % 3];
}

// What a terminal shows of a text: its lines, and the colour at the end of each, as the sequence that set it.
// Knows what the program writes: colours, the erasing of a line, and the ends of lines.
struct Screen {
    explicit Screen(const std::string& text) {
        for (std::size_t i = 0; i < text.size(); i++) {
            if (text[i] == '\n') {
                lines.emplace_back();
                colors.push_back(colors.back());
                column = 0;
            } else if (text[i] == '\r') {
                column = 0;
            } else if (text[i] == '\x1b') {
                const std::size_t end = std::min(text.find_first_of("mK", i), text.size() - 1);
                if (text[end] == 'K') lines.back().resize(column);
                if (text[end] == 'm') colors.back() = text.substr(i, end + 1 - i);
                i = end;
            } else {
                if (lines.back().size() <= column) lines.back().resize(column + 1, ' ');
                lines.back()[column++] = text[i];
            }
        }
    }
    bool has(const std::string& what) const {
        return std::any_of(lines.begin(), lines.end(),
                           [&](const std::string& line) { return line.find(what) != std::string::npos; });
    }
    std::vector<std::string> lines{""};
    std::vector<std::string> colors{""};
    std::size_t column = 0;
};

constexpr const char* kProgress = ", run ";  // "Series, run 12 %, about 3 s left"

// Nothing of the progress line is left, and the program's last line and what comes behind it have the usual
// colour.
void expect_clean_screen(const std::string& text) {
    const std::size_t last = text.find("Interrupted. ");
    ASSERT_NE(last, std::string::npos) << text;
    const Screen before(text.substr(0, last)), after(text);
    EXPECT_FALSE(after.has(kProgress)) << text;
    EXPECT_EQ(before.lines.back(), "") << text;
    EXPECT_EQ(before.colors.back(), "\x1b[0m") << text;
    EXPECT_EQ(after.colors.back(), "\x1b[0m") << text;
    EXPECT_EQ(after.lines.back(), "") << text;
}

class InterruptedEarlyTest : public testing::TestWithParam<std::string> {};

TEST_P(InterruptedEarlyTest, EarlyOnEndsByTheSignal) {
    const int number = signal_of(kMomentsOfLongRun, GetParam());
    const TemporaryFolder folder;
    ProgramOnPipe run(folder, kLongRun, true);
    ASSERT_TRUE(run.wait_for(GetParam())) << run.text();
    run.interrupt(number);
    const int code = run.end();
    kalvor_test::expect_stopped_early(folder, run.text(), code, 128 + number);
    expect_clean_screen(run.text());
}

INSTANTIATE_TEST_SUITE_P(Moments, InterruptedEarlyTest, testing::ValuesIn(kMomentsOfLongRun));

class InterruptedLateTest : public testing::TestWithParam<std::string> {};

// Whether it was stopped.
bool interrupt_late(const TemporaryFolder& folder, const std::vector<std::string>& words,
                    const std::string& moment, unsigned bytes) {
    const int number = signal_of(kMomentsOfShortRun, moment);
    ProgramOnPipe run(folder, words, true);
    EXPECT_TRUE(run.wait_for(moment)) << run.text();
    run.interrupt(number);
    const int code = run.end();
    const bool stopped =
        kalvor_test::expect_stopped_or_complete(folder, run.text(), code, 128 + number, bytes);
    if (stopped) expect_clean_screen(run.text());
    return stopped;
}

TEST_P(InterruptedLateTest, EndsByTheSignalOrIsComplete) {
    const TemporaryFolder folder;
    (void)interrupt_late(folder, kShortRun, GetParam(), kalvor_test::kShortRunBytes);
}

class SlowInterruptedLateTest : public testing::TestWithParam<std::string> {};

TEST_P(SlowInterruptedLateTest, EndsByTheSignal) {
    kalvor_test::expect_stopped_late([&](const TemporaryFolder& folder) {
        return interrupt_late(folder, kalvor_test::kLateRun, GetParam(), kalvor_test::kLateRunBytes);
    });
}

INSTANTIATE_TEST_SUITE_P(SlowMoments, SlowInterruptedLateTest, testing::ValuesIn(kMomentsOfShortRun));
INSTANTIATE_TEST_SUITE_P(Moments, InterruptedLateTest, testing::ValuesIn(kMomentsOfShortRun));

// While the series is summed: a progress line is on the screen then.
TEST(InterruptedRunTest, TheProgressLineGoes) {
    const TemporaryFolder folder;
    ProgramOnPipe run(folder, kLongRun, true);
    // It stays for a second.
    ASSERT_TRUE(run.wait_for(" left")) << run.text();
    run.interrupt(SIGINT);
    const int code = run.end();
    kalvor_test::expect_stopped_early(folder, run.text(), code, 128 + SIGINT);
    expect_clean_screen(run.text());
}

// A terminal that goes away means nothing to a run that was started not to care.
TEST(InterruptedRunTest, AnIgnoredSignalStaysIgnored) {
    const TemporaryFolder folder;
    ProgramOnPipe run(folder, {"custom", "pi", "-dec:1m", "-o", "out"}, false, SIGHUP);
    ASSERT_TRUE(run.wait_for("Begin Computation:")) << run.text();
    run.interrupt(SIGHUP);
    EXPECT_EQ(run.end(), 0) << run.text();
    EXPECT_EQ(count(run.text(), "Interrupted"), 0);
    EXPECT_TRUE(std::filesystem::exists(folder / kFile));
}

// Whatever the first one has led to by then.
TEST(InterruptedRunTest, ASecondInterruptEndsIt) {
    const TemporaryFolder folder;
    ProgramOnPipe run(folder, kLongRun, false);
    ASSERT_TRUE(run.wait_for("Begin Computation:")) << run.text();
    run.interrupt(SIGTERM);
    run.interrupt(SIGTERM);
    EXPECT_EQ(run.end(), 128 + SIGTERM) << run.text();
    EXPECT_FALSE(std::filesystem::exists(folder / kFile));
}

// Outside of runs: at every kind of question, and while a key is waited for.
TEST(InterruptedRunTest, AtAQuestionItLeavesTheTerminalAsItWas) {
    struct Case {
        std::vector<std::string> words;
        const char* question;
        const char* keys;  // that lead to it
        const char* first;
    };
    for (const Case& c :
         {Case{{}, "option: ", "", nullptr}, Case{{}, "Digits: ", "3\n3\n", "option: "},
          Case{{"pause:1", "about"}, "Press any key to continue . . . ", "", nullptr},
          Case{{"validate"}, "Path: ", "", nullptr}, Case{{"stress"}, "option: ", "", nullptr}}) {
        const TemporaryFolder folder;
        ProgramOnPipe run(folder, c.words, true, 0, true);
        if (c.first) {
            ASSERT_TRUE(run.wait_for(c.first)) << run.text();
            run.type(c.keys);
        }
        ASSERT_TRUE(run.wait_for(c.question)) << run.text();
        usleep(200000);  // until the key is waited for
        run.type("\x03");
        EXPECT_EQ(run.end(), 128 + SIGINT) << run.text();
        EXPECT_TRUE(run.text().ends_with("\x1b[0m\r\n")) << run.text();
        EXPECT_TRUE(run.echoes()) << c.question;
    }
    // Not a terminal: nothing is added.
    const TemporaryFolder folder;
    ProgramOnPipe run(folder, {"bbp"}, false, 0, true);
    ASSERT_TRUE(run.wait_for("option: ") || run.wait_for(": ")) << run.text();
    const std::string before = run.text();
    run.interrupt(SIGTERM);
    EXPECT_EQ(run.end(), 128 + SIGTERM);
    EXPECT_EQ(run.text().find('\x1b'), std::string::npos) << run.text();
}

// The digit extractor, whose sub-sum would take a day: on a pipe, and on a terminal where progress is shown.
TEST(InterruptedRunTest, TheExtractorSaysHowFarItCame) {
    for (const bool terminal : {false, true}) {
        const TemporaryFolder folder;
        ProgramOnPipe run(folder, {"bbp", "-offset:10t", "-threads:2"}, terminal);
        ASSERT_TRUE(run.wait_for(terminal ? "Summing...  " : "Frac( ")) << run.text();
        run.interrupt(SIGINT);
        EXPECT_EQ(run.end(), 128 + SIGINT) << run.text();
        EXPECT_EQ(count(run.text(), "Interrupted. 0.00 % of the terms were summed."), 1) << run.text();
    }
}

// The stress tester, in the middle of a test of a day: with its closing lines.
TEST(InterruptedRunTest, TheStressTesterEndsAsItAlwaysDoes) {
    for (const char* const tag : {"BBP", "C17"}) {
        const TemporaryFolder folder;
        ProgramOnPipe day(folder, {"stress", tag, "-pertest:86400", "-M:64M", "-cores:0"}, false);
        ASSERT_TRUE(day.wait_for(std::string("Running ") + tag)) << day.text();
        day.interrupt(SIGINT);
        EXPECT_EQ(day.end(), 128 + SIGINT) << day.text();
        const std::size_t passed = day.text().find("\nPassed\n  Test Time:  ");
        EXPECT_NE(passed, std::string::npos) << day.text();
        EXPECT_NE(day.text().find("\nTest Finished. Waiting for threads to terminate...\n", passed),
                  std::string::npos)
            << day.text();
    }
}

// The viewer, while it moves many digits: it says which files it leaves, and none looks finished and is not.
TEST(InterruptedRunTest, TheViewerSaysWhatItKept) {
    const TemporaryFolder folder;
    folder.write("a.txt", "3." + std::string(300000000, '1'));
    ProgramOnPipe run(folder, {"digitviewer", "a.txt", "extract", "-to", "b.txt"}, false);
    const std::string draft = folder / "b (incomplete).txt", file = folder / "b.txt";
    for (int i = 0; i < 10 * kPatience && !std::filesystem::exists(draft); i++) usleep(100000 / 50);
    ASSERT_TRUE(std::filesystem::exists(draft));
    run.interrupt(SIGINT);
    EXPECT_EQ(run.end(), 128 + SIGINT) << run.text();
    ASSERT_EQ(count(run.text(), "Interrupted. "), 1) << run.text();
    EXPECT_FALSE(std::filesystem::exists(file)) << run.text();
    // Nothing has come into the file yet, or some of it has; it may be the first moment.
    const std::string said = run.text().substr(run.text().find("Interrupted. "));
    const bool began = said.find(" % of the digits were moved") != std::string::npos;
    EXPECT_TRUE(began || said.starts_with("Interrupted. Nothing was kept.")) << said;
    EXPECT_EQ(count(said, "Kept: b (incomplete).txt"), std::filesystem::exists(draft) ? 1 : 0) << said;
}

TEST(InterruptedRunTest, TheViewerRunsToItsEnd) {
    const TemporaryFolder folder;
    folder.write("a.txt", "3.14159265358979");
    ProgramOnPipe run(folder, {"digitviewer", "a.txt", "extract", "-to", "b.txt", "-digits:5"}, false);
    EXPECT_EQ(run.end(), 0) << run.text();
    EXPECT_EQ(folder.read("b.txt"), "3.14159");
    EXPECT_EQ(count(run.text(), "Written: b.txt"), 1) << run.text();
}

}  // namespace
