#include "os/process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/auxv.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "os/linux/executable.h"

namespace trel::os {

namespace {

constexpr char kOwnFile[] = "/proc/self/exe";

void open_if_closed(int descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) return;
    // open() takes the lowest free number, which is this one. Without a null device a read-only folder
    // serves.
    if (open("/dev/null", descriptor == STDIN_FILENO ? O_RDONLY : O_WRONLY) == -1) {
        [[maybe_unused]] const int placeholder = open("/", O_RDONLY | O_DIRECTORY);
    }
}

void do_nothing(int) {}

// By a handler: programs that are started from here get the system's own action again.
void make_harmless(int signal) {
    struct sigaction action {};
    if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) return;
    action.sa_handler = do_nothing;
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
}

}  // namespace

void prepare_process() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) open_if_closed(descriptor);
    make_harmless(SIGPIPE);
    make_harmless(SIGXFSZ);
}

u64 stack_limit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_STACK, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return 0;
    return limit.rlim_cur;
}

std::vector<std::string> command_line(int argc, char** argv) {
    return {argv, argv + argc};
}

std::optional<std::string> path_of_link(const char* link) {
    std::string buffer(520, '\0');
    while (true) {
        const ssize_t length = readlink(link, buffer.data(), buffer.size());
        if (length <= 0) return std::nullopt;
        if (static_cast<size_t>(length) < buffer.size()) {
            buffer.resize(static_cast<size_t>(length));
            return buffer;
        }
        buffer.resize(2 * buffer.size());
    }
}

std::optional<std::string> path_of_start() {
    const char* const name = reinterpret_cast<const char*>(getauxval(AT_EXECFN));
    if (name == nullptr) return std::nullopt;
    char* const resolved = realpath(name, nullptr);
    if (resolved == nullptr) return std::nullopt;
    const std::string path = resolved;
    std::free(resolved);
    return path;
}

std::optional<std::string> path_of_program(const char* link) {
    if (std::optional<std::string> path = path_of_link(link)) return path;
    return path_of_start();
}

std::optional<std::string> executable_path() {
    return path_of_program(kOwnFile);
}

std::string executable_file() {
    if (access(kOwnFile, F_OK) == 0) return kOwnFile;
    return executable_path().value_or("");
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

void set_process_priority(i32 level, bool only_lower) {
    const int nice = system_priority_of_level(level);
    errno = 0;
    const int now = getpriority(PRIO_PROCESS, 0);
    if (only_lower && (errno != 0 || now >= nice)) return;
    [[maybe_unused]] const int refused = setpriority(PRIO_PROCESS, 0, nice);
}

void exit_process(int code) {
    std::fflush(stdout);
    std::fflush(stderr);
    _exit(code);
}

bool is_debugger_present(const std::string& root) {
    std::ifstream file(root + "/proc/self/status");
    std::string key;
    while (file >> key) {
        if (key != "TracerPid:") continue;
        u64 tracer = 0;
        return file >> tracer && tracer != 0;
    }
    return false;
}

}  // namespace trel::os
