#include "base/command_line/console_settings.h"

#include <algorithm>
#include <limits>

#include "os/console.h"

namespace trel::CommandLine {
namespace {

constexpr const char* kPage = "help";

// The value of an option as it is read for every option.
i32 small_integer(OptionText text, const std::string& value) {
    constexpr i64 kMost = 2147483647;
    text.value_form = ":<n>";
    text.right = "Write a number, such as 1 or -2.";
    if (value.empty()) throw RefusedException(missing_value(text, "", kPage));
    const i64 number = count_of(text, value, std::numeric_limits<i64>::min(), kPage);
    return static_cast<i32>(std::clamp<i64>(number, -kMost - 1, kMost));
}

bool on_or_off(const OptionText& text, const std::string& value) {
    return value.empty() || switch_of(text, value, kPage);
}

}  // namespace

ConsoleSettings& console_settings() {
    static ConsoleSettings settings;
    return settings;
}

const std::vector<ConsoleOption>& console_option_table() {
    using Value = const std::string&;
    static const std::vector<ConsoleOption> table = {
        {{"pause", ":<n>",
          "wait for a key at the end: 1 always, -1 after a\n                            failure, -2 never",
          ""},
         [](const OptionText& text, Value value) {
             ConsoleSettings& settings = console_settings();
             settings.exit_pause_level = small_integer(text, value);
             if (settings.exit_pause_level < -1) settings.pause_before_fatal_exit = false;
         }},
        {{"priority", ":<n>", "-2 idle ... 3 realtime", ""},
         [](const OptionText& text, Value value) {
             console_settings().process_priority = small_integer(text, value);
             console_settings().process_priority_given = true;
         }},
        {{"colors", ":<switch>", "coloured text", ""},
         [](const OptionText& text, Value value) {
             console_settings().colors_enabled = on_or_off(text, value);
         }},
        {{"PII", ":<switch>", "show what identifies the machine in reports", ""},
         [](const OptionText& text, Value value) {
             console_settings().include_pii = on_or_off(text, value);
         }},
        {{"height", ":<rows>", "window height", ""},
         [](const OptionText& text, Value value) {
             const i32 rows = small_integer(text, value);
             if (rows > 0) os::set_window_size(80, static_cast<u32>(rows));
         }},
        {{"skip-warnings", "", "no pause after the processor check", ""},
         [](const OptionText&, Value) { console_settings().skip_warnings = true; }},
    };
    return table;
}

const ConsoleOption* find_console_option(const std::string& name) {
    for (const ConsoleOption& option : console_option_table()) {
        if (option.text.name == name) return &option;
    }
    return nullptr;
}

void consume_console_options(ParameterList& parameters) {
    while (parameters.has_more()) {
        const ParameterList::Pair& word = parameters.current();
        const ConsoleOption* const option = find_console_option(word.first);
        if (!option) return;
        parameters.advance();
        option->read(option->text, word.second);
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
