// The settings of a computation as Settings: each works on members of a ComputeSettings, which outlives it.
// Their labels stand behind numbers of three columns.
//
// edit() changes what the settings hold. Three lines of the menu of a computation ask for more than that and
// lie above this room: the modes (app/menus/mode_menu.h), tasks and framework (parallelism_menu.h), the
// allocator and its own lines (memory_menu.h). The code that shows the menu calls those for these three rows.
#pragma once

#include <memory>

#include "app/settings/setting_row.h"
#include "base/names/names.h"
#include "base/settings/word_setting.h"

namespace kalvor {

SettingRow::Of constant_setting();
// Written and read with the constant; on its own for menus and remote user interfaces.
SettingRow::Of algorithm_setting();
SettingRow::Of decimal_digits_setting();
// Shown as the count that follows from the decimal digits.
SettingRow::Of hexadecimal_digits_setting();
SettingRow::Of path_setting();
// A member that is on or off. Static texts.
SettingRow::Of switch_setting(const char* key, const char* label, bool ComputeSettings::*member);
SettingRow::Of digit_format_setting();
SettingRow::Of mode_setting();
SettingRow::Of task_decomposition_setting();
// Shown with tasks and threads.
SettingRow::Of framework_setting();
SettingRow::Of allocator_setting();

// Refuses the modes that are not "ram"; `right` is what to write instead.
void check_mode(const std::string& mode, const char* right);

}  // namespace kalvor
