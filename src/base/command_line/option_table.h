// Options as rows of a table: a row is all that is known of an option, so that reading the command line, its
// refusals and its help page come from one place.
#pragma once

#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "base/command_line/parameter_list.h"
#include "base/command_line/refusal.h"
#include "os/types.h"

namespace trel::CommandLine {

// What stands behind an option, and what is done with it.

// A number by the rule of parse_count(). One below `least` is refused; what is above a bound is the
// handler's.
template <class Settings>
struct CountValue {
    i64 least = 0;
    std::function<void(Settings&, i64)> apply;
};
// A switch by the rule of parse_switch(); on when no value is given.
template <class Settings>
struct SwitchValue {
    std::function<void(Settings&, bool)> apply;
};
// A count of which only matters whether it is 0, or a switch; on when no value is given.
template <class Settings>
struct CountOrSwitchValue {
    std::function<void(Settings&, bool)> apply;
};
// A word; an empty one is refused.
template <class Settings>
struct WordValue {
    std::function<void(Settings&, const std::string&)> apply;
};
// The next word of the command line whatever it is, or a value behind a colon.
template <class Settings>
struct NextWordValue {
    std::function<void(Settings&, const std::string&)> apply;
    std::string consequence = {};  // "the digits go into the folder": what the word is taken for
};

// The part of a row that does not depend on the settings.
struct OptionText {
    std::string name;           // "-dec"
    std::string value_form;     // ":<n>", as the help page shows it
    std::string help;           // empty: the page leaves the option out
    std::string right;          // what would be right, a sentence for refusals; may be empty
    std::string fallback = {};  // the default, where there is one to name
    bool numbered = false;      // the values are names, and their numbers from 0 on are taken too
};

template <class Settings>
struct OptionRow {
    OptionText text = {};
    std::variant<CountValue<Settings>, SwitchValue<Settings>, CountOrSwitchValue<Settings>,
                 WordValue<Settings>, NextWordValue<Settings>>
        value = {};
    // The values that there are, if they are names; from their registry.
    std::function<std::vector<std::string>(const Settings&)> names = {};
    // Why a value that exists elsewhere cannot be used here; empty for any other value.
    std::function<std::string(const std::string& value)> reason = {};
};

template <class Settings>
using OptionTable = std::vector<OptionRow<Settings>>;

// The sentences of refusals. Each names the option, the value, what would be right, and the help page.
// A value that is not what it should be; `is_not` is kNotASwitch or its like.
std::string refused_value(const OptionText& option, const std::string& value, const std::string& is_not,
                          const std::string& page);
// An option without its value. `next` is the word behind it ("-dec 100"), empty when there is none.
std::string missing_value(const OptionText& option, const std::string& next, const std::string& page);
// A value that the option's handler refused; `names` and `reason` may be empty.
std::string unusable_value(const OptionText& option, const std::string& value,
                           const std::vector<std::string>& names, const std::string& reason,
                           const std::string& page);
// A word that is not an option; `what` tells whose: "an option of \"custom\"". `names` are those of the
// table.
std::string unknown_option(const std::string& raw, const std::string& what,
                           const std::vector<std::string>& names, const std::string& page);
// Refuses the current word with that, and with the line "Invalid Parameter: ..." below it.
[[noreturn]] void refuse_option(const ParameterList& parameters, const std::string& what,
                                const std::vector<std::string>& names, const std::string& page);
// The same with other words before that line.
[[noreturn]] void refuse_word(const ParameterList& parameters, const std::string& words);
// `See "kalvor help custom".` for the page "help custom".
std::string see_help(const std::string& page);

// A refusal with that line behind it, unless it names a help page already.
std::string with_way_out(const std::string& refusal, const std::string& page);

// Values as the rules read them. Throw RefusedException.
i64 count_of(const OptionText& option, const std::string& value, i64 least, const std::string& page);
bool switch_of(const OptionText& option, const std::string& value, const std::string& page);
bool count_or_switch_of(const OptionText& option, const std::string& value, const std::string& page);

// The lines of the help page for an option: the option padded, its help, and below it the names if there are
// any. Empty for one that the page leaves out.
std::vector<std::string> help_lines(const OptionText& option, const std::vector<std::string>& names);

// Names behind a label, separated by commas, in lines of a page; the further lines begin below the first
// name.
std::vector<std::string> wrapped_names(const std::string& label, const std::vector<std::string>& names);
// The same with the names in the column of the helps.
std::vector<std::string> names_beside(const std::string& label, const std::vector<std::string>& names);

template <class Settings>
std::vector<std::string> names_of(const OptionTable<Settings>& table) {
    std::vector<std::string> names;
    for (const auto& row : table) names.push_back(row.text.name);
    return names;
}

template <class Settings>
const OptionRow<Settings>* find_option(const OptionTable<Settings>& table, const std::string& name) {
    for (const auto& row : table) {
        if (row.text.name == name) return &row;
    }
    return nullptr;
}

template <class Settings>
const NextWordValue<Settings>* takes_next_word(const OptionRow<Settings>& row) {
    return std::get_if<NextWordValue<Settings>>(&row.value);
}

// Applies a value that was read as its kind demands.
template <class Settings>
void apply_value(const OptionText& text, const CountValue<Settings>& kind, Settings& settings,
                 const std::string& value, const std::string& page) {
    kind.apply(settings, count_of(text, value, kind.least, page));
}
template <class Settings>
void apply_value(const OptionText& text, const SwitchValue<Settings>& kind, Settings& settings,
                 const std::string& value, const std::string& page) {
    kind.apply(settings, switch_of(text, value, page));
}
template <class Settings>
void apply_value(const OptionText& text, const CountOrSwitchValue<Settings>& kind, Settings& settings,
                 const std::string& value, const std::string& page) {
    kind.apply(settings, count_or_switch_of(text, value, page));
}
template <class Settings, template <class> class Kind>
void apply_value(const OptionText&, const Kind<Settings>& kind, Settings& settings, const std::string& value,
                 const std::string&) {
    kind.apply(settings, value);
}

using Explain = std::function<void(const std::string& sentence)>;

// Reads the option at the cursor, which this row is of; the cursor then stands on the option's last word. A
// value that breaks its rule throws RefusedException. When something else is thrown (the handler refuses the
// value, the next word is missing), `explain` gets the sentence for it first, and the exception passes.
template <class Settings>
void read_option(const OptionRow<Settings>& row, Settings& settings, ParameterList& parameters,
                 const std::string& page, const Explain& explain) {
    const OptionText& text = row.text;
    const bool colon = parameters.current_raw().size() > text.name.size();
    std::string value = parameters.current_value();
    if (!colon && takes_next_word(row)) {
        if (!parameters.next()) explain(missing_value(text, "", page));
        parameters.advance();
        value = parameters.current_raw();
    } else if (!colon && (std::holds_alternative<SwitchValue<Settings>>(row.value) ||
                          std::holds_alternative<CountOrSwitchValue<Settings>>(row.value))) {
        value = "1";
    } else if (value.empty()) {
        const std::string* const next = colon ? nullptr : parameters.next();
        throw RefusedException(missing_value(text, next ? *next : "", page));
    }
    try {
        std::visit([&](const auto& kind) { apply_value(text, kind, settings, value, page); }, row.value);
    } catch (const RefusedException&) {
        throw;
    } catch (...) {
        explain(unusable_value(text, value, row.names ? row.names(settings) : std::vector<std::string>(),
                               row.reason ? row.reason(value) : "", page));
        throw;
    }
}

}  // namespace trel::CommandLine
