// The program's spine: console options, start-up checks, the action, the one handler of everything that
// escapes, and the pause at the end.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "os/process.h"

namespace kalvor {

// Exit codes of the process.
enum ExitCode : int { kExitSuccess = 0, kExitFailure = 1 };

// Runs the body and returns the exit code. An exception that escapes it prints its report, one of the
// standard library its message in red; anything else is reported as a crash and ends the process.
int run_reported(const std::function<void()>& body);

using ExecutablePath = std::optional<std::string> (*)();

// Runs the program with the words of its command line (UTF-8, the program first) and returns the exit code.
// Without the executable's path it ends the process. `executable_path` stands in for the system's call in
// tests.
int run_program(const std::vector<std::string>& words,
                ExecutablePath executable_path = trel::os::executable_path);

}  // namespace kalvor
