// This process: its executable, its priority, its end.
#pragma once

#include <optional>
#include <string>

#include "os/types.h"

namespace trel::os {

// Full path of the running executable; empty optional when the system does not tell.
std::optional<std::string> executable_path();

// -2 idle, -1 below normal, 0 normal, 1 above normal, 2 high, 3 realtime; lower values count as idle, higher
// ones as realtime. Without the right to it the priority stays as it is.
void set_process_priority(i32 level);
// The nice value that stands for a level; what the call above asks for.
int nice_value_of_priority(i32 level);

// Flushes standard output and error and ends the process at once: no destructors, no exit handlers, so that
// it is safe while other threads run.
[[noreturn]] void exit_process(int code);

}  // namespace trel::os
