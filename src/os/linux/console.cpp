#include "os/console.h"

#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "os/linux/errno_error.h"
#include "os/linux/raw_terminal.h"
#include "os/linux/text_color.h"

namespace trel::os {

namespace {

std::atomic<int> first_failure{0};

void note_failure() {
    int none = 0;
    first_failure.compare_exchange_strong(none, errno != 0 ? errno : EIO);
}

// One byte of the terminal; nothing when none comes within the time. Below 0: waits as long as it takes.
std::optional<u8> next_byte(int milliseconds) {
    pollfd readable{STDIN_FILENO, POLLIN, 0};
    if (milliseconds >= 0 && poll(&readable, 1, milliseconds) <= 0) return std::nullopt;
    u8 byte;
    ssize_t got;
    do {
        got = read(STDIN_FILENO, &byte, 1);
    } while (got < 0 && errno == EINTR);
    if (got <= 0) return std::nullopt;
    return byte;
}

// The bytes of one key arrive together; a terminal far away may take a moment between them.
constexpr int kSameKeyMs = 50;

void skip_bytes(int n) {
    while (n-- > 0 && next_byte(kSameKeyMs)) {
    }
}

// The rest of a key whose first byte was read: a character of several bytes, or an escape sequence.
void skip_rest_of_key(u8 first) {
    if (first >= 0xc0) skip_bytes(first >= 0xf0 ? 3 : first >= 0xe0 ? 2 : 1);
    if (first != 0x1b) return;
    const std::optional<u8> kind = next_byte(kSameKeyMs);
    if (!kind) return;  // the Esc key
    if (*kind == 'O') {
        skip_bytes(1);
    } else if (*kind == '[') {
        // Parameters, then a byte from "@" on. The Linux console sends "[[A" for F1.
        std::optional<u8> byte = next_byte(kSameKeyMs);
        if (byte == u8('[')) byte = next_byte(kSameKeyMs);
        while (byte && (*byte < 0x40 || *byte > 0x7e)) byte = next_byte(kSameKeyMs);
    } else {
        skip_rest_of_key(*kind);  // with Alt
    }
}

}  // namespace

bool stdout_is_terminal() {
    return isatty(STDOUT_FILENO) == 1;
}

bool stdin_is_terminal() {
    return isatty(STDIN_FILENO) == 1;
}

bool stdout_shows_colors() {
    if (!stdout_is_terminal()) return false;
    const char* const kind = std::getenv("TERM");
    return kind != nullptr && *kind != '\0' && std::string_view(kind) != "dumb";
}

void write_stdout(std::string_view text) {
    static const bool terminal = stdout_is_terminal();
    if (first_failure.load(std::memory_order_relaxed) == EPIPE) return;
    errno = 0;
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) note_failure();
    if (terminal || text.find('\n') != std::string_view::npos) flush_stdout();
}

void flush_stdout() {
    errno = 0;
    if (std::fflush(stdout) != 0) note_failure();
}

OsError stdout_failure() {
    const int failure = first_failure.load();
    if (failure == EPIPE) return {static_cast<u32>(failure), ErrorCategory::disconnected};
    return error_of(failure, Direction::writing);
}

void set_stdout_color(char letter) {
    const std::string_view escape = color_escape(letter);
    std::fwrite(escape.data(), 1, escape.size(), stdout);
}

bool wait_for_key() {
    if (!stdin_is_terminal() || !stdout_is_terminal()) return false;
    // A background process that touches the terminal settings would be stopped; it does not wait for keys.
    if (tcgetpgrp(STDIN_FILENO) != getpgrp()) return false;
    const RawTerminal terminal;
    if (!terminal.is_raw()) return false;
    const std::optional<u8> first = next_byte(-1);
    if (first) skip_rest_of_key(*first);
    return first.has_value();
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
    // No cursor query is sent to the terminal: its answer would mix with typed-ahead input.
    return true;
}

void set_window_size(u32 columns, u32 rows) {
    if (!stdout_shows_colors()) return;
    write_stdout("\x1b[8;" + std::to_string(rows) + ";" + std::to_string(columns) + "t");
}

}  // namespace trel::os
