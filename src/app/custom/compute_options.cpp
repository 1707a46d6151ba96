#include "app/custom/compute_options.h"

#include <algorithm>

#include "app/session/console_run.h"
#include "app/settings/compute_settings_object.h"
#include "base/command_line/console_settings.h"
#include "base/command_line/shown_text.h"
#include "base/command_line/suggestion.h"
#include "base/console/console.h"
#include "base/console/error_output.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/errors/plain_words.h"
#include "constants/catalog/catalog.h"
#include "platform/fileio/settings_file.h"

namespace kalvor {

using CommandLine::ParameterList;

namespace {

constexpr OptionUse kCustom{"custom", "help custom"};

// The constant's own word.
std::unique_ptr<Constant> read_constant(const ParameterList& parameters) {
    const std::string& raw = parameters.current_raw();
    try {
        return make_constant(parameters.current().first, parameters.current_value());
    } catch (...) {
        const std::vector<std::string> known = constant_tokens();
        const std::string& token = parameters.current().first;
        const std::string list = " Known: " + CommandLine::list_of(known) + ".";
        std::string text;
        if (std::find(known.begin(), known.end(), token) != known.end()) {
            text = "custom: " + CommandLine::quoted(raw) + " cannot be used.";
            if (!constant_takes_argument(token)) {
                text += " Write \"custom " + token + "\".";
            } else if (parameters.current_value().empty()) {
                text += " Its argument stands behind a colon: custom " + token + ":<argument>.";
            }
        } else if (raw.starts_with('-')) {
            text = CommandLine::quoted(raw) + " stands where the constant's name belongs." +
                   CommandLine::did_you_mean("custom " + ComputeSettings().constant->token() + " " +
                                             CommandLine::shown(raw, 60)) +
                   list;
        } else {
            text = "custom: " + CommandLine::quoted(raw) + " is not a constant." +
                   CommandLine::did_you_mean(CommandLine::nearest_name(token, known)) + list;
        }
        Console::print_problem(text + "\n" + CommandLine::see_help(kCustom.page));
        throw;
    }
}

void print_warning(const std::string& warning) {
    if (!warning.empty()) Console::labelled_line("Warning", warning, 'Y');
}

// The word that an option takes may be meant as an option of its own.
void warn_of_option_as_word(const CommandLine::OptionRow<ComputeChoices>& option,
                            const ParameterList& parameters, const ComputeOptions& options) {
    const auto* const kind = takes_next_word(option);
    const std::string* const next = parameters.next();
    if (!kind || !next || parameters.current_raw().find(':') != std::string::npos) return;
    if (!find_option(options, next->substr(0, next->find(':')))) return;
    Console::labelled_line("Warning",
                           option.text.name + " takes the next word whatever it is: " + kind->consequence +
                               " " + CommandLine::quoted(*next) + ".",
                           'Y');
}

}  // namespace

void choose_threads(ComputeChoices& choices, const char* page) {
    ParallelismSettings& parallelism = choices.settings.parallelism;
    const u64 threads = *choices.threads;
    const ParallelismSettings usual(threads);
    if (!choices.framework_chosen || threads == 1) {
        parallelism.framework = usual.framework;
    }
    const std::string name = parallelism.framework->name();
    if (threads != 1 && name == "none") {
        throw CommandLine::RefusedException("-threads: the framework \"none\" runs on one thread, not on " +
                                            std::to_string(threads) + ". Leave out -PF or name another.\n" +
                                            CommandLine::see_help(page));
    }
    const bool limited = parallelism.framework->limit_threads(threads);
    if (!choices.tasks_chosen)
        parallelism.task_decomposition = limited || threads == 1 ? usual.task_decomposition.value() : threads;
    if (limited || threads == 1) return;
    Console::labelled_line("Note",
                           "\"" + name + "\" has no limit of threads. The work is split into " +
                               Console::format_commas(parallelism.task_decomposition) + " tasks.",
                           'Y');
}

ComputeOptions options_named(const SettingsTable& table, std::span<const std::string_view> names) {
    ComputeOptions options;
    for (const auto& option : option_table(table)) {
        if (std::find(names.begin(), names.end(), option.text.name) != names.end()) options.push_back(option);
    }
    return options;
}

bool read_compute_option(ComputeChoices& choices, ParameterList& parameters, const ComputeOptions& options,
                         const OptionUse& use) {
    const auto* const option = find_option(options, parameters.current().first);
    if (!option) return false;
    warn_of_option_as_word(*option, parameters, options);
    read_option(*option, choices, parameters, use.page, Console::print_problem);
    parameters.advance();
    return true;
}

void refuse_compute_option(const ParameterList& parameters, const ComputeOptions& options,
                           const OptionUse& use) {
    const std::string action = use.action;
    if (CommandLine::find_console_option(parameters.current().first)) {
        const std::string text = CommandLine::shown(parameters.current_raw());
        CommandLine::refuse_word(
            parameters, "\"" + text + "\" is a console option and stands before the action: kalvor " + text +
                            " " + action + " ...\n" + CommandLine::see_help(use.page));
    }
    CommandLine::refuse_option(parameters, "an option of \"" + action + "\"", CommandLine::names_of(options),
                               use.page);
}

namespace {

void check_bbp_digits(const ComputeSettings& settings, const OptionUse& use) {
    if (!settings.constant->has_extractor())
        throw ExplainedException(
            "Option -bbp is only for " + names_with_extractor() + ".",
            "-bbp: \"" + std::to_string(settings.bbp_digits) + "\" cannot be used for \"" +
                settings.constant->token() + "\". Digits are computed without those before them for " +
                names_with_extractor() + " alone. Leave the option out.\n" + CommandLine::see_help(use.page));
    const u64 there = settings.size.hexadecimal_digits;
    if (settings.bbp_digits <= there) return;
    throw CommandLine::RefusedException("-bbp: the run has only " + Console::format_commas(there) +
                                        " hexadecimal digits.\n" + CommandLine::see_help(use.page));
}

// Refused, because a user would expect the file to hold what was silently left out.
void refuse_what_files_cannot_hold(const ComputeSettings& settings, const SettingsTable& table,
                                   const OptionUse& use) {
    for (const SettingRow& row : table) {
        if (!row.lost_in_file || !row.lost_in_file(settings)) continue;
        throw CommandLine::RefusedException("-save: a settings file cannot hold " + row.option.text.name +
                                            ".\n" + CommandLine::see_help(use.page));
    }
}

}  // namespace

ComputeCommand settle(ComputeChoices&& choices, const OptionUse& use, const SettingsTable& table) {
    ComputeSettings& settings = choices.settings;
    if (choices.threads) choose_threads(choices, use.page);
    print_warning(settings.set_decimal_digits(
        choices.decimal_digits.value_or(static_cast<i64>(settings.size.decimal_digits))));
    if (!choices.decimal_digits) {
        Console::labelled_line("Note",
                               "No -dec is given: the default of " +
                                   Console::format_commas(settings.size.decimal_digits) +
                                   " decimal digits is taken.",
                               'Y');
    }
    print_warning(settings.check_compression());
    if (settings.bbp_digits != 0) check_bbp_digits(settings, use);
    if (!choices.save_path.empty()) refuse_what_files_cannot_hold(settings, table, use);
    if (!choices.save_path.empty())
        choices.save_path = FileIO::with_config_extension(std::move(choices.save_path));
    return {std::move(settings), std::move(choices.save_path)};
}

ComputeCommand parse_custom_options(ParameterList& parameters, const SettingsTable& table) {
    const ComputeOptions options = option_table(table);
    ComputeChoices choices;
    choices.settings.constant = read_constant(parameters);
    parameters.advance();
    while (parameters.has_more()) {
        if (!read_compute_option(choices, parameters, options, kCustom))
            refuse_compute_option(parameters, options, kCustom);
    }
    return settle(std::move(choices), kCustom, table);
}

std::optional<RunRecord> run_or_save(ComputeCommand command, const AuthorizationToken& token) {
    if (command.save_path.empty()) return run_on_console(std::move(command.settings), token);
    FileIO::write_config_file(command.save_path, "CustomCompute", save_compute_settings(command.settings));
    Console::labelled_line("Written", CommandLine::shown_path(command.save_path), 'G');
    return std::nullopt;
}

}  // namespace kalvor
