#include <windows.h>

#include <iterator>
#include <string>

#include "os/error.h"
#include "os/windows/utf8.h"

namespace trel::os {

std::string system_error_text(u32 code) {
    wchar_t buffer[1024];
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        code, 0, buffer, static_cast<DWORD>(std::size(buffer)), nullptr);
    std::string text = to_utf8({buffer, length});
    // The table's texts end in a full stop and a line end.
    while (!text.empty() &&
           (text.back() == '\n' || text.back() == '\r' || text.back() == '.' || text.back() == ' ')) {
        text.pop_back();
    }
    return text.empty() ? "Unknown error " + std::to_string(code) : text;
}

}  // namespace trel::os
