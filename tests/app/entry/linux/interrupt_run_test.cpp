// The program is interrupted in the middle of runs: after each line that it prints, at the earliest moment,
// in the middle of its output. Whatever it is doing then, it ends by the signal, says once what it kept, and
// leaves no file that looks finished and is not.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "support/run_program.h"

namespace {

using kalvor_test::TemporaryFolder;

constexpr const char* kDraft = "out/Pi - Dec - Chudnovsky (incomplete).txt";
constexpr const char* kFile = "out/Pi - Dec - Chudnovsky.txt";
constexpr int kPatience = 300;  // seconds; a run that ignores interrupts takes longer

// The program with its standard output on a pipe, or on a terminal.
class ProgramOnPipe {
  public:
    ProgramOnPipe(const TemporaryFolder& folder, std::vector<std::string> words, bool terminal,
                  int ignored = 0) {
        int ends[2] = {-1, -1};
        if (terminal) {
            ends[0] = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
            grantpt(ends[0]);
            unlockpt(ends[0]);
            ends[1] = open(ptsname(ends[0]), O_RDWR | O_NOCTTY | O_CLOEXEC);
        } else if (pipe2(ends, O_CLOEXEC) != 0) {
            return;
        }
        words.insert(words.begin(), {kalvor_test::kalvor_path(), "skip-warnings", "pause:-2"});
        std::vector<char*> arguments;
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        child_ = fork();
        if (child_ == 0) {
            for (const int number : {SIGINT, SIGTERM, SIGHUP})
                signal(number, number == ignored ? SIG_IGN : SIG_DFL);
            dup2(open("/dev/null", O_RDONLY), 0);
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
        close(out_);
        close(inner_);
    }

    void interrupt(int number) const { kill(child_, number); }
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
    bool ended_ = false;
    std::string text_;
};

// Many seconds are left after the start.
const std::vector<std::string> kLongRun = {"custom", "pi", "-dec:50m", "-o", "out"};
const std::vector<std::string> kShortRun = {"custom", "pi", "-dec:5m", "-o", "out"};

int count(const std::string& text, const std::string& what) {
    int n = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) n++;
    return n;
}

// What is left must be what was said.
void expect_said(const TemporaryFolder& folder, const std::string& text) {
    EXPECT_EQ(count(text, "Interrupted. "), 1) << text;
    EXPECT_EQ(text.find("xception"), std::string::npos) << text;
    std::string line = text.substr(text.find("Interrupted. "));
    line = line.substr(0, line.find_first_of("\r\n"));
    const bool draft = std::filesystem::exists(folder / kDraft);
    const bool file = std::filesystem::exists(folder / kFile);
    EXPECT_EQ(line, draft  ? std::string("Interrupted. Kept: ") + kDraft
                    : file ? std::string("Interrupted. Kept: ") + kFile
                           : "Interrupted. Nothing was kept.");
    if (file) {
        EXPECT_EQ(std::filesystem::file_size(folder / kFile), 5000002U);
    }
}

// What the program has printed by then.
class InterruptedRun : public testing::TestWithParam<std::pair<const char*, int>> {};

TEST_P(InterruptedRun, EarlyOnEndsByTheSignal) {
    const auto& [moment, number] = GetParam();
    const TemporaryFolder folder;
    ProgramOnPipe run(folder, kLongRun, true);
    ASSERT_TRUE(run.wait_for(moment)) << run.text();
    run.interrupt(number);
    EXPECT_EQ(run.end(), 128 + number) << run.text();
    expect_said(folder, run.text());
    EXPECT_FALSE(std::filesystem::exists(folder / kFile));
}

INSTANTIATE_TEST_SUITE_P(Moments, InterruptedRun,
                         testing::Values(std::make_pair("Multi-Threading:", SIGINT),
                                         std::make_pair("Start Time:", SIGTERM),
                                         std::make_pair("Working Memory: ", SIGHUP),
                                         std::make_pair("Twiddle Tables: ", SIGINT),
                                         std::make_pair("Begin Computation:", SIGTERM)));

class InterruptedLate : public InterruptedRun {};

// The program may be faster than the signal; it has then done its work.
TEST_P(InterruptedLate, EndsByTheSignalOrIsComplete) {
    const auto& [moment, number] = GetParam();
    const TemporaryFolder folder;
    ProgramOnPipe run(folder, kShortRun, true);
    ASSERT_TRUE(run.wait_for(moment)) << run.text();
    run.interrupt(number);
    const int code = run.end();
    if (count(run.text(), "Verified: ") == 1 && count(run.text(), "Interrupted. ") == 0) {
        EXPECT_TRUE(code == 0 || code == 128 + number) << run.text();
        EXPECT_EQ(std::filesystem::file_size(folder / kFile), 5000002U);
    } else {
        EXPECT_EQ(code, 128 + number) << run.text();
        expect_said(folder, run.text());
    }
}

INSTANTIATE_TEST_SUITE_P(Moments, InterruptedLate,
                         testing::Values(std::make_pair("Large Division", SIGINT),
                                         std::make_pair("InvSqrt", SIGHUP),
                                         std::make_pair("Base Converting:", SIGINT),
                                         std::make_pair("Verifying Base Conversion:", SIGTERM),
                                         std::make_pair("Writing Decimal Digits:", SIGINT),
                                         std::make_pair("Verifying Decimal Output:", SIGTERM)));

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

}  // namespace
