#include "os/console.h"

#include <windows.h>
// After windows.h.
#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <atomic>
#include <cstdio>

#include "os/windows/last_error.h"
#include "os/windows/text_attribute.h"
#include "os/windows/utf8.h"

namespace trel::os {
namespace {

HANDLE output() {
    return GetStdHandle(STD_OUTPUT_HANDLE);
}

HANDLE input() {
    return GetStdHandle(STD_INPUT_HANDLE);
}

bool is_console(HANDLE handle) {
    DWORD mode;
    return GetConsoleMode(handle, &mode) != 0;
}

// Whether the standard output is a console; prepares it at the first call, which may come before main(). Text
// that goes to a file or a pipe is the same byte for byte on every system: without this the C library would
// put a carriage return before each line feed. A console window does that by itself.
bool prepared_output_is_console() {
    static const bool console = [] {
        _setmode(_fileno(stdout), _O_BINARY);
        return is_console(output());
    }();
    return console;
}

std::atomic<DWORD> first_failure{ERROR_SUCCESS};

void note_failure() {
    DWORD none = ERROR_SUCCESS;
    const DWORD error = GetLastError();
    first_failure.compare_exchange_strong(none, error != ERROR_SUCCESS ? error : ERROR_WRITE_FAULT);
}

bool reader_has_left(DWORD failure) {
    return failure == ERROR_BROKEN_PIPE || failure == ERROR_NO_DATA;
}

bool is_modifier(WORD key) {
    switch (key) {
        case VK_SHIFT:
        case VK_CONTROL:
        case VK_MENU:
        case VK_CAPITAL:
        case VK_NUMLOCK:
        case VK_SCROLL:
        case VK_LWIN:
        case VK_RWIN:
            return true;
        default:
            return false;
    }
}

// Any key, also one without a character. Not by the C library, for which such a key is two characters, and
// which takes Ctrl+C for a key.
bool wait_for_console_key() {
    INPUT_RECORD event;
    DWORD n = 0;
    while (ReadConsoleInputW(input(), &event, 1, &n) && n == 1) {
        const KEY_EVENT_RECORD& key = event.Event.KeyEvent;
        if (event.EventType == KEY_EVENT && key.bKeyDown && !is_modifier(key.wVirtualKeyCode)) return true;
    }
    return false;
}

}  // namespace

bool stdout_is_terminal() {
    return prepared_output_is_console();
}

bool stdin_is_terminal() {
    return is_console(input());
}

bool stdout_shows_colors() {
    return prepared_output_is_console();
}

void write_stdout(std::string_view text) {
    if (!prepared_output_is_console()) {
        if (reader_has_left(first_failure.load(std::memory_order_relaxed))) return;
        SetLastError(ERROR_SUCCESS);
        if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) note_failure();
        if (text.find('\n') != std::string_view::npos) flush_stdout();
        return;
    }
    // UTF-16 reaches the window whatever its code page is. One call takes some ten thousand characters.
    const std::wstring wide = to_utf16(text);
    constexpr size_t kAtOnce = 8192;
    for (size_t at = 0; at < wide.size();) {
        DWORD written = 0;
        const size_t n = std::min(kAtOnce, wide.size() - at);
        if (!WriteConsoleW(output(), wide.data() + at, static_cast<DWORD>(n), &written, nullptr) ||
            written == 0) {
            note_failure();
            return;
        }
        at += written;
    }
}

void flush_stdout() {
    SetLastError(ERROR_SUCCESS);
    if (std::fflush(stdout) != 0) note_failure();
}

OsError stdout_failure() {
    const DWORD failure = first_failure.load();
    if (reader_has_left(failure)) return {static_cast<u32>(failure), ErrorCategory::disconnected};
    return error_of(failure);
}

u32 terminal_columns() {
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!GetConsoleScreenBufferInfo(output(), &info)) return 0;
    // What is visible; a buffer that is wider scrolls sideways.
    const int columns = info.srWindow.Right - info.srWindow.Left + 1;
    return columns > 0 ? static_cast<u32>(columns) : 0;
}

void erase_terminal_line(u64 width) {
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!GetConsoleScreenBufferInfo(output(), &info)) {
        write_stdout("\r" + std::string(width, ' ') + "\r");
        return;
    }
    const COORD start = {0, info.dwCursorPosition.Y};
    DWORD written = 0;
    FillConsoleOutputCharacterW(output(), L' ', static_cast<DWORD>(info.dwSize.X), start, &written);
    FillConsoleOutputAttribute(output(), info.wAttributes, static_cast<DWORD>(info.dwSize.X), start,
                               &written);
    SetConsoleCursorPosition(output(), start);
}

void set_stdout_color(char letter) {
    SetConsoleTextAttribute(output(), text_attribute(letter));
}

bool wait_for_key() {
    return stdin_is_terminal() && stdout_is_terminal() && wait_for_console_key();
}

bool read_line(std::string& line) {
    constexpr size_t kLongestLine = 65536;
    line.clear();
    bool any = false;
    if (is_console(input())) {
        std::wstring wide;
        wchar_t unit;
        DWORD got = 0;
        while (ReadConsoleW(input(), &unit, 1, &got, nullptr) && got == 1) {
            constexpr wchar_t kEndOfInput = 0x1A;  // Ctrl+Z
            if (!any && unit == kEndOfInput) {
                // Enter ends the typed line, so that a line end follows.
                while (unit != L'\n' && ReadConsoleW(input(), &unit, 1, &got, nullptr) && got == 1) {
                }
                return false;
            }
            any = true;
            if (unit == L'\n') break;
            if (wide.size() < kLongestLine) wide += unit;
        }
        line = to_utf8(wide);
        if (line.size() > kLongestLine) line.resize(kLongestLine);
    } else {
        // Byte by byte: what follows the line stays where the next reader, perhaps another program, finds it.
        char byte;
        DWORD got = 0;
        while (ReadFile(input(), &byte, 1, &got, nullptr) && got == 1) {
            any = true;
            if (byte == '\n') break;
            if (line.size() < kLongestLine) line += byte;
        }
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return any;
}

bool started_from_existing_console() {
    // A window that was opened for this program has its cursor in the first corner.
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!GetConsoleScreenBufferInfo(output(), &info)) return true;
    return info.dwCursorPosition.X != 0 || info.dwCursorPosition.Y != 0;
}

void set_window_size(u32 columns, u32 rows) {
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!GetConsoleScreenBufferInfo(output(), &info)) return;
    constexpr u32 kMost = 9999;
    const SHORT wide = static_cast<SHORT>(std::clamp<u32>(columns, 1, kMost));
    const SHORT high = static_cast<SHORT>(std::clamp<u32>(rows, 1, kMost));
    // The buffer must hold the window at every moment, and keeps its lines for scrolling back.
    const COORD before = info.dwSize;
    const COORD larger = {std::max(before.X, wide), std::max(before.Y, high)};
    const SMALL_RECT window = {0, 0, static_cast<SHORT>(wide - 1), static_cast<SHORT>(high - 1)};
    SetConsoleScreenBufferSize(output(), larger);
    SetConsoleWindowInfo(output(), TRUE, &window);
    SetConsoleScreenBufferSize(output(), {wide, larger.Y});
}

}  // namespace trel::os
