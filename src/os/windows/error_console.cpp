#include "os/error_console.h"

#include <windows.h>

#include <algorithm>
#include <string>

#include "os/windows/text_attribute.h"
#include "os/windows/utf8.h"

namespace trel::os {
namespace {

HANDLE error_output() {
    return GetStdHandle(STD_ERROR_HANDLE);
}

}  // namespace

bool stderr_is_terminal() {
    DWORD mode;
    return GetConsoleMode(error_output(), &mode) != 0;
}

void write_stderr(std::string_view text) {
    DWORD written = 0;
    if (!stderr_is_terminal()) {
        while (!text.empty()) {
            const DWORD n = static_cast<DWORD>(std::min<size_t>(text.size(), 1 << 20));
            if (!WriteFile(error_output(), text.data(), n, &written, nullptr) || written == 0) return;
            text.remove_prefix(written);
        }
        return;
    }
    // UTF-16 reaches the window whatever its code page is. One call takes some ten thousand characters.
    const std::wstring wide = to_utf16(text);
    constexpr size_t kAtOnce = 8192;
    for (size_t at = 0; at < wide.size(); at += written) {
        const DWORD n = static_cast<DWORD>(std::min(kAtOnce, wide.size() - at));
        if (!WriteConsoleW(error_output(), wide.data() + at, n, &written, nullptr) || written == 0) return;
    }
}

void set_stderr_color(char letter) {
    SetConsoleTextAttribute(error_output(), text_attribute(letter));
}

}  // namespace trel::os
