// Runs the program under test as a user would, and looks at what it left behind.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "support/temporary_folder.h"

namespace kalvor_test {

struct ProgramRun {
    int exit_code = -1;  // 128 + signal when a signal ended it (Linux)
    std::string out;     // standard output
    std::string err;     // standard error
    long peak_kib = 0;   // largest resident set, at least that of the test program

    // Whether one of the two holds the text.
    bool has(const std::string& text) const {
        return out.find(text) != std::string::npos || err.find(text) != std::string::npos;
    }
    // The rest of the first line that begins with `label`, blanks at both ends removed; empty when there is
    // none.
    std::string value(const std::string& label) const;
};

struct RunOptions {
    std::vector<std::string> environment;  // "NAME=value" in addition to this process's
    std::string folder;                    // working folder
    std::optional<std::string> input;      // the standard input, through a pipe; otherwise it is empty
    std::string output_file;               // receives the standard output, for a test that reads along

    // Linux only:
    unsigned long long file_size_limit = 0;  // bytes; writing beyond fails like a full disk. 0 = none
    unsigned long long memory_limit = 0;     // bytes of address space; 0 = none
    unsigned short columns = 0;              // of the terminal; 0 = it does not tell
    bool terminal = false;  // both outputs are one xterm, told as the standard output (lines end in CR LF)
};

// Arguments without the program's own path.
ProgramRun run_program(const std::string& program, const std::vector<std::string>& arguments,
                       const RunOptions& options = {});
// The program that is built beside the tests, and where it is.
std::string kalvor_path();
ProgramRun run_kalvor(const std::vector<std::string>& arguments, const RunOptions& options = {});

// The running test program once more.
ProgramRun run_this_test(const std::vector<std::string>& arguments, const RunOptions& options = {});

// The names of all files in a folder and below it, but for the validation files that every run leaves.
std::vector<std::string> files_but_validation(const TemporaryFolder& folder);

// Kalvor in that folder, without the pause after a warning.
ProgramRun run_in(const TemporaryFolder& folder, std::vector<std::string> arguments, RunOptions options = {});

}  // namespace kalvor_test
