#include <windows.h>
// After windows.h.
#include <tlhelp32.h>

#include "support/crash.h"

namespace kalvor_test {
namespace {

// The program as a child of this process; 0: none.
DWORD child_process() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return 0;
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    DWORD found = 0;
    for (BOOL more = Process32FirstW(snapshot, &entry); more && found == 0;
         more = Process32NextW(snapshot, &entry)) {
        if (entry.th32ParentProcessID == GetCurrentProcessId() &&
            _wcsicmp(entry.szExeFile, L"kalvor.exe") == 0) {
            found = entry.th32ProcessID;
        }
    }
    CloseHandle(snapshot);
    return found;
}

}  // namespace

CrashCode crash_code(CrashCause cause) {
    const auto by = [](DWORD code) {
        return CrashCode{static_cast<trel::u32>(code), static_cast<int>(code)};
    };
    switch (cause) {
        case CrashCause::bad_access:
            return by(EXCEPTION_ACCESS_VIOLATION);
        case CrashCause::bad_instruction:
            return by(EXCEPTION_ILLEGAL_INSTRUCTION);
        case CrashCause::division_by_zero:
            return by(EXCEPTION_INT_DIVIDE_BY_ZERO);
        case CrashCause::stack_overflow:
            return by(EXCEPTION_STACK_OVERFLOW);
        case CrashCause::terminate:
            return by(0xe0000001);  // codes of ours
        case CrashCause::abort:
            return by(0xe0000002);
    }
    return {};
}

trel::u32 error_of_a_folder_in_the_way() {
    return ERROR_FILE_EXISTS;
}

// By a thread of its own, that begins where no program has code. Processes do not tell which folder they work
// in: it is the only one of its name.
trel::u32 crash_program_in(const std::string&) {
    const auto nowhere = reinterpret_cast<LPTHREAD_START_ROUTINE>(0x1238);
    const DWORD id = child_process();
    const HANDLE process = id != 0 ? OpenProcess(PROCESS_ALL_ACCESS, FALSE, id) : nullptr;
    if (process == nullptr) return 0;
    const HANDLE thread = CreateRemoteThread(process, nullptr, 0, nowhere, nullptr, 0, nullptr);
    CloseHandle(process);
    if (thread == nullptr) return 0;
    CloseHandle(thread);
    return id;
}

}  // namespace kalvor_test
