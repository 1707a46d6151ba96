#include "os/process.h"

#include <windows.h>
// After windows.h.
#include <shellapi.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "os/windows/module_path.h"
#include "os/windows/utf8.h"

namespace trel::os {

// What main() gets has gone through the system's code page.
std::vector<std::string> command_line(int argc, char** argv) {
    int n = 0;
    wchar_t** words = CommandLineToArgvW(GetCommandLineW(), &n);
    if (!words) return {argv, argv + argc};
    std::vector<std::string> result;
    for (int i = 0; i < n; i++) result.push_back(to_utf8(words[i]));
    LocalFree(words);
    return result;
}

std::optional<std::string> executable_path() {
    const std::optional<std::wstring> wide = module_path();
    if (!wide) return std::nullopt;
    std::string path = to_utf8(without_long_prefix(*wide));
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

i32 system_priority_of_level(i32 level) {
    if (level <= -2) return IDLE_PRIORITY_CLASS;
    switch (level) {
        case -1:
            return BELOW_NORMAL_PRIORITY_CLASS;
        case 0:
            return NORMAL_PRIORITY_CLASS;
        case 1:
            return ABOVE_NORMAL_PRIORITY_CLASS;
        case 2:
            return HIGH_PRIORITY_CLASS;
        default:
            return REALTIME_PRIORITY_CLASS;
    }
}

void set_process_priority(i32 level) {
    SetPriorityClass(GetCurrentProcess(), static_cast<DWORD>(system_priority_of_level(level)));
}

void exit_process(int code) {
    std::fflush(stdout);
    std::fflush(stderr);
    // Not even the libraries are told: a thread that ends here may hold a lock that they would wait for.
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
    std::abort();
}

}  // namespace trel::os
