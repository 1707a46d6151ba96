// This process: its command line, its executable, its priority, its end.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "os/types.h"

namespace trel::os {

// The words of the command line in UTF-8, the program first. Takes what main() got, which not every system
// passes on in UTF-8.
std::vector<std::string> command_line(int argc, char** argv);

// Full path of the running executable; empty optional when the system does not tell.
// Its separator is "/".
std::optional<std::string> executable_path();

// -2 idle, -1 below normal, 0 normal, 1 above normal, 2 high, 3 realtime; lower values count as idle, higher
// ones as realtime. Without the right to it the priority stays as it is.
void set_process_priority(i32 level);
// The system's own number for a level, which the call above asks for: a nice value or a priority class.
i32 system_priority_of_level(i32 level);

// Flushes standard output and error and ends the process at once: no destructors, no exit handlers, so that
// it is safe while other threads run.
[[noreturn]] void exit_process(int code);

}  // namespace trel::os
