// How to call the program: the help pages.
#pragma once

#include <string>
#include <vector>

#include "app/settings/compute_table.h"
#include "base/command_line/parameter_list.h"
#include "base/names/names.h"

namespace kalvor {

// Everything: actions, options, console options. Shown for "help".
void print_usage();
// The same behind its version, with the options of a table.
std::vector<std::string> usage_lines(const SettingsTable& table = compute_settings_table());

void print_version();

// Answers "help", "--help", "-h", "help custom", "custom --help", "version", "--version" and the like when
// the words from the cursor on ask for it; false when they do not. Throws RefusedException for a page that
// does not exist.
bool answer_help(CommandLine::ParameterList& parameters);

}  // namespace kalvor
