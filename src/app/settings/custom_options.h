// The options of the action "custom".
#pragma once

#include "app/settings/compute_table.h"
#include "base/command_line/parameter_list.h"
#include "base/names/names.h"

namespace kalvor {

// Reads everything behind the action word: the constant's token, then options. What cannot be used is told in
// a sentence first; then RefusedException, InvalidParametersException and the like are thrown. An unknown
// option prints "Invalid Parameter: " and ends the program with exit code 1.
ComputeSettings parse_custom_options(CommandLine::ParameterList& parameters,
                                     const SettingsTable& table = compute_settings_table());

// Makes the settings run on this number of threads, 1 to 65,536. One: framework "none". More: the limit of a
// framework that has one; without one the nearest is as many tasks, which is said. A framework and a number
// of tasks that were chosen stay, except that one thread is always "none".
void choose_threads(ComputeChoices& choices);

}  // namespace kalvor
