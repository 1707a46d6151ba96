// Each case is a piece of this program, run as a process of its own, that sends itself the signals.
#include "os/interrupt.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "support/child.h"
#include "support/interrupt_child.h"
#include "support/run_program.h"

using namespace trel;
using kalvor_test::kNever;
using kalvor_test::say;
using kalvor_test::StoppedWork;
using kalvor_test::wait_until;

namespace {

void stop_cooperatively(int signal) {
    {
        const StoppedWork work;
        kill(getpid(), signal);
        work.wait();
    }
    say("stopped");
    os::end_as_interrupted();
}

const kalvor_test::Child keyboard("keyboard", [] { stop_cooperatively(SIGINT); });
const kalvor_test::Child terminate("terminate", [] { stop_cooperatively(SIGTERM); });
const kalvor_test::Child hang_up("hang up", [] { stop_cooperatively(SIGHUP); });

const kalvor_test::Child overdue("overdue", [] {
    os::InterruptWatch watch([] { say("first"); },
                             [] {
                                 say("overdue");
                                 os::end_as_interrupted();
                             },
                             1);
    kill(getpid(), SIGTERM);
    std::this_thread::sleep_for(std::chrono::minutes(10));
});

// The watch's thread is busy for ever: the second signal does not wait for it.
const kalvor_test::Child twice("twice", [] {
    std::atomic<bool> called{false};
    os::InterruptWatch watch(
        [&] {
            say("first");
            called = true;
            std::this_thread::sleep_for(std::chrono::minutes(10));
        },
        [] {}, kNever);
    kill(getpid(), SIGINT);
    wait_until(called);
    kill(getpid(), SIGTERM);
    std::this_thread::sleep_for(std::chrono::minutes(10));
});

// In the middle of a progress line, which only a terminal has.
const kalvor_test::Child twice_in_a_line("twice in a line", [] {
    std::atomic<bool> called{false};
    os::InterruptWatch watch(
        [&] {
            std::printf("progress");
            std::fflush(stdout);
            called = true;
            std::this_thread::sleep_for(std::chrono::minutes(10));
        },
        [] {}, kNever);
    kill(getpid(), SIGINT);
    wait_until(called);
    kill(getpid(), SIGINT);
    std::this_thread::sleep_for(std::chrono::minutes(10));
});

const kalvor_test::Child ignored("ignored", [] {
    signal(SIGHUP, SIG_IGN);
    signal(SIGINT, SIG_IGN);
    {
        os::InterruptWatch watch([] { say("first"); }, [] { say("overdue"); }, 1);
        kill(getpid(), SIGHUP);
        kill(getpid(), SIGINT);
    }
    kill(getpid(), SIGHUP);
    say("alive");
});

const kalvor_test::Child given_back("given back", [] {
    {
        os::InterruptWatch watch([] { say("first"); }, [] { say("overdue"); }, kNever);
    }
    kill(getpid(), SIGINT);
    say("alive");
});

const kalvor_test::Child again("again", [] {
    for (int i = 0; i < 2; i++) {
        std::atomic<bool> called{false};
        os::InterruptWatch watch([&] { called = true; }, [] { say("overdue"); }, kNever);
        kill(getpid(), SIGINT);
        wait_until(called);
        say("first");
    }
});

// The inner watch has the interrupts while it exists, the outer one before and after it.
const kalvor_test::Child nested("nested", [] {
    std::atomic<int> called{0};
    os::InterruptWatch outer(
        [&] {
            say("outer");
            called = 1;
        },
        [] {}, kNever);
    {
        std::atomic<bool> inside{false};
        os::InterruptWatch inner(
            [&] {
                say("inner");
                inside = true;
            },
            [] {}, kNever);
        kill(getpid(), SIGINT);
        wait_until(inside);
    }
    {
        os::InterruptWatch unused([] { say("unused"); }, [] {}, kNever);
    }
    kill(getpid(), SIGINT);
    while (called == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
});

kalvor_test::ProgramRun run(const char* piece) {
    return kalvor_test::run_this_test({"--child", piece});
}

}  // namespace

TEST(InterruptWatchTest, AFirstSignalIsHandedOverAndTheProcessEndsByIt) {
    const std::pair<const char*, int> cases[] = {
        {"keyboard", SIGINT}, {"terminate", SIGTERM}, {"hang up", SIGHUP}};
    for (const auto& [piece, signal] : cases) {
        const kalvor_test::ProgramRun result = run(piece);
        EXPECT_EQ(result.out, "first\nstopped\n") << piece;
        EXPECT_EQ(result.exit_code, 128 + signal) << piece;
    }
}

TEST(InterruptWatchTest, WorkThatDoesNotStopInTimeIsOverdue) {
    const kalvor_test::ProgramRun result = run("overdue");
    EXPECT_EQ(result.out, "first\noverdue\n");
    EXPECT_EQ(result.exit_code, 128 + SIGTERM);
}

TEST(InterruptWatchTest, ASecondSignalEndsTheProcessAtOnce) {
    const kalvor_test::ProgramRun result = run("twice");
    EXPECT_EQ(result.out, "first\n");
    EXPECT_EQ(result.exit_code, 128 + SIGTERM);
}

// The progress line is erased, the colour is the usual one, and the next line begins at its left. Where the
// terminal knows no such codes, the line just ends; a pipe gets nothing.
TEST(InterruptWatchTest, ASecondSignalLeavesTheTerminalAsItWas) {
    for (const auto& [kind, end] : {std::pair("xterm", "\r\x1b[K\x1b[0m\r\n"), std::pair("dumb", "\r\n")}) {
        kalvor_test::RunOptions options;
        options.terminal = true;
        options.environment = {std::string("TERM=") + kind};
        const kalvor_test::ProgramRun result =
            kalvor_test::run_this_test({"--child", "twice in a line"}, options);
        EXPECT_EQ(result.out, std::string("progress") + end) << kind;
        EXPECT_EQ(result.exit_code, 128 + SIGINT) << kind;
    }
    EXPECT_EQ(run("twice in a line").out, "progress");
}

TEST(InterruptWatchTest, WhatWasIgnoredAtTheStartStaysIgnored) {
    const kalvor_test::ProgramRun result = run("ignored");
    EXPECT_EQ(result.out, "alive\n");
    EXPECT_EQ(result.exit_code, 0);
}

TEST(InterruptWatchTest, AfterwardsSignalsEndTheProcessAsBefore) {
    const kalvor_test::ProgramRun result = run("given back");
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.exit_code, 128 + SIGINT);
}

TEST(InterruptWatchTest, TheNextWatchBeginsAnew) {
    const kalvor_test::ProgramRun result = run("again");
    EXPECT_EQ(result.out, "first\nfirst\n");
    EXPECT_EQ(result.exit_code, 0);
}

TEST(InterruptWatchTest, WatchesNest) {
    const kalvor_test::ProgramRun result = run("nested");
    EXPECT_EQ(result.out, "inner\nouter\n");
    EXPECT_EQ(result.exit_code, 0);
}
