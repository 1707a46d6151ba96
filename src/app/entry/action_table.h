// The action words of the command line.
#pragma once

#include "base/command_line/parameter_list.h"

namespace kalvor {

// Runs the action that the word at the cursor names. An unknown word prints "Invalid Parameter: " and ends
// the program with exit code 1; a known one that this version does not have throws NotAvailableException.
void run_action(trel::CommandLine::ParameterList& parameters);

}  // namespace kalvor
