#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "support/run_program.h"

namespace kalvor_test {
namespace {

// A program that ends early leaves the rest unread.
void write_all(int file, const std::string& text) {
    const auto before = signal(SIGPIPE, SIG_IGN);
    for (std::size_t at = 0; at < text.size();) {
        const ssize_t put = write(file, text.data() + at, text.size() - at);
        if (put <= 0) break;
        at += static_cast<std::size_t>(put);
    }
    signal(SIGPIPE, before);
}

// Reads until the child has ended and nothing is left. The caller keeps the inner end open meanwhile: a
// terminal whose last user leaves while it is being read may answer with an error before it has handed out
// its last lines.
std::string read_terminal(int terminal, pid_t child, int& status, rusage& usage) {
    std::string text;
    for (bool ended = false;;) {
        pollfd readable{terminal, POLLIN, 0};
        if (poll(&readable, 1, ended ? 0 : 10) > 0) {
            char buffer[4096];
            const ssize_t got = read(terminal, buffer, sizeof buffer);
            if (got > 0) text.append(buffer, static_cast<std::size_t>(got));
        } else if (ended) {
            return text;
        } else {
            ended = wait4(child, &status, WNOHANG, &usage) == child;
        }
    }
}

}  // namespace

ProgramRun run_program(const std::string& program, const std::vector<std::string>& arguments,
                       const RunOptions& options) {
    TemporaryFolder logs;
    const std::string out_path = options.output_file.empty() ? logs / "out" : options.output_file;
    const std::string err_path = logs / "err";
    int terminal = -1;
    std::string terminal_name;
    if (options.terminal) {
        terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0) return {};
        terminal_name = ptsname(terminal);
    }
    // The program inherits its end, so that at no time the terminal seems to have been left.
    const int inner = options.terminal ? open(terminal_name.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC) : -1;
    int input[2] = {-1, -1};
    if (options.input && pipe2(input, O_CLOEXEC) != 0) return {};
    const pid_t child = fork();
    if (child == 0) {
        const int in = options.input ? input[0] : open("/dev/null", O_RDONLY);
        const int out = options.terminal ? inner : open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int err = options.terminal ? inner : open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(in, 0);
        dup2(out, 1);
        dup2(err, 2);
        if (!options.folder.empty() && chdir(options.folder.c_str()) != 0) _exit(126);
        const rlimit no_core_file{0, 0};
        setrlimit(RLIMIT_CORE, &no_core_file);
        if (options.terminal) setenv("TERM", "xterm", 1);
        for (const std::string& variable : options.environment) putenv(const_cast<char*>(variable.c_str()));
        if (options.file_size_limit != 0) {
            signal(SIGXFSZ, SIG_IGN);
            const rlimit limit{options.file_size_limit, options.file_size_limit};
            setrlimit(RLIMIT_FSIZE, &limit);
        }
        if (options.memory_limit != 0) {
            const rlimit limit{options.memory_limit, options.memory_limit};
            setrlimit(RLIMIT_AS, &limit);
        }
        std::vector<char*> argv;
        argv.push_back(const_cast<char*>(program.c_str()));
        for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
        argv.push_back(nullptr);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    ProgramRun run;
    if (options.input) {
        close(input[0]);
        write_all(input[1], *options.input);
        close(input[1]);
    }
    int status = 0;
    rusage usage{};
    if (options.terminal) {
        run.out = read_terminal(terminal, child, status, usage);
        close(inner);
        close(terminal);
    } else {
        wait4(child, &status, 0, &usage);
    }
    run.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    if (!options.terminal) run.out = read_file(out_path);
    run.err = read_file(err_path);
    run.peak_kib = usage.ru_maxrss;
    return run;
}

}  // namespace kalvor_test
