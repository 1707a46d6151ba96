#include "os/windows/module_path.h"

namespace trel::os {

std::optional<std::wstring> module_path(DWORD(WINAPI* ask)(HMODULE, wchar_t*, DWORD)) {
    std::wstring buffer(520, L'\0');
    while (true) {
        const DWORD length = ask(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
        if (length == 0) return std::nullopt;
        if (length < buffer.size()) {
            buffer.resize(length);
            return buffer;
        }
        // A path that was cut off fills the buffer.
        buffer.resize(2 * buffer.size());
    }
}

std::wstring without_long_prefix(std::wstring path) {
    if (path.starts_with(L"\\\\?\\UNC\\")) return L"\\" + path.substr(7);
    if (path.starts_with(L"\\\\?\\")) return path.substr(4);
    return path;
}

}  // namespace trel::os
