// The path of the running program's file.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

namespace trel::os {

// As the system tells it; empty optional when it does not. `ask` stands in for the system's call in tests.
std::optional<std::wstring> module_path(DWORD(WINAPI* ask)(HMODULE, wchar_t*, DWORD) = GetModuleFileNameW);

// Without the prefix of paths that may be long ("\\?\C:\x", "\\?\UNC\server\x"), which lets no other separator
// than "\" follow.
std::wstring without_long_prefix(std::wstring path);

}  // namespace trel::os
