// This process: its command line, its executable, its priority, its end.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "os/types.h"

namespace trel::os {

// The first thing in main(). Opens the null device on each of the descriptors 0 to 2 that is closed, which
// would otherwise become those of the next files. A closed pipe and a file that reaches its largest size are
// errors of the call that writes, not the end of the process. On Windows the current folder is not a place
// where libraries are looked for.
void prepare_process();
// Bytes that the main thread's stack may grow to, by a limit of the user's; 0 = none.
u64 stack_limit();

// The words of the command line in UTF-8, the program first. Takes what main() got, which not every system
// passes on in UTF-8.
std::vector<std::string> command_line(int argc, char** argv);

// Full path of the running executable; empty optional when the system does not tell.
// Its separator is "/".
std::optional<std::string> executable_path();
// What to open to read the running executable itself: another file may have taken its path.
std::string executable_file();

// -2 idle, -1 below normal, 0 normal, 1 above normal, 2 high, 3 realtime; lower values count as idle, higher
// ones as realtime. Without the right to it the priority stays as it is. With `only_lower` a priority that is
// as low already stays as well.
void set_process_priority(i32 level, bool only_lower = false);
// The system's own number for a level, which the call above asks for: a nice value or a priority class.
i32 system_priority_of_level(i32 level);

// Whether another program watches or steers this one. `root` is put before the path of the system's file
// (tests).
bool is_debugger_present(const std::string& root = "");

// Flushes standard output and error and ends the process at once: no destructors, no exit handlers, so that
// it is safe while other threads run.
[[noreturn]] void exit_process(int code);

}  // namespace trel::os
