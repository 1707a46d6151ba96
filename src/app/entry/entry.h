// The program's spine: console options, start-up checks, the action, the one handler of everything that
// escapes, and the pause at the end.
#pragma once

namespace kalvor {

// Exit codes of the process.
enum ExitCode : int { kExitSuccess = 0, kExitFailure = 1 };

// Runs the program with its arguments (UTF-8) and returns the exit code.
int run_program(int argc, char** argv);

}  // namespace kalvor
