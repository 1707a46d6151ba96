#include "app/settings/compute_table.h"

#include <algorithm>

#include "app/settings/compute_views.h"
#include "base/command_line/value_text.h"
#include "base/errors/exceptions.h"
#include "constants/catalog/catalog.h"

namespace kalvor {

using CommandLine::CountOrSwitchValue;
using CommandLine::CountValue;
using CommandLine::NextWordValue;
using CommandLine::OptionTable;
using CommandLine::SwitchValue;
using CommandLine::WordValue;

namespace {

using S = ComputeSettings;
using C = ComputeChoices;
using Name = const std::string&;

constexpr i64 kAnyCount = -0x7FFFFFFFFFFFFFFF;
constexpr const char* kRightBbp = "Write a number from 8 to 1,048,576.";
constexpr const char* kRightTasks = "Write a number from 1 to 65,536.";

// A member of the settings that is on or off, as an option; a setting of files too if `of` is given.
SettingRow switch_row(SettingRow row, bool S::*member) {
    const S defaults;
    row.values = R"("true" or "false")";
    row.option.text.value_form = ":<switch>";
    row.option.text.fallback = defaults.*member ? "on" : "off";
    row.option.value = SwitchValue<C>{[member](C& c, bool on) { c.settings.*member = on; }};
    if (!row.of) row.lost_in_file = [member](const S& s) { return s.*member != S().*member; };
    return row;
}

// An option that only swap mode has: known, not on the help page, refused.
SettingRow swap_mode_row(const char* name) {
    return {.option = {{name, ":<value>", "", "It belongs to swap mode, which this version does not have."},
                       WordValue<C>{[name](C&, Name) {
                           throw InvalidParametersException(
                               "", std::string("Option ") + name + " is not supported for this mode.");
                       }}}};
}

void set_threads(C& c, i64 threads) {
    if (threads > static_cast<i64>(TaskDecomposition::kMost)) {
        throw InvalidParametersException("", "The number of threads must be between 1 and 65,536.");
    }
    c.threads = static_cast<u64>(threads);
}

void set_bbp_digits(C& c, i64 digits) {
    constexpr i64 kMost = 1048576;  // digits/bbp/bbp_formulas.h
    if (digits > kMost) {
        throw InvalidParametersException(
            "", "The number of digits to be computed a second time must be between 8 and 1,048,576.");
    }
    c.settings.bbp_digits = static_cast<u64>(digits);
}

// A script's unset variable is not meant as no file.
Name not_empty(Name path, const char* option) {
    if (path.empty()) throw InvalidParametersException("", std::string(option) + ": the path is empty.");
    return path;
}

SettingsTable make_table() {
    return {
        {.of = constant_setting(),
         .member = "Constant",
         .values = "token",
         .menu_number = 1,
         .option = {.names = [](const C&) { return constant_tokens(); }}},
        {.of = decimal_digits_setting(),
         .member = "ComputeSize",
         .values = "count",
         .menu_number = 3,
         .option = {{"-dec", ":<n>", "decimal digits: 1000000, 1m, 1e6", CommandLine::kRightNumber,
                     std::to_string(S().size.decimal_digits / 1000000) + "m"},
                    CountValue<C>{0, [](C& c, i64 n) { c.decimal_digits = n; }}},
         .meaning = "decimal digits: `1000000`, `1,000,000`, `1m`, `1.5m` or `1e6`; k, m, b (or g) and t "
                    "stand for 10^3, 10^6, 10^9 and 10^12"},
        {.of = hexadecimal_digits_setting(),
         .member = "ComputeSize",
         .values = R"("true" or "false")",
         .menu_number = 4,
         .option = {{"-hex", ":<n>", "hexadecimal digits as well, 0: none", "Write 0, 1 or how many.", "0"},
                    CountOrSwitchValue<C>{[](C& c, bool on) { c.settings.enable_hex = on; }}},
         .meaning = "hexadecimal digits as well: `0` or `off` for none, any other number or `on` for as many "
                    "as the decimal digits make"},
        {.of = algorithm_setting(),
         .member = "Constant",
         .values = "token, and Argument : integer where the constant has one",
         .menu_number = 2,
         .option = {{"-algorithm", ":<name>", "by name or number (from 0)", "",
                     S().constant->algorithm_tokens().front(), true},
                    WordValue<C>{[](C& c, Name token) { c.settings.constant->select_algorithm(token); }},
                    [](const C& c) { return c.settings.constant->algorithm_tokens(); }},
         .meaning = "the series, by its name or its number from 0 on (the reduced ones take 4 to 16 % less "
                    "memory)"},
        {.of = path_setting(),
         .member = "Output",
         .values = "folder, empty for the current one",
         .menu_number = 5,
         .option = {{"-o", " <folder>", "folder for the digits, made when it is missing", ""},
                    NextWordValue<C>{[](C& c, Name path) { c.settings.path = path; },
                                     "the digits go into the folder"}}},
        switch_row({.of = switch_setting("OutputEnable", "     Digit Output:", &S::output_enable),
                    .member = "Output",
                    .option = {{"-od", "", "write digits or not", ""}},
                    .meaning = "write digits"},
                   &S::output_enable),
        switch_row({.of = switch_setting("OutputVerify", "     Verify Output:", &S::output_verify),
                    .member = "OutputVerify",
                    .menu_number = 7,
                    .option = {{"-verify", "", "read written files back", ""}},
                    .meaning = "read the files back"},
                   &S::output_verify),
        switch_row({.option = {{"-overwrite", "", "replace longer, read-only files", ""}},
                    .meaning = "replace a digit file that is longer or read-only"},
                   &S::overwrite),
        {.option = {{"-minspace", ":<switch>", "refuse if space lacks", "", "on above an hour"},
                    SwitchValue<C>{[](C& c, bool on) { c.settings.minimum_space = on; }}},
         .meaning = "refuse to start when the disk has too little space, instead of warning",
         .lost_in_file = [](const S& s) { return s.minimum_space.has_value(); }},
        switch_row({.option = {{"-force", "", "run without enough memory", ""}},
                    .meaning = "run although the machine has too little memory"},
                   &S::force),
        {.option = {{"-save", " <file>", "write a settings file, run nothing", ""},
                    NextWordValue<C>{[](C& c, Name path) { c.save_path = not_empty(path, "-save"); },
                                     "the settings are written to"}},
         .meaning = "write the settings to a file for `config` (`.cfg` is added to a name without a dot) "
                    "instead of running"},
        {.option = {{"-log", " <file>", "append the run's events to a file", ""},
                    NextWordValue<C>{[](C& c, Name path) { c.settings.log_path = not_empty(path, "-log"); },
                                     "the events are appended to"}},
         .meaning = "append every event of the run to a file, at once",
         .lost_in_file = [](const S& s) { return !s.log_path.empty(); }},
        {.option = {{"-bbp", ":<n>", "check last hex. digits (" + names_with_extractor() + ")", kRightBbp,
                     "32 up to 10m"},
                    CountValue<C>{8, set_bbp_digits}},
         .meaning = "only " + names_with_extractor() +
                    ": compute the last n hexadecimal digits (8 to 1,048,576) a second time by another "
                    "formula and compare; needs neither `-hex` nor files; runs of more than 10m digits and "
                    "those with `-verify:0` do so only with this option",
         .lost_in_file = [](const S& s) { return s.bbp_digits != 0; }},
        {.option = {{"-threads", ":<n>", "threads, 1 to 65,536", kRightTasks, "all processors"},
                    CountValue<C>{1, set_threads}},
         .meaning = "threads to compute with, 1 to 65,536"},
        {.of = task_decomposition_setting(),
         .member = "Parallelism",
         .values = "1 to 65536",
         .option = {{"-TD", ":<n>", "tasks that work is split into, 1 to 65,536", kRightTasks},
                    CountValue<C>{kAnyCount,
                                  [](C& c, i64 tasks) {
                                      c.settings.parallelism.task_decomposition.choose(tasks);
                                      c.tasks_chosen = true;
                                  }}}},
        {.of = framework_setting(),
         .member = "Parallelism",
         .values = "name, and the framework's own members",
         .menu_number = 9,
         .option = {{"-PF", ":<name>", "parallel framework", "", kDefaultFramework},
                    WordValue<C>{[](C& c, Name name) {
                        c.settings.parallelism.framework.choose(name);
                        c.framework_chosen = true;
                    }},
                    [](const C&) { return framework_names(); },
                    [](Name name) { return left_out_reason(name); }}},
        {.of = allocator_setting(),
         .member = "Allocator",
         .values = "name, and the allocator's own members",
         .option = {{"-MA", ":<name>", "memory allocator", "", kDefaultAllocator},
                    WordValue<C>{[](C& c, Name name) { c.settings.allocator.choose(name); }},
                    [](const C&) { return allocator_names(); }}},
        {.of = mode_setting(),
         .member = "Mode",
         .values = R"("ram")",
         .menu_number = 8,
         .option = {{"-mode", ":ram", "everything in memory", ""},
                    WordValue<C>{[](C&, Name mode) { check_mode(mode, "-mode:ram"); }},
                    [](const C&) { return std::vector<std::string>{"ram"}; }}},
        {.of = digit_format_setting(),
         .member = "Output",
         .values = "count",
         .menu_number = 6,
         .option = {{"-C", ":<n>", "digits per compressed file", "", "text files"},
                    CountValue<C>{kAnyCount, [](C& c, i64 count) { c.settings.digits_per_file = count; }}},
         .other_word = "-compress",
         .meaning = "write compressed files (.kvd) of n digits each, n a million or more; `-1`: all digits "
                    "in one file"},
        swap_mode_row("-M"),
        swap_mode_row("-minIO"),
        swap_mode_row("-swap"),
    };
}

constexpr FileMember kFileMembers[] = {
    {"Constant", "Custom Compute", FileMember::object_of_settings},
    {"ComputeSize", "Computation Size", FileMember::object_of_settings},
    {"Output", "Output Format", FileMember::object_of_settings},
    {"OutputVerify", "Custom Compute", FileMember::setting},
    {"Mode", "", FileMember::setting},
    {"Parallelism", ParallelismSettings::kContext, FileMember::object_of_settings},
    {"Allocator", "Memory Allocator", FileMember::object_of_settings},
    {"Memory", "", FileMember::not_read},
    {"Checkpointing", ParallelismSettings::kContext, FileMember::not_read},
    {"FarMemoryTuning", "", FileMember::not_read},
    {"FarMemoryConfig", "FarMemory", FileMember::not_read},
};

}  // namespace

std::vector<const SettingRow*> menu_rows(const SettingsTable& table) {
    std::vector<const SettingRow*> rows;
    for (const SettingRow& row : table) {
        if (row.menu_number != 0) rows.push_back(&row);
    }
    std::sort(rows.begin(), rows.end(),
              [](const SettingRow* a, const SettingRow* b) { return a->menu_number < b->menu_number; });
    return rows;
}

const SettingsTable& compute_settings_table() {
    static const SettingsTable table = make_table();
    return table;
}

std::span<const FileMember> compute_file_members() {
    return kFileMembers;
}

OptionTable<C> option_table(const SettingsTable& table) {
    OptionTable<C> options;
    for (const SettingRow& row : table) {
        if (row.option.text.name.empty()) continue;
        options.push_back(row.option);
        if (*row.other_word == 0) continue;
        options.push_back(row.option);
        options.back().text.name = row.other_word;
        options.back().text.help.clear();  // the page has the first word
    }
    return options;
}

}  // namespace kalvor
