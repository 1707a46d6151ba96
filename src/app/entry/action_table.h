// The action words of the command line.
#pragma once

#include "base/command_line/parameter_list.h"

namespace kalvor {

// Runs the action that the word at the cursor names. An unknown word prints "Invalid Parameter: " and ends
// the program with exit code 1.
void run_action(trel::CommandLine::ParameterList& parameters);

}  // namespace kalvor
