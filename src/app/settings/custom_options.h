// The options of the action "custom".
#pragma once

#include <optional>

#include "app/settings/compute_settings.h"
#include "base/command_line/option_table.h"
#include "base/command_line/parameter_list.h"

namespace kalvor {

// What the options choose. Options may stand in any order, so what depends on two of them is settled after
// the last.
struct CustomChoices {
    ComputeSettings settings;
    std::optional<trel::i64> decimal_digits;
    std::optional<trel::u64> threads;
    bool framework_chosen = false;
    bool tasks_chosen = false;
};

// One row an option, in the order of the help page.
const trel::CommandLine::OptionTable<CustomChoices>& custom_option_table();

// Reads everything behind the action word: the constant's token, then options. What cannot be used is told in
// a sentence first; then RefusedException, InvalidParametersException and the like are thrown. An unknown
// option prints "Invalid Parameter: " and ends the program with exit code 1.
ComputeSettings parse_custom_options(trel::CommandLine::ParameterList& parameters);

// Makes the settings run on this number of threads, 1 to 65,536. One: framework "none". More: the limit of a
// framework that has one; without one the nearest is as many tasks, which is said. A framework and a number
// of tasks that were chosen stay, except that one thread is always "none".
void choose_threads(CustomChoices& choices);

}  // namespace kalvor
