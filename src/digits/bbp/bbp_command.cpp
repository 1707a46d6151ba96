#include "digits/bbp/bbp_command.h"

#include "base/command_line/shown_text.h"
#include "base/console/error_output.h"
#include "base/console/format.h"
#include "digits/bbp/bbp_console_run.h"
#include "digits/bbp/bbp_menu.h"

namespace kalvor::BBPv2 {

using CommandLine::CountValue;
using CommandLine::OptionTable;
using CommandLine::ParameterList;
using CommandLine::RefusedException;
using CommandLine::SwitchValue;
using CommandLine::WordValue;

namespace {

constexpr const char* kPage = "help bbp";

// A row for a number from low to high.
CommandLine::OptionRow<BBPSettings> number_row(const char* name, const char* help, u64 low, u64 high,
                                               u64 BBPSettings::*member) {
    const std::string range =
        "Write a number from " + Console::format_commas(low) + " to " + Console::format_commas(high) + ".";
    return {{name, ":<n>", help, range},
            CountValue<BBPSettings>{static_cast<i64>(low), [=](BBPSettings& settings, i64 value) {
                                        if (static_cast<u64>(value) > high) {
                                            throw RefusedException(
                                                std::string(name) + ": " +
                                                Console::format_commas(static_cast<u64>(value)) +
                                                " is too large. " + range);
                                        }
                                        settings.*member = static_cast<u64>(value);
                                    }}};
}

// "ABC", "b", "ca": those are enabled, no other.
void set_modes(BBPSettings& settings, const std::string& letters) {
    Modes modes{{false, false, false}};
    for (const char letter : letters) {
        const char upper = letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
        if (upper < 'A' || upper >= 'A' + static_cast<char>(kModes)) {
            throw RefusedException("-modes: " + CommandLine::quoted(letters) +
                                   " names a mode that does not exist. Write letters of ABC.");
        }
        modes.enabled[static_cast<u64>(upper - 'A')] = true;
    }
    settings.modes = modes;
}

}  // namespace

const OptionTable<BBPSettings>& bbp_option_table() {
    static const OptionTable<BBPSettings> table = {
        number_row("-formula", "0: original 4-term BBP; 1: Bellard's 7-term BBP", 0, kFormulas - 1,
                   &BBPSettings::formula),
        number_row("-offset", "digits behind the point to skip; default: 1b", 0, kMaxOffset,
                   &BBPSettings::offset),
        number_row("-digits", "hexadecimal digits; default: 32", kMinDigits, kMaxDigits,
                   &BBPSettings::digits),
        number_row("-threads", "threads; default: all processors", 1, kMaxThreads, &BBPSettings::threads),
        {{"-pin", ":<switch>", "bind threads to cores; default: on", ""},
         SwitchValue<BBPSettings>{[](BBPSettings& settings, bool on) { settings.pin_threads = on; }}},
        {{"-modes", ":<ABC>", "arithmetics that may be used; default: ABC", "Write letters of ABC."},
         WordValue<BBPSettings>{set_modes}},
    };
    return table;
}

std::vector<std::string> bbp_help_page() {
    std::vector<std::string> lines = {
        "Usage:  kalvor bbp [options]",
        "",
        "Computes hexadecimal digits of Pi from any position, without those before it.",
        "Without options a menu asks.",
        "",
        "Options:",
    };
    for (const auto& row : bbp_option_table()) {
        for (const std::string& line : CommandLine::help_lines(row.text, {})) lines.push_back(line);
    }
    lines.insert(lines.end(), {"", "Example:  kalvor bbp -offset:1b -digits:32"});
    return lines;
}

BBPSettings parse_bbp_options(ParameterList& parameters) {
    BBPSettings settings;
    for (; parameters.has_more(); parameters.advance()) {
        const auto* const option = find_option(bbp_option_table(), parameters.current().first);
        if (!option) {
            CommandLine::refuse_option(parameters, "an option of \"bbp\"",
                                       CommandLine::names_of(bbp_option_table()), kPage);
        }
        read_option(*option, settings, parameters, kPage, Console::print_problem);
    }
    return settings;
}

void run_bbp(ParameterList& parameters) {
    parameters.advance();
    if (!parameters.has_more()) return run_bbp_menu();
    BBPSession session(parse_bbp_options(parameters));
    const std::string refused = session.cannot_start();
    if (!refused.empty()) throw RefusedException(refused);
    run_on_console(session);
}

}  // namespace kalvor::BBPv2
