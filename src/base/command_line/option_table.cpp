#include "base/command_line/option_table.h"

#include <algorithm>

#include "base/command_line/refusal.h"
#include "base/command_line/shown_text.h"
#include "base/command_line/suggestion.h"
#include "base/command_line/value_text.h"

namespace trel::CommandLine {
namespace {

constexpr size_t kHelpColumn = 28, kNamesColumn = 8, kPageColumns = 79;

// A sentence behind others, if there is one.
std::string and_then(const std::string& sentence) {
    return sentence.empty() ? "" : " " + sentence;
}

}  // namespace

void refuse_option(const ParameterList& parameters, const std::string& what,
                   const std::vector<std::string>& names, const std::string& page) {
    refuse_word(parameters, unknown_option(parameters.current_raw(), what, names, page));
}

void refuse_word(const ParameterList& parameters, const std::string& words) {
    throw RefusedException(words + "\n\nInvalid Parameter: " + shown(parameters.current_raw()));
}

std::string see_help(const std::string& page) {
    return "See \"kalvor " + page + "\".";
}

std::string with_way_out(const std::string& refusal, const std::string& page) {
    return refusal.find("\"kalvor help") != std::string::npos ? refusal : refusal + "\n" + see_help(page);
}

std::string refused_value(const OptionText& option, const std::string& value, const std::string& is_not,
                          const std::string& page) {
    return option.name + ": " + quoted(value) + is_not + "\n" + see_help(page);
}

std::string missing_value(const OptionText& option, const std::string& next, const std::string& page) {
    std::string text = option.name + " needs a value: " + option.name + option.value_form + ".";
    // "-dec 100"
    if (!next.empty() && next[0] != '-') text += did_you_mean(option.name + ":" + next);
    return text + and_then(option.right) + "\n" + see_help(page);
}

std::string unusable_value(const OptionText& option, const std::string& value,
                           const std::vector<std::string>& names, const std::string& reason,
                           const std::string& page) {
    std::string text = option.name + ": " + quoted(value) + " cannot be used";
    text += reason.empty() ? "." : ": " + reason + ".";
    if (!names.empty()) {
        text += " Known: " + list_of(names);
        if (option.numbered) text += ", or their numbers 0 to " + std::to_string(names.size() - 1);
        text += "." + did_you_mean(nearest_name(value, names));
    }
    return text + and_then(option.right) + "\n" + see_help(page);
}

std::string unknown_option(const std::string& raw, const std::string& what,
                           const std::vector<std::string>& names, const std::string& page) {
    // "-dec=100" was meant to be "-dec:100".
    const size_t end = raw.find_first_of(":=");
    const std::string key = raw.substr(0, end);
    const std::string value = end == std::string::npos ? "" : raw.substr(end + 1);
    std::string meant = nearest_name(key, names);
    if (!meant.empty() && !value.empty()) meant += ":" + value;
    return quoted(raw) + " is not " + what + "." + did_you_mean(meant) + "\n" + see_help(page);
}

i64 count_of(const OptionText& option, const std::string& value, i64 least, const std::string& page) {
    const std::optional<i64> count = parse_count(value);
    if (!count) {
        throw RefusedException(
            refused_value(option, value,
                          " is not a number. " + (option.right.empty() ? kRightNumber : option.right), page));
    }
    if (*count < least) {
        throw RefusedException(refused_value(
            option, value, " is below " + std::to_string(least) + "." + and_then(option.right), page));
    }
    return *count;
}

bool switch_of(const OptionText& option, const std::string& value, const std::string& page) {
    const std::optional<bool> on = parse_switch(value);
    if (!on) throw RefusedException(refused_value(option, value, kNotASwitch, page));
    return *on;
}

bool count_or_switch_of(const OptionText& option, const std::string& value, const std::string& page) {
    if (const std::optional<bool> on = parse_switch(value)) return *on;
    return count_of(option, value, 0, page) != 0;
}

std::vector<std::string> wrapped_names(const std::string& label, const std::vector<std::string>& names) {
    std::vector<std::string> lines = {label};
    for (size_t i = 0; i < names.size(); i++) {
        const std::string item = names[i] + (i + 1 == names.size() ? "" : ", ");
        if (lines.back().size() + item.size() > kPageColumns) lines.emplace_back(label.size(), ' ');
        lines.back() += item;
    }
    for (std::string& line : lines) line.erase(line.find_last_not_of(' ') + 1);
    return lines;
}

std::vector<std::string> names_beside(const std::string& label, const std::vector<std::string>& names) {
    std::string head = label;
    head.resize(std::max(kHelpColumn, head.size() + 1), ' ');
    return wrapped_names(head, names);
}

std::vector<std::string> help_lines(const OptionText& option, const std::vector<std::string>& names) {
    if (option.help.empty()) return {};
    std::string what = option.help;
    std::string head = "    " + option.name + option.value_form;
    head.resize(std::max(kHelpColumn, head.size() + 1), ' ');
    if (!option.fallback.empty()) what += "; default: " + option.fallback;
    std::vector<std::string> lines = {head + what + (names.empty() ? "" : ":")};
    if (names.empty()) return lines;
    const std::vector<std::string> more = wrapped_names(std::string(kNamesColumn, ' '), names);
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

}  // namespace trel::CommandLine
