// The settings of a computation: one row each.
#pragma once

#include <span>

#include "app/settings/setting_row.h"
#include "base/names/names.h"

namespace kalvor {

const SettingsTable& compute_settings_table();

// The members of "CustomCompute", in the order of the file.
std::span<const FileMember> compute_file_members();

// The options of a table, in its order.
CommandLine::OptionTable<ComputeChoices> option_table(const SettingsTable& table);

}  // namespace kalvor
