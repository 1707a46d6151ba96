#include "os/interrupt.h"

#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <utility>

#include "os/console.h"
#include "os/windows/console_events.h"

namespace trel::os {
namespace {

constexpr UINT kInterruptedExitCode = 0xC000013A;

// What the system's own thread may look at when it delivers an event: one console a process.
std::atomic<bool> interrupted{false};
std::atomic<HANDLE> wake_up{nullptr};

}  // namespace

BOOL WINAPI on_console_event(DWORD event) {
    // The second one ends the process at once.
    if (interrupted.exchange(true)) {
        leave_terminal(true);
        TerminateProcess(GetCurrentProcess(), kInterruptedExitCode);
    }
    SetEvent(wake_up);
    // After a closed window, a log-off or a shutdown the system ends the process when this returns. So it
    // does not return: the watch's thread ends the run and the process.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(INFINITE);
    return TRUE;
}

struct InterruptWatch::State {
    std::function<void()> first, overdue;
    DWORD grace;
    HANDLE interrupt = nullptr;
    HANDLE end = nullptr;
    HANDLE outer = nullptr;  // what wake_up was before
    std::thread thread;

    void run() const {
        const HANDLE events[2] = {end, interrupt};
        if (WaitForMultipleObjects(2, events, FALSE, INFINITE) != WAIT_OBJECT_0 + 1) return;
        first();
        // A second interrupt ends the process by itself.
        if (WaitForSingleObject(end, grace) == WAIT_TIMEOUT) overdue();
    }
};

InterruptWatch::InterruptWatch(std::function<void()> first, std::function<void()> overdue,
                               u32 grace_milliseconds)
    : state_(std::make_unique<State>()) {
    State& state = *state_;
    state.first = std::move(first);
    state.overdue = std::move(overdue);
    state.grace = grace_milliseconds;
    state.interrupt = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    state.end = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    // Without events or a thread interrupts end the process as they do anyway.
    if (!state.interrupt || !state.end) return;
    try {
        state.thread = std::thread([&state] { state.run(); });
    } catch (const std::exception&) {
        return;
    }
    interrupted = false;
    state.outer = wake_up.exchange(state.interrupt);
    SetConsoleCtrlHandler(on_console_event, TRUE);
}

InterruptWatch::~InterruptWatch() {
    State& state = *state_;
    if (state.thread.joinable()) {
        SetConsoleCtrlHandler(on_console_event, FALSE);
        wake_up = state.outer;
        SetEvent(state.end);
        state.thread.join();
    }
    if (state.interrupt) CloseHandle(state.interrupt);
    if (state.end) CloseHandle(state.end);
}

void leave_terminal(bool erase) {
    // Console calls: nothing of the C library, whose locks another thread may hold.
    if (!stdout_is_terminal()) return;
    if (erase) erase_terminal_line(0);
    set_stdout_color('w');
    write_stdout("\n");
}

void end_as_interrupted() {
    std::fflush(stdout);
    std::fflush(stderr);
    TerminateProcess(GetCurrentProcess(), kInterruptedExitCode);
    std::abort();
}

}  // namespace trel::os
