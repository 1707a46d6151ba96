#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "support/crash.h"

namespace kalvor_test {
namespace {

// The process that works in this folder; 0: none. It has used processor time of at least a second.
pid_t busy_process_in(const std::string& folder) {
    const std::string wanted = std::filesystem::canonical(folder).string();
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
        const std::string cwd = std::filesystem::read_symlink(entry.path() / "cwd", error).string();
        if (error || cwd != wanted) continue;
        std::ifstream stat(entry.path() / "stat");
        std::string word;
        long used = 0;  // clock ticks; the 14th word, the program's name is one word
        for (int field = 1; field <= 14 && stat >> word; field++) {
            if (field == 14) used = std::atol(word.c_str());
        }
        if (used >= sysconf(_SC_CLK_TCK)) return std::atoi(entry.path().filename().c_str());
    }
    return 0;
}

}  // namespace

CrashCode crash_code(CrashCause cause) {
    const auto by = [](int signal) { return CrashCode{static_cast<trel::u32>(signal), 128 + signal}; };
    switch (cause) {
        case CrashCause::bad_access:
        case CrashCause::stack_overflow:
            return by(SIGSEGV);
        case CrashCause::bad_instruction:
            return by(SIGILL);
        case CrashCause::division_by_zero:
            return by(SIGFPE);
        case CrashCause::terminate:
        case CrashCause::abort:
            return by(SIGABRT);
    }
    return {};
}

trel::u32 error_of_a_folder_in_the_way() {
    return EISDIR;
}

trel::u32 crash_busy_program(const std::string& folder) {
    for (int i = 0; i < 3000; i++) {
        const pid_t process = busy_process_in(folder);
        if (process != 0) return kill(process, SIGSEGV) == 0 ? static_cast<trel::u32>(process) : 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return 0;
}

}  // namespace kalvor_test
