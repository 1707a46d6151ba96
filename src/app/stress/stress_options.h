// The options of "stress".
#pragma once

#include <string>
#include <vector>

#include "app/stress/stress_settings.h"
#include "base/command_line/option_table.h"
#include "base/command_line/parameter_list.h"
#include "base/names/names.h"

namespace kalvor {

struct StressChoices {
    StressSettings settings;
    StressMachine machine;
    std::string save_path = {};  // a settings file is written there instead of a run
    bool tests_named = false;
};

const CommandLine::OptionTable<StressChoices>& stress_option_table();

// The words from the cursor to the end. Tags name the tests; without one all are enabled. Throws
// RefusedException for a value that breaks its rule, InvalidParametersException "Invalid Command: " + word
// for a word that is neither an option nor a tag, and "Invalid core #: 9".
StressChoices parse_stress_options(CommandLine::ParameterList& parameters, const StressMachine& machine);

// "2G", "768MB", "2.5GiB", "100m", "5000000": digits with at most one point, then one of K M G T P E for 2^10
// ... 2^60, each with "B" or "iB" if one likes, or m b t for 10^6, 10^9, 10^12. Bytes, at most
// StressSettings::kMostMemory; throws RefusedException for any other text and for less than a byte.
u64 parse_stress_memory(const std::string& text);

// The page "help stress".
std::vector<std::string> stress_help_page();

}  // namespace kalvor
