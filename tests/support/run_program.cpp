#include "support/run_program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace kalvor_test {

std::string ProgramRun::value(const std::string& label) const {
    std::size_t at = out.rfind(label, 0) == 0 ? 0 : out.find("\n" + label);
    if (at == std::string::npos) return "";
    if (out[at] == '\n') at++;
    std::string text = out.substr(at + label.size(), out.find('\n', at) - at - label.size());
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

ProgramRun run_kalvor(const std::vector<std::string>& arguments, const RunOptions& options) {
    TemporaryFolder logs;
    const std::string out_path = logs / "out", err_path = logs / "err";
    const std::string program = KALVOR_PROGRAM_PATH;
    int terminal = -1;
    std::string terminal_name;
    if (options.terminal) {
        terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0) return {};
        terminal_name = ptsname(terminal);
    }
    // Held open, so that the terminal does not hang up before the program has opened its end.
    const int held = options.terminal ? open(terminal_name.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC) : -1;
    const pid_t child = fork();
    if (child == 0) {
        const int in = open("/dev/null", O_RDONLY);
        const int out = options.terminal ? open(terminal_name.c_str(), O_RDWR | O_NOCTTY)
                                         : open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int err = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(in, 0);
        dup2(out, 1);
        dup2(err, 2);
        if (!options.folder.empty() && chdir(options.folder.c_str()) != 0) _exit(126);
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
    if (options.terminal) {
        close(held);
        char buffer[4096];
        // Ends with an error when the last user of the terminal is gone.
        for (ssize_t got; (got = read(terminal, buffer, sizeof buffer)) > 0;) {
            run.out.append(buffer, static_cast<std::size_t>(got));
        }
        close(terminal);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    run.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    if (!options.terminal) run.out = read_file(out_path);
    run.err = read_file(err_path);
    run.peak_kib = usage.ru_maxrss;
    return run;
}

TemporaryFolder::TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "kalvor-test-XXXXXX").string();
    path_ = mkdtemp(name.data());
    chmod(path_.c_str(), 0755);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::vector<std::string> TemporaryFolder::files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path_)) {
        if (entry.is_regular_file()) names.push_back(std::filesystem::relative(entry.path(), path_).string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string read_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace kalvor_test
