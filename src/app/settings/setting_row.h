// A setting of a computation as a row of a table: all that files, command line, help, menus and remote user
// interfaces know of it. How it is read, written, shown and edited is a Setting (base/settings); the row says
// where that stands. The loops over the rows are in compute_settings_object.cpp, app/custom and
// option_help.cpp.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/settings/compute_settings.h"
#include "base/command_line/option_table.h"
#include "base/names/names.h"
#include "base/settings/setting.h"

namespace kalvor {

// What the options of a command line choose. They may stand in any order, so what depends on two of them is
// settled after the last.
struct ComputeChoices {
    ComputeSettings settings;
    std::optional<i64> decimal_digits;
    std::optional<u64> threads;
    bool framework_chosen = false;
    bool tasks_chosen = false;
    std::string save_path;  // of the settings file that is to be written instead of a run; empty: none
};

// Texts for the user of what was corrected while a setting was read.
using SettingWarnings = std::vector<std::string>;

struct SettingRow {
    // The setting of these settings, which outlive it, as do the warnings; they may be missing. Empty for
    // what is an option only.
    using Of = std::function<std::shared_ptr<Setting>(ComputeSettings&, SettingWarnings*)>;
    Of of = {};

    // In a settings file: the member of "CustomCompute" that it stands in, which has the name of its key if
    // it is the setting itself, and what may stand there, as the docs say it.
    const char* member = "";
    std::string values = {};

    u64 menu_number = 0;  // in the menu of a computation; 0: it has no line there

    // On the command line, if the option has a name; and what the README says of it beyond its help line.
    CommandLine::OptionRow<ComputeChoices> option = {};
    const char* other_word = "";  // that means the same
    std::string meaning = {};

    // For a row that is an option only: whether these settings have it otherwise than by default, which a
    // file would lose. Empty where the settings of other rows hold what the option chooses.
    std::function<bool(const ComputeSettings&)> lost_in_file = {};

    // Only for a row that is more than an option.
    std::shared_ptr<Setting> setting(ComputeSettings& settings, SettingWarnings* warnings = nullptr) const {
        return of(settings, warnings);
    }
    std::shared_ptr<const Setting> setting(const ComputeSettings& settings) const {
        // What it may be asked then only reads.
        return of(const_cast<ComputeSettings&>(settings), nullptr);
    }
    // In the file; empty for an option.
    std::string key() const { return of ? setting(defaults())->key() : std::string(); }

  private:
    static const ComputeSettings& defaults();
};

// In the order of the help page; the rows of one member of the file in the order of the file.
using SettingsTable = std::vector<SettingRow>;

// A member of "CustomCompute".
struct FileMember {
    enum Kind { setting, object_of_settings, not_read };

    const char* key;
    const char* context;  // in type errors; of a member that is not read, for its later reader
    Kind kind;
};

}  // namespace kalvor
