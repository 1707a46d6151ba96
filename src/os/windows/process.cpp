#include "os/process.h"

#include <windows.h>
// After windows.h.
#include <io.h>
#include <shellapi.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "os/windows/module_path.h"
#include "os/windows/utf8.h"

namespace trel::os {

namespace {

bool is_usable(HANDLE handle) {
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) return false;
    SetLastError(NO_ERROR);
    return GetFileType(handle) != FILE_TYPE_UNKNOWN || GetLastError() == NO_ERROR;
}

void open_if_closed(DWORD which, std::FILE* stream, const char* mode) {
    if (is_usable(GetStdHandle(which))) return;
    if (std::freopen("NUL", mode, stream) == nullptr) return;
    SetStdHandle(which, reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream))));
}

}  // namespace

// There are no signals for a closed pipe or a file that is too large here.
void prepare_process() {
    open_if_closed(STD_INPUT_HANDLE, stdin, "rb");
    open_if_closed(STD_OUTPUT_HANDLE, stdout, "wb");
    open_if_closed(STD_ERROR_HANDLE, stderr, "wb");
    SetDllDirectoryW(L"");
}

// The program's file says how much its stacks take.
u64 stack_limit() {
    return 0;
}

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

// Nobody can replace a file that runs.
std::string executable_file() {
    return executable_path().value_or("");
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

namespace {

// Classes have no order of their own.
int rank(DWORD priority_class) {
    switch (priority_class) {
        case IDLE_PRIORITY_CLASS:
            return -2;
        case BELOW_NORMAL_PRIORITY_CLASS:
            return -1;
        case ABOVE_NORMAL_PRIORITY_CLASS:
            return 1;
        case HIGH_PRIORITY_CLASS:
            return 2;
        case REALTIME_PRIORITY_CLASS:
            return 3;
        default:
            return 0;
    }
}

}  // namespace

void set_process_priority(i32 level, bool only_lower) {
    if (only_lower && rank(GetPriorityClass(GetCurrentProcess())) <= level) return;
    SetPriorityClass(GetCurrentProcess(), static_cast<DWORD>(system_priority_of_level(level)));
}

void exit_process(int code) {
    std::fflush(stdout);
    std::fflush(stderr);
    // The libraries are not notified either: a thread that ends here may hold a lock that they would wait
    // for.
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
    std::abort();
}

bool is_debugger_present(const std::string&) {
    if (IsDebuggerPresent()) return true;
    BOOL remote = FALSE;
    return CheckRemoteDebuggerPresent(GetCurrentProcess(), &remote) && remote;
}

}  // namespace trel::os
