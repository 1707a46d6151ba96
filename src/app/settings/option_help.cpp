#include "app/settings/option_help.h"

#include "base/names/names.h"
#include "constants/catalog/catalog.h"

namespace kalvor {

using Lines = std::vector<std::string>;

namespace {

void append(Lines& lines, const Lines& more) {
    lines.insert(lines.end(), more.begin(), more.end());
}

// "Constants:  sqrt, e, ...", in lines of the page.
Lines list_of_constants() {
    constexpr std::size_t kColumns = 79;
    const std::string label = "Constants:  ";
    Lines lines = {label};
    const Lines tokens = constant_tokens();
    for (const std::string& token : tokens) {
        const std::string item = token + (&token == &tokens.back() ? "" : ", ");
        if (lines.back().size() + item.size() > kColumns) lines.emplace_back(label.size(), ' ');
        lines.back() += item;
    }
    for (std::string& line : lines) line.erase(line.find_last_not_of(' ') + 1);
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
    append(lines, list_of_constants());
    append(lines, {"", "Options, in any order:"});
    append(lines, option_help(table));
    append(lines,
           {"", "Values:", "    <n>       1000000, 1,000,000, 1_000_000, 1.5m, 1e6; suffixes k m b (g) t",
            "    <switch>  1 or 0, on or off, yes or no, true or false; no value: on", "", "Examples:",
            "    kalvor custom pi -dec:1m -o out", "    kalvor custom pi -dec:100m -hex -threads:8",
            "    kalvor custom pi -dec:10m -od:off -algorithm:ramanujan"});
    return lines;
}

}  // namespace kalvor
