#include <signal.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "support/crash.h"

namespace kalvor_test {

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
    return EEXIST;
}

trel::u32 crash_program_in(const std::string& folder) {
    const std::string wanted = std::filesystem::canonical(folder).string();
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
        const std::string cwd = std::filesystem::read_symlink(entry.path() / "cwd", error).string();
        if (error || cwd != wanted) continue;
        const pid_t process = std::atoi(entry.path().filename().c_str());
        return kill(process, SIGSEGV) == 0 ? static_cast<trel::u32>(process) : 0;
    }
    return 0;
}

}  // namespace kalvor_test
