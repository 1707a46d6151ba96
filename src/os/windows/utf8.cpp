#include "os/windows/utf8.h"

#include <windows.h>

namespace trel::os {

std::wstring to_utf16(std::string_view text) {
    if (text.empty()) return {};
    const int n_bytes = static_cast<int>(text.size());
    const int n = MultiByteToWideChar(CP_UTF8, 0, text.data(), n_bytes, nullptr, 0);
    std::wstring out(static_cast<size_t>(n > 0 ? n : 0), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), n_bytes, out.data(), n);
    return out;
}

std::string to_utf8(std::wstring_view text) {
    if (text.empty()) return {};
    const int n_units = static_cast<int>(text.size());
    const int n = WideCharToMultiByte(CP_UTF8, 0, text.data(), n_units, nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<size_t>(n > 0 ? n : 0), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), n_units, out.data(), n, nullptr, nullptr);
    return out;
}

}  // namespace trel::os
