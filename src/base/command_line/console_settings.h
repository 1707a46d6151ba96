// The settings of the process's console, and the leading command-line options that change them.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/command_line/option_table.h"
#include "base/command_line/parameter_list.h"
#include "os/types.h"

namespace trel::CommandLine {

// Written while the leading options are consumed, read afterwards. Not synchronised.
struct ConsoleSettings {
    // 1 and more: pause at exit; -1: only after a failure; -2 and less: never; 0: like -1 when the program
    // was started from an existing console, like 1 otherwise.
    i32 exit_pause_level = 0;
    bool pause_before_fatal_exit = true;
    bool started_from_existing_console = true;
    // -2 idle ... 3 realtime; see os::set_process_priority().
    i32 process_priority = -1;
    // Without the option the priority is only ever lowered: a run may have been started at a lower one.
    bool process_priority_given = false;
    bool colors_enabled = true;
    // Whether reports show what identifies the machine (the motherboard's serial number).
    bool include_pii = false;
    bool skip_warnings = false;
    std::string executable_path;
    std::string executable_directory;  // with its last separator
};
ConsoleSettings& console_settings();

struct ConsoleOption {
    OptionText text;
    // Gets the value half of the word.
    std::function<void(const OptionText& text, const std::string& value)> read;
};
// In the order of the help page.
const std::vector<ConsoleOption>& console_option_table();
// nullptr: there is no such option.
const ConsoleOption* find_console_option(const std::string& name);

// Consumes console options up to the first word that is none. Throws RefusedException for a value that is not
// a number or a switch.
void consume_console_options(ParameterList& parameters);

// Everything up to the last '/' or '\', which is kept; empty without one.
std::string directory_of(const std::string& path);

// Whether to pause when the program ends with this exit code.
bool pauses_at_exit(const ConsoleSettings& settings, int exit_code);

}  // namespace trel::CommandLine
