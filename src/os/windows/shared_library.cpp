#include "os/shared_library.h"

#include <windows.h>

#include <algorithm>
#include <string>

#include "os/windows/utf8.h"

namespace trel::os {
namespace {

// From the root of a drive or of a share.
bool is_full(const std::wstring& path) {
    return path.starts_with(L'\\') || (path.size() > 2 && path[1] == L':' && path[2] == L'\\');
}

std::wstring with_drive(const std::wstring& path) {
    std::wstring full(32768, L'\0');
    const DWORD length =
        GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    full.resize(length < full.size() ? length : 0);
    return full;
}

}  // namespace

void* open_shared_library(const char* name) {
    std::wstring path = to_utf16(name);
    std::replace(path.begin(), path.end(), L'/', L'\\');
    DWORD where = LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;
    if (path.find(L'\\') != std::wstring::npos) {
        if (!is_full(path)) return nullptr;
        path = with_drive(path);
        where |= LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR;
    }
    return reinterpret_cast<void*>(LoadLibraryExW(path.c_str(), nullptr, where));
}

void* find_symbol(void* library, const char* symbol) {
    return reinterpret_cast<void*>(GetProcAddress(reinterpret_cast<HMODULE>(library), symbol));
}

}  // namespace trel::os
