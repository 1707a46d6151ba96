// The options of "custom" as the help pages show them.
#pragma once

#include <string>
#include <vector>

#include "app/settings/compute_table.h"

namespace kalvor {

// A line an option, and one with the names of its values if they have names.
std::vector<std::string> option_help(const SettingsTable& table = compute_settings_table());

// The page "help custom": the options with the rules of their values and examples.
std::vector<std::string> custom_help(const SettingsTable& table = compute_settings_table());

}  // namespace kalvor
