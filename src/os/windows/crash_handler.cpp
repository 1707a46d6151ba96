#include "os/crash_handler.h"

#include <windows.h>
// After windows.h.
#include <dbghelp.h>
#include <io.h>
#include <signal.h>

#include <cstdio>
#include <exception>

#include "os/windows/minidump_filter.h"
#include "os/windows/text_attribute.h"

namespace trel::os {

struct CrashRecord {
    EXCEPTION_POINTERS* pointers;
};

namespace {

// Exceptions of ours that make the process crash where the C++ library would end it quietly.
constexpr DWORD kTerminated = 0xe0000001;
constexpr DWORD kAborted = 0xe0000002;

constexpr ULONG kCrashStackBytes = 128 * 1024;

CrashReporter reporter = nullptr;

LONG WINAPI filter(EXCEPTION_POINTERS* pointers) {
    const CrashRecord record{pointers};
    reporter(&record);
    return EXCEPTION_CONTINUE_SEARCH;
}

[[noreturn]] void on_terminate() {
    RaiseException(kTerminated, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    ExitProcess(kTerminated);
}

// A mini-dump as the system writes it.
struct SystemDump {
    HANDLE file;
    const CrashRecord* record;
    DWORD crashed_thread;
    DWORD error = ERROR_SUCCESS;

    static DWORD WINAPI write(void* argument) {
        SystemDump& dump = *static_cast<SystemDump*>(argument);
        MINIDUMP_EXCEPTION_INFORMATION information{};
        if (dump.record != nullptr) {
            information.ThreadId = dump.crashed_thread;
            information.ExceptionPointers = dump.record->pointers;
        }
        if (!MiniDumpWriteDump(GetCurrentProcess(), GetCurrentProcessId(), dump.file, MiniDumpNormal,
                               dump.record != nullptr ? &information : nullptr, nullptr, nullptr)) {
            dump.error = GetLastError();
            if (dump.error == ERROR_SUCCESS) dump.error = ERROR_GEN_FAILURE;
        }
        return 0;
    }
};

void on_abort(int) {
    RaiseException(kAborted, EXCEPTION_NONCONTINUABLE, 0, nullptr);
}

}  // namespace

void install_crash_handler(CrashReporter new_reporter) {
    reporter = new_reporter;
    remember_process_texts();
    use_crash_stack();
    SetUnhandledExceptionFilter(filter);
    std::set_terminate(on_terminate);
    signal(SIGABRT, on_abort);
}

void use_crash_stack() {
    // Kept free below the stack that the thread uses.
    ULONG bytes = kCrashStackBytes;
    if (!SetThreadStackGuarantee(&bytes)) return;
    // A stack grows from guard page to guard page, and Windows reports its end where the bytes above begin.
    // Wine commits the whole stack and guards its last page alone, where no room for the report is left:
    // there the guard page has to be moved up.
    ULONG_PTR low = 0, high = 0;
    GetCurrentThreadStackLimits(&low, &high);
    void* const page = reinterpret_cast<void*>(low + kCrashStackBytes);
    MEMORY_BASIC_INFORMATION memory;
    if (VirtualQuery(page, &memory, sizeof memory) != 0 && memory.State == MEM_COMMIT &&
        memory.Protect == PAGE_READWRITE) {
        DWORD before = 0;
        VirtualProtect(page, 4096, PAGE_READWRITE | PAGE_GUARD, &before);
    }
}

void crash_print(std::string_view text) noexcept {
    // Through the descriptor: past the stream and its lock. Neither changes line feeds (see
    // os/windows/console.cpp).
    const auto write_all = [](const char* data, size_t size) {
        while (size > 0) {
            const int written = _write(1, data, static_cast<unsigned>(size));
            if (written <= 0) return;
            data += written;
            size -= static_cast<size_t>(written);
        }
    };
    // What the stream still holds is taken out without its lock: its owner may be the thread that crashed.
    if (stdout->_base != nullptr && stdout->_ptr > stdout->_base && (stdout->_flag & _IOWRT) != 0) {
        write_all(stdout->_base, static_cast<size_t>(stdout->_ptr - stdout->_base));
        stdout->_ptr = stdout->_base;
    }
    write_all(text.data(), text.size());
}

void crash_color(char letter) noexcept {
    crash_print("");
    SetConsoleTextAttribute(GetStdHandle(STD_OUTPUT_HANDLE), text_attribute(letter));
}

LocalTime crash_local_time() noexcept {
    SYSTEMTIME now;
    GetLocalTime(&now);
    return {now.wYear, now.wMonth, now.wDay, now.wDayOfWeek, now.wHour, now.wMinute, now.wSecond};
}

DumpFile create_dump_file(const char* path) noexcept {
    // Read again to take texts out.
    const HANDLE file = CreateFileA(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return {-1, GetLastError()};
    return {reinterpret_cast<i64>(file), 0};
}

u32 write_minidump(i64 handle, const CrashRecord* record) noexcept {
    SystemDump dump{reinterpret_cast<HANDLE>(handle), record, GetCurrentThreadId()};
    // A thread's own registers and stack are only written as those of an exception. Without one another
    // thread writes.
    const HANDLE writer =
        record == nullptr ? CreateThread(nullptr, 0, SystemDump::write, &dump, 0, nullptr) : nullptr;
    if (writer != nullptr) {
        WaitForSingleObject(writer, INFINITE);
        CloseHandle(writer);
    } else {
        SystemDump::write(&dump);
    }
    if (dump.error == ERROR_SUCCESS) dump.error = clear_minidump(dump.file);
    if (dump.error == ERROR_SUCCESS) return 0;
    // What is there has the texts in it.
    SetFilePointerEx(dump.file, {}, nullptr, FILE_BEGIN);
    SetEndOfFile(dump.file);
    return dump.error;
}

void close_dump_file(i64 handle) noexcept {
    CloseHandle(reinterpret_cast<HANDLE>(handle));
}

void discard_dump_file(i64 handle, const char* path) noexcept {
    close_dump_file(handle);
    DeleteFileA(path);
}

}  // namespace trel::os
