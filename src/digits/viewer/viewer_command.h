// The viewer on the command line:
//
//   digitviewer [<file> [-dir <folder>] ... [view | stats | extract | compress | partial [options]]]
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/command_line/option_table.h"
#include "base/names/names.h"
#include "digits/viewer/viewer_console_run.h"

namespace kalvor::DigitViewer2 {

// What the options of an action say; empty where nothing is given.
struct ViewerOptions {
    std::vector<std::string> folders;  // where the files of a set are looked for too
    std::optional<u64> start, end, digits, digits_per_file, first_id, last_id;
    std::optional<std::string> to, name;
};

const CommandLine::OptionTable<ViewerOptions>& viewer_option_table();
// The lines of "help digitviewer".
std::vector<std::string> viewer_help_page();

// The cursor stands on the action word. Without a file the menu asks for one; with a file alone its menu is
// shown; with an action no question is asked: what is missing is an error that names the option. Throws
// RefusedException, and what the action throws.
void run_viewer_command(CommandLine::ParameterList& parameters, const ViewerRunner& runner = run_on_console);

}  // namespace kalvor::DigitViewer2
