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
    ULONG bytes = 128 * 1024;
    SetThreadStackGuarantee(&bytes);
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
    const HANDLE file = CreateFileA(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                    CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return {-1, GetLastError()};
    return {reinterpret_cast<i64>(file), 0};
}

u32 write_minidump(i64 handle, const CrashRecord* record) noexcept {
    const HANDLE file = reinterpret_cast<HANDLE>(handle);
    MINIDUMP_EXCEPTION_INFORMATION information{};
    if (record != nullptr) {
        information.ThreadId = GetCurrentThreadId();
        information.ExceptionPointers = record->pointers;
    }
    u32 error = ERROR_SUCCESS;
    if (MiniDumpWriteDump(GetCurrentProcess(), GetCurrentProcessId(), file, MiniDumpNormal,
                          record != nullptr ? &information : nullptr, nullptr, nullptr)) {
        error = clear_minidump(file);
        if (error == ERROR_SUCCESS) return 0;
    } else {
        error = GetLastError();
    }
    // What is there has the texts in it.
    SetFilePointerEx(file, {}, nullptr, FILE_BEGIN);
    SetEndOfFile(file);
    return error != ERROR_SUCCESS ? error : ERROR_GEN_FAILURE;
}

void close_dump_file(i64 handle) noexcept {
    CloseHandle(reinterpret_cast<HANDLE>(handle));
}

}  // namespace trel::os
