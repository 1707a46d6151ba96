// Tells people whether a validation file is as the program wrote it.
#pragma once

#include <string>
#include <vector>

#include "base/command_line/parameter_list.h"
#include "base/names/names.h"

namespace kalvor {

// Prints what is to be said of the file; true when it passed. ".txt" is added to a path that does not end in
// it, or has no more than its four characters. Throws FileException when it cannot be read.
bool run_validator(const std::string& path);
// Asks for the path. Throws EndOfStreamException at the end of the input.
bool run_validator_menu();
// "validate [<file>]": the cursor stands on the word. Throws RefusedException for a second path.
bool run_validate(CommandLine::ParameterList& parameters);

std::vector<std::string> validate_help_page();

}  // namespace kalvor
