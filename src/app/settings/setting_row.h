// A setting of a computation as a row of a table: all that files, command line, help, menus and remote user
// interfaces know of it. The loops over the rows are in compute_settings_object.cpp, custom_options.cpp and
// option_help.cpp, and nothing else knows single settings.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/settings/compute_settings.h"
#include "base/command_line/option_table.h"
#include "base/config/node.h"
#include "base/names/names.h"

namespace kalvor {

// What the options of a command line choose. They may stand in any order, so what depends on two of them is
// settled after the last.
struct ComputeChoices {
    ComputeSettings settings;
    std::optional<i64> decimal_digits;
    std::optional<u64> threads;
    bool framework_chosen = false;
    bool tasks_chosen = false;
};

// A member of a settings file on its way into a setting. The getters throw the errors of Config::Object.
struct FileValue {
    i64 integer() const { return object.get_integer(key, context); }
    const std::string& text() const { return object.get_string(key, context); }
    bool on() const { return object.get_bool(key, context); }

    const Config::Object& object;  // the one that the member stands in
    const char* key;
    std::string_view context;  // for type errors
    std::vector<std::string>& warnings;

    void warn(std::string text) const {
        if (!text.empty()) warnings.push_back(std::move(text));
    }
};

struct SettingRow {
    // In a settings file; without a key files do not have it. The member of "CustomCompute" that it stands
    // in, which has the same name if it is the setting itself, and what may stand there, as the docs say it.
    const char* member = "";
    const char* key = "";
    std::string values = {};
    std::function<void(ComputeSettings&, const FileValue&)> load = {};
    std::function<void(const ComputeSettings&, Config::Object&)> save = {};
    // Adds key : {"Value", "DisplayText"}.
    std::function<void(const ComputeSettings&, Config::Object&)> add_selector = {};

    // In a menu: the line up to the value ("  4     Hexadecimal Digits:"), and the value as a text.
    const char* menu = "";
    std::function<std::string(const ComputeSettings&)> text = {};

    // On the command line, if the option has a name; and what the README says of it beyond its help line.
    CommandLine::OptionRow<ComputeChoices> option = {};
    const char* other_word = "";  // that means the same
    std::string meaning = {};
};

// In the order of the help page; the rows of one member of the file in the order of the file.
using SettingsTable = std::vector<SettingRow>;

// Completes a row whose value is a single node: saving and the selector follow from it and from the text.
SettingRow with_value(SettingRow row,
                      const std::function<std::unique_ptr<Config::Node>(const ComputeSettings&)>& value);

// A member of "CustomCompute".
struct FileMember {
    enum Kind { setting, object_of_settings, not_read };

    const char* key;
    const char* context;  // in type errors
    Kind kind;
};

}  // namespace kalvor
