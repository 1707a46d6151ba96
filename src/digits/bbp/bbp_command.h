// The action word "bbp".
#pragma once

#include <string>
#include <vector>

#include "base/command_line/option_table.h"
#include "base/command_line/parameter_list.h"
#include "base/names/names.h"
#include "digits/bbp/bbp_session.h"

namespace kalvor::BBPv2 {

// The rows of "kalvor bbp": every value that a prompt of the menu would refuse is refused here.
const CommandLine::OptionTable<BBPSettings>& bbp_option_table();

// The lines of "help bbp".
std::vector<std::string> bbp_help_page();

// The settings that the words behind "bbp" describe. Throws RefusedException; an unknown option prints
// "Invalid Parameter: " and ends the program.
BBPSettings parse_bbp_options(CommandLine::ParameterList& parameters);

// Without another word the menu; else a computation.
void run_bbp(CommandLine::ParameterList& parameters);

}  // namespace kalvor::BBPv2
