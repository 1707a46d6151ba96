#include "app/entry/action_table.h"

#include "app/benchmark/bench_command.h"
#include "app/custom/compute_options.h"
#include "app/custom/custom_menu.h"
#include "app/entry/about_page.h"
#include "app/entry/config_action.h"
#include "app/entry/usage.h"
#include "app/menus/not_available.h"
#include "app/settings/compute_settings.h"
#include "app/settings/option_help.h"
#include "app/stress/stress_command.h"
#include "app/stress/stress_options.h"
#include "app/validation/validator.h"
#include "base/command_line/console_settings.h"
#include "base/command_line/option_table.h"
#include "base/command_line/shown_text.h"
#include "base/command_line/suggestion.h"
#include "base/console/console.h"
#include "base/console/error_output.h"
#include "constants/catalog/catalog.h"
#include "digits/bbp/bbp_command.h"
#include "digits/viewer/viewer_command.h"

namespace kalvor {

using CommandLine::ParameterList;

namespace {

bool run_custom(ParameterList& parameters, const AuthorizationToken& token) {
    parameters.advance();
    if (!parameters.has_more()) return run_custom_menu(token);
    run_or_save(parse_custom_options(parameters), token);
    return true;
}

// An action that needs no token and has no other failure than an exception.
auto plain(void (*run)(ParameterList&)) {
    return [run](ParameterList& parameters, const AuthorizationToken&) {
        run(parameters);
        return true;
    };
}

void run_about(ParameterList& parameters) {
    parameters.advance();
    print_about_page();
}

ActionRow missing(const char* word, const char* what) {
    return {word, "", "", [what](ParameterList&, const AuthorizationToken&) -> bool { not_available(what); }};
}

// What the user may have meant by a word that is not an action.
std::string meant_by(const ParameterList& parameters) {
    using namespace CommandLine;
    const std::string& word = parameters.current().first;
    const std::string raw = shown(parameters.current_raw(), 60);
    const std::vector<std::string> constants = constant_tokens();
    if (nearest_name(word, constants) == lower_case(word)) return "custom " + raw;
    if (find_option(option_table(compute_settings_table()), word))
        return "custom " + ComputeSettings().constant->token() + " " + raw;
    std::vector<std::string> names = {"help", "version"};
    for (const ActionRow& action : action_table()) names.push_back(action.word);
    for (const auto& option : console_option_table()) names.push_back(option.text.name);
    std::string meant = nearest_name(word, names);
    const std::string& value = parameters.current_value();
    if (!meant.empty() && !value.empty()) meant += ":" + value;
    return meant;
}

[[noreturn]] void refuse_action(const ParameterList& parameters) {
    using namespace CommandLine;
    const std::string& raw = parameters.current_raw();
    std::vector<std::string> names;
    for (const ActionRow& action : action_table()) {
        if (!action.help.empty()) names.push_back(action.word);
    }
    Console::print_problem(quoted(raw) + " is not an action. Known: " + list_of(names) + ", help, version." +
                           did_you_mean(meant_by(parameters)) + "\n" + see_help("help"));
    {
        const Console::ErrorOutput errors;
        Console::error_line("Invalid Parameter: " + shown(raw));
    }
    Console::fatal_exit(1);
}

}  // namespace

const std::vector<ActionRow>& action_table() {
    static const std::vector<ActionRow> table = {
        {"custom", "custom <constant> [options]", "compute a constant and write its digits", run_custom,
         [] { return custom_help(); }},
        {"config", "config <file>", "what a settings file (\".cfg\") describes", run_config,
         config_help_page},
        {"about", "about", "what this program is", plain(run_about)},
        {"bench", "bench <size> [options]", "Pi at a size at which machines are compared",
         [](ParameterList& parameters, const AuthorizationToken& token) {
             return run_bench(parameters, token);
         },
         bench_help_page},
        {"stress", "stress [tests] [options]", "load the cores with work that checks itself",
         [](ParameterList& parameters, const AuthorizationToken&) { return run_stress_action(parameters); },
         stress_help_page},
        missing("benchio", Missing::kIoAnalysis),
        {"bbp", "bbp [options]", "hexadecimal digits of Pi at any position", plain(BBPv2::run_bbp),
         BBPv2::bbp_help_page},
        {"digitviewer", "digitviewer [<file>]", "look at digit files, extract, compress",
         plain([](ParameterList& parameters) { DigitViewer2::run_viewer_command(parameters); }),
         DigitViewer2::viewer_help_page},
        {"validate", "validate [<file>]", "whether a validation file was changed",
         [](ParameterList& parameters, const AuthorizationToken&) { return run_validate(parameters); },
         validate_help_page},
        missing("slave", Missing::kSlaveMode),
    };
    return table;
}

bool run_action(ParameterList& parameters, const AuthorizationToken& token) {
    for (const ActionRow& action : action_table()) {
        if (action.word != parameters.current().first) continue;
        // Here, so that no refusal of any action is without its way out.
        const std::string page = action.page ? "help " + action.word : "help";
        try {
            return action.run(parameters, token);
        } catch (const CommandLine::RefusedException& e) {
            throw CommandLine::RefusedException(CommandLine::with_way_out(e.what(), page));
        } catch (const NotAvailableException& e) {
            throw NotAvailableException(CommandLine::with_way_out(e.what(), page));
        }
    }
    refuse_action(parameters);
}

}  // namespace kalvor
