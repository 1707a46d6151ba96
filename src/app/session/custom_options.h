// The options of the action "custom".
#pragma once

#include "app/session/custom_settings.h"
#include "base/command_line/parameter_list.h"

namespace kalvor {

// Reads everything behind the action word: the constant's token, then options. Throws
// InvalidParametersException and FileException for bad values; an unknown option prints "Invalid Parameter: "
// and ends the program with exit code 1.
CustomSettings parse_custom_options(trel::CommandLine::ParameterList& parameters);

}  // namespace kalvor
