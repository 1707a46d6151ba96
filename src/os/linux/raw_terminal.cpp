#include "os/linux/raw_terminal.h"

#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <iterator>

namespace trel::os {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGCONT};

// What the signal handler puts back. Written before the handlers are installed.
struct State {
    termios before;
    termios raw;
    struct sigaction actions[std::size(kSignals)];
    std::atomic<int> users{0};
};
State state;

bool is_ignored(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_IGN;
}

void on_signal(int signal);

void install(int signal) {
    struct sigaction action {};
    action.sa_handler = on_signal;
    sigfillset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

void on_signal(int signal) {
    const int saved_errno = errno;
    if (signal == SIGCONT) {
        // Back from a stop.
        tcsetattr(STDIN_FILENO, TCSANOW, &state.raw);
        install(SIGTSTP);
        errno = saved_errno;
        return;
    }
    tcsetattr(STDIN_FILENO, TCSANOW, &state.before);
    // What the signal does otherwise comes when this handler has returned.
    for (size_t i = 0; i < std::size(kSignals); i++) {
        if (kSignals[i] == signal) sigaction(signal, &state.actions[i], nullptr);
    }
    raise(signal);
    errno = saved_errno;
}

}  // namespace

RawTerminal::RawTerminal() {
    if (state.users.fetch_add(1) == 0) {
        if (tcgetattr(STDIN_FILENO, &state.before) != 0) {
            state.users.fetch_sub(1);
            return;
        }
        state.raw = state.before;
        state.raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        state.raw.c_cc[VMIN] = 1;
        state.raw.c_cc[VTIME] = 0;
        for (size_t i = 0; i < std::size(kSignals); i++) {
            sigaction(kSignals[i], nullptr, &state.actions[i]);
            if (!is_ignored(state.actions[i])) install(kSignals[i]);
        }
    }
    raw_ = true;
    tcsetattr(STDIN_FILENO, TCSANOW, &state.raw);
}

RawTerminal::~RawTerminal() {
    if (!raw_) return;
    tcsetattr(STDIN_FILENO, TCSANOW, &state.before);
    if (state.users.fetch_sub(1) != 1) return;
    for (size_t i = 0; i < std::size(kSignals); i++) sigaction(kSignals[i], &state.actions[i], nullptr);
}

}  // namespace trel::os
