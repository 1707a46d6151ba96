#include "app/settings/option_help.h"

#include "base/names/names.h"
#include "constants/catalog/catalog.h"

namespace kalvor {

using Lines = std::vector<std::string>;

namespace {

void append(Lines& lines, const Lines& more) {
    lines.insert(lines.end(), more.begin(), more.end());
}

// A line a constant: how it is written, then its algorithms.
Lines constant_help() {
    Lines lines = {"Constants, and the names of their algorithms:"};
    for (const ConstantUse& use : constant_uses()) {
        std::string head = "   ";
        for (const std::string& form : use.forms) head += (&form == &use.forms.front() ? " " : ", ") + form;
        append(lines, CommandLine::names_beside(head, use.algorithms));
    }
    return lines;
}

}  // namespace

Lines option_help(const SettingsTable& table) {
    const ComputeChoices defaults;
    Lines lines;
    for (const SettingRow& row : table) {
        const auto& option = row.option;
        append(lines, help_lines(option.text, option.names ? option.names(defaults) : Lines()));
    }
    return lines;
}

Lines custom_help(const SettingsTable& table) {
    Lines lines = {"Usage:  kalvor [console options] custom <constant> [options]", ""};
    append(lines, constant_help());
    append(lines, {"", "Options, in any order:"});
    append(lines, option_help(table));
    const ComputeSettings usual;
    const std::string example = "    kalvor custom " + usual.constant->token();
    append(lines,
           {"", "Values:", "    <n>       1000000, 1,000,000, 1_000_000, 1.5m, 1e6; suffixes k m b (g) t",
            "    <switch>  1 or 0, on or off, yes or no, true or false; no value: on", "",
            "Examples:", example + " -dec:1m -o out", example + " -dec:100m -hex -threads:8",
            example + " -dec:10m -od:off -algorithm:" + usual.constant->algorithm_tokens().back()});
    return lines;
}

}  // namespace kalvor
