#include "os/windows/wide_path.h"

#include <string_view>

namespace trel::os {
namespace {

// Folders must leave room for a short file name below them, so that long paths begin before 260.
constexpr std::size_t kShortPath = 240;

// Strict: a replacement character would name another file.
bool convert(std::string_view text, std::wstring& wide) {
    wide.clear();
    if (text.empty()) return true;
    const int bytes = static_cast<int>(text.size());
    const int units = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), bytes, nullptr, 0);
    if (units <= 0) return false;
    wide.resize(static_cast<std::size_t>(units));
    return MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), bytes, wide.data(), units) ==
           units;
}

}  // namespace

bool wide_path(const char* path, std::wstring& wide, DWORD& error) {
    if (!convert(path, wide)) {
        error = GetLastError();
        return false;
    }
    if (wide.size() < kShortPath || wide.starts_with(L"\\\\?\\")) return true;
    const DWORD needed = GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr);
    std::wstring full(needed, L'\0');
    const DWORD got = needed == 0 ? 0 : GetFullPathNameW(wide.c_str(), needed, full.data(), nullptr);
    if (got == 0 || got >= needed) {
        error = GetLastError();
        return false;
    }
    full.resize(got);
    wide = full.starts_with(L"\\\\") ? L"\\\\?\\UNC" + full.substr(1) : L"\\\\?\\" + full;
    return true;
}

}  // namespace trel::os
