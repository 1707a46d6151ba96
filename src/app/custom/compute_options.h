// A computation on the command line: the options of the action "custom", and of others that compute.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "app/record/run_record.h"
#include "app/session/authorization_token.h"
#include "app/settings/compute_table.h"
#include "base/command_line/option_table.h"
#include "base/command_line/parameter_list.h"
#include "base/names/names.h"

namespace kalvor {

// What a command line asks for.
struct ComputeCommand {
    ComputeSettings settings;
    std::string save_path;  // of the settings file to be written instead of a run; empty: a run
};

// Which action the options belong to, for refusals.
struct OptionUse {
    const char* action;  // "bench"
    const char* page;    // "help bench"
};

using ComputeOptions = CommandLine::OptionTable<ComputeChoices>;

// The options of a table that have these names, in the table's order.
ComputeOptions options_named(const SettingsTable& table, std::span<const std::string_view> names);

// Reads the option at the cursor and moves past it. False for a word that is none of them: nothing is read or
// printed. What cannot be used is reported in a sentence first; then RefusedException,
// InvalidParametersException and the like are thrown.
bool read_compute_option(ComputeChoices& choices, CommandLine::ParameterList& parameters,
                         const ComputeOptions& options, const OptionUse& use);
// The word at the cursor is none of the options: says so, prints "Invalid Parameter: " and ends the program
// with exit code 1.
[[noreturn]] void refuse_compute_option(const CommandLine::ParameterList& parameters,
                                        const ComputeOptions& options, const OptionUse& use);

// After the last option: what depends on two of them. Prints what had to be corrected. Throws what refuses a
// combination. table: the rows of the options that were read.
ComputeCommand settle(ComputeChoices&& choices, const OptionUse& use,
                      const SettingsTable& table = compute_settings_table());

// Everything behind the word "custom": the constant's token, then options. Refuses as the functions above.
ComputeCommand parse_custom_options(CommandLine::ParameterList& parameters,
                                    const SettingsTable& table = compute_settings_table());

// Runs the command, or writes its settings file: then nothing is returned.
std::optional<RunRecord> run_or_save(ComputeCommand command, const AuthorizationToken& token);

// Makes the settings run on this number of threads, 1 to 65,536. One: framework "none". More: the limit of a
// framework that has one; without one the nearest is as many tasks, which is said. A framework and a number
// of tasks that were chosen stay, except that one thread is always "none". page: for refusals.
void choose_threads(ComputeChoices& choices, const char* page = "help custom");

}  // namespace kalvor
