// The settings of a computation: one row each.
#pragma once

#include <span>
#include <vector>

#include "app/settings/setting_row.h"
#include "base/names/names.h"

namespace kalvor {

const SettingsTable& compute_settings_table();

// The members of "CustomCompute", in the order of the file.
std::span<const FileMember> compute_file_members();

// The rows that the menu of a computation shows, by their numbers. Each prints its line and edits itself:
// row->setting(settings)->print(row->menu_number, width, kMenuNumberWidth).
std::vector<const SettingRow*> menu_rows(const SettingsTable& table = compute_settings_table());
inline constexpr u64 kMenuNumberWidth = 3;

// The options of a table, in its order.
CommandLine::OptionTable<ComputeChoices> option_table(const SettingsTable& table);

}  // namespace kalvor
