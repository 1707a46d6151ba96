#include "base/command_line/console_settings.h"

#include <algorithm>
#include <limits>

#include "base/command_line/option_table.h"
#include "os/console.h"

namespace trel::CommandLine {
namespace {

constexpr const char* kPage = "help";

// The value of an option as it is read for every option.
i32 small_integer(const char* option, const std::string& value) {
    const OptionText text{option, ":<n>", "", "Write a number, such as 1 or -2."};
    constexpr i64 kMost = 2147483647;
    if (value.empty()) throw RefusedException(missing_value(text, "", kPage));
    const i64 number = count_of(text, value, std::numeric_limits<i64>::min(), kPage);
    return static_cast<i32>(std::clamp<i64>(number, -kMost - 1, kMost));
}

bool on_or_off(const char* option, const std::string& value) {
    return value.empty() || switch_of({option, ":<switch>", "", ""}, value, kPage);
}

}  // namespace

ConsoleSettings& console_settings() {
    static ConsoleSettings settings;
    return settings;
}

const ConsoleOptionTable& console_option_table() {
    static const ConsoleOptionTable table = {
        {"pause",
         [](const std::string& value) {
             ConsoleSettings& settings = console_settings();
             settings.exit_pause_level = small_integer("pause", value);
             if (settings.exit_pause_level < -1) settings.pause_before_fatal_exit = false;
         }},
        {"priority",
         [](const std::string& value) {
             console_settings().process_priority = small_integer("priority", value);
             console_settings().process_priority_given = true;
         }},
        {"colors",
         [](const std::string& value) { console_settings().colors_enabled = on_or_off("colors", value); }},
        {"PII", [](const std::string& value) { console_settings().include_pii = on_or_off("PII", value); }},
        {"height",
         [](const std::string& value) {
             const i32 rows = small_integer("height", value);
             if (rows > 0) os::set_window_size(80, static_cast<u32>(rows));
         }},
        {"skip-warnings", [](const std::string&) { console_settings().skip_warnings = true; }},
    };
    return table;
}

void consume_console_options(ParameterList& parameters) {
    const ConsoleOptionTable& table = console_option_table();
    while (parameters.has_more()) {
        const ParameterList::Pair& word = parameters.current();
        const auto option = table.find(word.first);
        if (option == table.end()) return;
        parameters.advance();
        option->second(word.second);
    }
}

std::string directory_of(const std::string& path) {
    const size_t separator = path.find_last_of("/\\");
    return separator == std::string::npos ? "" : path.substr(0, separator + 1);
}

bool pauses_at_exit(const ConsoleSettings& settings, int exit_code) {
    i32 level = settings.exit_pause_level;
    if (level == 0) level = settings.started_from_existing_console ? -1 : 1;
    const i32 threshold = exit_code != 0 ? -1 : 1;
    return level >= threshold;
}

}  // namespace trel::CommandLine
