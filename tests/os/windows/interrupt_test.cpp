// Pieces of this program on a console window of their own, which interrupt themselves.
#include "os/interrupt.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "os/windows/console_events.h"
#include "support/child.h"
#include "support/interrupt_child.h"
#include "support/windows/console_window.h"

using namespace trel;
using kalvor_test::kNever;
using kalvor_test::say;
using kalvor_test::StoppedWork;
using kalvor_test::wait_until;

namespace {

constexpr int kInterrupted = static_cast<int>(0xC000013A);

// Ctrl-C only: Wine delivers Ctrl-Break to nobody.
const kalvor_test::Child control_c("control c", [] {
    {
        const StoppedWork work;
        GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
        work.wait();
    }
    say("stopped");
    os::end_as_interrupted();
});

const kalvor_test::Child overdue("overdue", [] {
    os::InterruptWatch watch([] { say("first"); },
                             [] {
                                 say("overdue");
                                 os::end_as_interrupted();
                             },
                             1);
    GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
    Sleep(kNever);
});

const kalvor_test::Child twice("twice", [] {
    std::atomic<bool> called{false};
    os::InterruptWatch watch(
        [&] {
            say("first");
            called = true;
            Sleep(kNever);
        },
        [] {}, kNever);
    GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
    wait_until(called);
    GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
    Sleep(kNever);
});

// As a process is that "start /b" or a service began.
const kalvor_test::Child ignored("ignored", [] {
    SetConsoleCtrlHandler(nullptr, TRUE);
    os::InterruptWatch watch([] { say("first"); }, [] {}, kNever);
    GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
    // An ignored event leaves no trace to wait for, only time; a watch that got it would say so at once.
    Sleep(300);
    say("alive");
    std::_Exit(0);
});

// Only the system can send these events, so the handler is called here as the system would.
void is_ended_by(DWORD event) {
    static std::atomic<bool> returned{false};
    {
        const StoppedWork work;
        std::thread([event] {
            os::on_console_event(event);
            returned = true;
        }).detach();
        work.wait();
        // A handler that waits leaves no trace, only time; one that returns would have done so at once.
        Sleep(300);
    }
    say(returned ? "returned" : "stopped");
    os::end_as_interrupted();
}
const kalvor_test::Child window_closes("window closes", [] { is_ended_by(CTRL_CLOSE_EVENT); });
const kalvor_test::Child user_logs_off("user logs off", [] { is_ended_by(CTRL_LOGOFF_EVENT); });
const kalvor_test::Child machine_stops("machine stops", [] { is_ended_by(CTRL_SHUTDOWN_EVENT); });

}  // namespace

TEST(InterruptWatchTest, AFirstInterruptIsHandedOverAndTheProcessEndsByIt) {
    const kalvor_test::ConsoleRun run = kalvor_test::run_on_console("control c");
    EXPECT_EQ(run.screen, "first\nstopped");
    EXPECT_EQ(run.exit_code, kInterrupted);
}

TEST(InterruptWatchTest, AWindowThatClosesWaitsUntilTheWorkHasStopped) {
    for (const char* const child : {"window closes", "user logs off", "machine stops"}) {
        const kalvor_test::ConsoleRun run = kalvor_test::run_on_console(child);
        EXPECT_EQ(run.screen, "first\nstopped") << child;
        EXPECT_EQ(run.exit_code, kInterrupted) << child;
    }
}

TEST(InterruptWatchTest, WorkThatDoesNotStopInTimeIsOverdue) {
    const kalvor_test::ConsoleRun run = kalvor_test::run_on_console("overdue");
    EXPECT_EQ(run.screen, "first\noverdue");
    EXPECT_EQ(run.exit_code, kInterrupted);
}

TEST(InterruptWatchTest, ASecondInterruptEndsTheProcessAtOnce) {
    const kalvor_test::ConsoleRun run = kalvor_test::run_on_console("twice");
    EXPECT_EQ(run.screen, "first");
    EXPECT_EQ(run.exit_code, kInterrupted);
}

TEST(InterruptWatchTest, WhatWasIgnoredAtTheStartStaysIgnored) {
    const kalvor_test::ConsoleRun run = kalvor_test::run_on_console("ignored");
    EXPECT_EQ(run.screen, "alive");
    EXPECT_EQ(run.exit_code, 0);
}
