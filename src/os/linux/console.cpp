#include "os/console.h"

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "os/linux/text_color.h"

namespace trel::os {

bool stdout_is_terminal() {
    return isatty(STDOUT_FILENO) == 1;
}

void write_stdout(std::string_view text) {
    static const bool terminal = stdout_is_terminal();
    std::fwrite(text.data(), 1, text.size(), stdout);
    if (terminal || text.find('\n') != std::string_view::npos) std::fflush(stdout);
}

void flush_stdout() {
    std::fflush(stdout);
}

u32 terminal_columns() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return 0;
    return size.ws_col;
}

void erase_terminal_line(u64 width) {
    static const bool escapes = [] {
        const char* const kind = std::getenv("TERM");
        return kind != nullptr && *kind != '\0' && std::string_view(kind) != "dumb";
    }();
    if (escapes) return write_stdout("\r\x1b[K");
    const u64 columns = terminal_columns();
    if (columns != 0) width = std::min(width, columns - 1);
    write_stdout("\r" + std::string(width, ' ') + "\r");
}

void set_stdout_color(char letter) {
    const std::string_view escape = color_escape(letter);
    std::fwrite(escape.data(), 1, escape.size(), stdout);
}

bool wait_for_key() {
    termios saved;
    const bool terminal = tcgetattr(STDIN_FILENO, &saved) == 0;
    if (terminal) {
        // A background process that touches the terminal settings would be stopped; it does not wait for
        // keys.
        if (tcgetpgrp(STDIN_FILENO) != getpgrp()) return false;
        termios raw = saved;
        raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        raw.c_cc[VMIN] = 1;
        raw.c_cc[VTIME] = 0;
        tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    }
    char byte;
    ssize_t got;
    do {
        got = read(STDIN_FILENO, &byte, 1);
    } while (got < 0 && errno == EINTR);
    if (terminal) tcsetattr(STDIN_FILENO, TCSANOW, &saved);
    return got > 0;
}

bool read_line(std::string& line) {
    constexpr size_t kLongestLine = 65536;
    line.clear();
    bool any = false;
    // Byte by byte: what follows the line stays where the next reader, perhaps another program, finds it.
    for (;;) {
        char byte;
        ssize_t got;
        do {
            got = read(STDIN_FILENO, &byte, 1);
        } while (got < 0 && errno == EINTR);
        if (got <= 0) break;
        any = true;
        if (byte == '\n') break;
        if (line.size() < kLongestLine) line += byte;
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return any;
}

bool started_from_existing_console() {
    // No cursor query is sent to the terminal: its answer would mix with typed-ahead input. A terminal window
    // that was opened for this program alone makes it the leader of its session.
    return !stdout_is_terminal() || getsid(0) != getpid();
}

void set_window_size(u32 columns, u32 rows) {
    if (!stdout_is_terminal()) return;
    write_stdout("\x1b[8;" + std::to_string(rows) + ";" + std::to_string(columns) + "t");
}

}  // namespace trel::os
