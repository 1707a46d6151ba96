#include "app/entry/usage.h"

#include <algorithm>
#include <string>
#include <vector>

#include "app/entry/action_table.h"
#include "app/settings/option_help.h"
#include "base/command_line/console_settings.h"
#include "base/command_line/shown_text.h"
#include "base/command_line/suggestion.h"
#include "base/console/console.h"
#include "base/version/version.h"

namespace kalvor {

using CommandLine::help_lines;
using CommandLine::ParameterList;

namespace {

void print_lines(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) Console::print_line(line);
}

bool is_help_word(const std::string& word) {
    return word == "--help" || word == "-h" || word == "-help" || word == "-?" || word == "/?";
}

void print_page(const std::string& page) {
    std::vector<std::string> pages;
    bool action = false;
    for (const ActionRow& row : action_table()) {
        if (row.page) pages.push_back(row.word);
        if (row.word != page) continue;
        action = true;
        if (row.page) return print_lines(row.page());
    }
    if (!action && !is_help_word(page) && page != "help") {
        throw CommandLine::RefusedException(
            "help: " + CommandLine::quoted(page) + " is not a page. Known: " + CommandLine::list_of(pages) +
            "." + CommandLine::did_you_mean(CommandLine::nearest_name(page, pages)) + "\n" +
            CommandLine::see_help("help"));
    }
    print_usage();
}

// Whether a word behind the action asks for its page. What an option takes does not.
bool asks_behind_action(const std::vector<std::string>& words, size_t action) {
    const auto options = option_table(compute_settings_table());
    for (size_t i = action + 1; i < words.size(); i++) {
        const auto* const before = find_option(options, words[i - 1]);
        if (is_help_word(words[i]) && !(before && takes_next_word(*before))) return true;
    }
    return words.size() == action + 2 && words[action + 1] == "help";
}

}  // namespace

void print_version() {
    Console::print("Kalvor v", 'g');
    Console::print_line(kVersion.text(), 'w');
}

std::vector<std::string> usage_lines(const SettingsTable& table) {
    std::vector<std::string> lines = {"", "Usage:  kalvor [console options] action [options]", "",
                                      "Actions:"};
    const auto add = [&](const std::vector<std::string>& more) {
        lines.insert(lines.end(), more.begin(), more.end());
    };
    for (const ActionRow& action : action_table()) add(help_lines({action.form, "", action.help, ""}, {}));
    add({"    help [<action>]         this page, or one on an action",
         "    version                 the version alone", "", "Options of \"custom\":"});
    add(option_help(table));
    add({"", "Console options (before the action):"});
    for (const auto& option : CommandLine::console_option_table()) add(help_lines(option.text, {}));
    add({"", "Example:  kalvor custom pi -dec:10m -o out"});
    return lines;
}

void print_usage() {
    print_version();
    print_lines(usage_lines());
}

bool answer_help(ParameterList& parameters) {
    if (!parameters.has_more()) return false;
    const std::string& word = parameters.current_raw();
    if (word == "version" || word == "--version" || word == "-version" || word == "-v" || word == "-V") {
        print_version();
        return true;
    }
    if (word == "help" || is_help_word(word)) {
        const std::string* const page = parameters.next();
        if (page) {
            print_page(*page);
        } else {
            print_usage();
        }
        return true;
    }
    const auto& actions = action_table();
    const bool action =
        std::any_of(actions.begin(), actions.end(), [&](const ActionRow& row) { return row.word == word; });
    if (!action || !asks_behind_action(parameters.words(), parameters.position())) return false;
    print_page(word);
    return true;
}

}  // namespace kalvor
