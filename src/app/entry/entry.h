// The program's spine: console options, start-up checks, the action, the one handler of everything that
// escapes, and the pause at the end.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace kalvor {

// Exit codes of the process.
enum ExitCode : int { kExitSuccess = 0, kExitFailure = 1 };

// Runs the body and returns the exit code. An exception that escapes it prints its report, one of the
// standard library its message in red; anything else is reported as a crash and ends the process.
int run_reported(const std::function<void()>& body);

// Runs the program with the words of its command line (UTF-8, the program first) and returns the exit code.
int run_program(const std::vector<std::string>& words);

}  // namespace kalvor
