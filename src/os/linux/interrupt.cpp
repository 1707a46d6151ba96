#include "os/interrupt.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <string_view>
#include <thread>
#include <utility>

#include "os/console.h"
#include "os/linux/text_color.h"

namespace trel::os {
namespace {

constexpr int kInterrupts[] = {SIGINT, SIGTERM, SIGHUP};

// What a signal handler may look at: there is one set of signals a process.
std::atomic<int> last_signal{0};
std::atomic<bool> interrupted{false};
std::atomic<int> wake_up{-1};  // the pipe's writing end

void take_default(int signal) noexcept {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigaction(signal, &action, nullptr);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    kill(getpid(), signal);
}

void on_signal(int signal) {
    const int saved_errno = errno;
    last_signal = signal;
    // The second one does not wait for anybody.
    if (interrupted.exchange(true)) {
        leave_terminal(true);
        take_default(signal);
    } else {
        const char byte = 1;
        [[maybe_unused]] const ssize_t written = write(wake_up, &byte, 1);
    }
    errno = saved_errno;
}

// Another thread may hold the stream because it is stuck writing output that is not read.
void flush_unless_held(std::FILE* stream) {
    if (ftrylockfile(stream) != 0) return;
    std::fflush(stream);
    funlockfile(stream);
}

}  // namespace

struct InterruptWatch::State {
    std::function<void()> first, overdue;
    int grace;
    int ends[2] = {-1, -1};
    int outer = -1;  // what wake_up was before
    bool taken[std::size(kInterrupts)] = {};
    struct sigaction before[std::size(kInterrupts)] = {};
    std::thread thread;

    // False when the time is over, or at once when the watch ends (the pipe's other end is closed).
    enum class Event { interrupt, timeout, end };
    Event wait(int milliseconds) const {
        pollfd descriptor{ends[0], POLLIN, 0};
        int n;
        do {
            n = ::poll(&descriptor, 1, milliseconds);
        } while (n < 0 && errno == EINTR);
        if (n == 0) return Event::timeout;
        char byte = 0;
        return read(ends[0], &byte, 1) == 1 && byte == 1 ? Event::interrupt : Event::end;
    }

    void run() const {
        if (wait(-1) != Event::interrupt) return;
        first();
        // A second interrupt ends the process in its handler.
        if (wait(grace) == Event::timeout) overdue();
    }
};

InterruptWatch::InterruptWatch(std::function<void()> first, std::function<void()> overdue,
                               u32 grace_milliseconds)
    : state_(std::make_unique<State>()) {
    State& state = *state_;
    state.first = std::move(first);
    state.overdue = std::move(overdue);
    state.grace = static_cast<int>(grace_milliseconds);
    // Without a pipe or a thread interrupts end the process as they do anyway.
    if (pipe2(state.ends, O_CLOEXEC) != 0) return;
    // The thread leaves signals to the others, which it would not be able to report while it waits for a
    // lock.
    sigset_t all, mask;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &mask);
    try {
        state.thread = std::thread([&state] { state.run(); });
    } catch (const std::exception&) {
    }
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    if (!state.thread.joinable()) return;
    interrupted = false;
    last_signal = 0;
    state.outer = wake_up.exchange(state.ends[1]);
    for (std::size_t i = 0; i < std::size(kInterrupts); i++) {
        sigaction(kInterrupts[i], nullptr, &state.before[i]);
        if (state.before[i].sa_handler == SIG_IGN) continue;
        struct sigaction action {};
        action.sa_handler = on_signal;
        action.sa_flags = SA_RESTART;
        sigfillset(&action.sa_mask);
        state.taken[i] = sigaction(kInterrupts[i], &action, nullptr) == 0;
    }
}

InterruptWatch::~InterruptWatch() {
    State& state = *state_;
    for (std::size_t i = 0; i < std::size(kInterrupts); i++) {
        if (state.taken[i]) sigaction(kInterrupts[i], &state.before[i], nullptr);
    }
    if (state.thread.joinable()) {
        wake_up = state.outer;
        const char byte = 0;
        [[maybe_unused]] const ssize_t written = write(state.ends[1], &byte, 1);
        state.thread.join();
    }
    for (const int end : state.ends) {
        if (end >= 0) close(end);
    }
}

void leave_terminal(bool erase) {
    if (isatty(STDOUT_FILENO) != 1) return;
    pollfd writable{STDOUT_FILENO, POLLOUT, 0};
    if (poll(&writable, 1, 0) <= 0) return;
    static_assert(color_escape('w') == "\x1b[0m");
    const std::string_view text = !stdout_shows_colors() ? "\n" : erase ? "\r\x1b[K\x1b[0m\n" : "\x1b[0m\n";
    [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
}

void end_as_interrupted() {
    flush_unless_held(stdout);
    flush_unless_held(stderr);
    const int signal = last_signal != 0 ? last_signal.load() : SIGINT;
    take_default(signal);
    // Another thread may be the one that the signal is delivered to; ignored signals cannot end a process.
    for (int i = 0; i < 100; i++) usleep(10000);
    _exit(128 + signal);
}

}  // namespace trel::os
