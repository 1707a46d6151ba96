#include "os/process.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace trel::os {

std::vector<std::string> command_line(int argc, char** argv) {
    return {argv, argv + argc};
}

std::optional<std::string> executable_path() {
    std::string buffer(520, '\0');
    while (true) {
        const ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size());
        if (length <= 0) return std::nullopt;
        if (static_cast<size_t>(length) < buffer.size()) {
            buffer.resize(static_cast<size_t>(length));
            return buffer;
        }
        buffer.resize(2 * buffer.size());
    }
}

i32 system_priority_of_level(i32 level) {
    if (level <= -2) return 19;
    switch (level) {
        case -1:
            return 10;
        case 0:
            return 0;
        case 1:
            return -5;
        case 2:
            return -10;
        default:
            return -20;
    }
}

void set_process_priority(i32 level) {
    [[maybe_unused]] const int refused = setpriority(PRIO_PROCESS, 0, system_priority_of_level(level));
}

void exit_process(int code) {
    std::fflush(stdout);
    std::fflush(stderr);
    _exit(code);
}

}  // namespace trel::os
