// The program's spine: console options, start-up checks, the action, the one handler of everything that
// escapes, and the pause at the end.
#pragma once

#include <string>
#include <vector>

namespace kalvor {

// Exit codes of the process.
enum ExitCode : int { kExitSuccess = 0, kExitFailure = 1 };

// Runs the program with the words of its command line (UTF-8, the program first) and returns the exit code.
int run_program(const std::vector<std::string>& words);

}  // namespace kalvor
