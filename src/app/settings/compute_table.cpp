#include "app/settings/compute_table.h"

#include "base/command_line/shown_text.h"
#include "base/command_line/value_text.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/settings/setting_lines.h"
#include "constants/catalog/catalog.h"

namespace kalvor {

using CommandLine::CountValue;
using CommandLine::NextWordValue;
using CommandLine::OptionTable;
using CommandLine::SwitchValue;
using CommandLine::WordValue;
using Config::Integer;
using Config::Node;
using Config::Object;
using Config::String;

namespace {

using S = ComputeSettings;
using C = ComputeChoices;
using Word = const std::string&;
using Names = std::vector<std::string>;

constexpr i64 kAnyCount = -0x7FFFFFFFFFFFFFFF;
constexpr const char* kRightTasks = "Write a number from 1 to 65,536.";

std::unique_ptr<Node> node(std::string text) {
    return std::make_unique<String>(std::move(text));
}

std::unique_ptr<Node> node(i64 number) {
    return std::make_unique<Integer>(number);
}

// A member of the settings that is on or off; as an option if the row names one.
SettingRow switch_row(SettingRow row, bool S::*member) {
    const S defaults;
    row.values = R"("true" or "false")";
    row.load = [member](S& s, const FileValue& file) { s.*member = file.on(); };
    if (!row.text) row.text = [member](const S& s) { return s.*member ? "Enabled" : "Disabled"; };
    row.option.text.value_form = ":<switch>";
    row.option.text.fallback = defaults.*member ? "on" : "off";
    row.option.value = SwitchValue<C>{[member](C& c, bool on) { c.settings.*member = on; }};
    return with_value(std::move(row), [member](const S& s) { return node(s.*member ? "true" : "false"); });
}

// A member that is a Setting.
SettingRow setting_row(SettingRow row, Setting& (*of)(S&)) {
    row.load = [of](S& s, const FileValue& file) { of(s).load(file.object, file.context); };
    // Saving only reads.
    const auto in = [of](const S& s) -> const Setting& { return of(const_cast<S&>(s)); };
    row.save = [in](const S& s, Object& object) { in(s).save(object); };
    row.add_selector = [in](const S& s, Object& object) { in(s).add_selector(object); };
    if (!row.text) row.text = [in](const S& s) { return in(s).display_text(); };
    return row;
}

// An option that only swap mode has: known, not on the help page, refused.
SettingRow swap_mode_row(const char* name) {
    return {.option = {{name, ":<value>", "", "It belongs to swap mode, which this version does not have."},
                       WordValue<C>{[name](C&, Word) {
                           throw InvalidParametersException(
                               "", std::string("Option ") + name + " is not supported for this mode.");
                       }}}};
}

void check_mode(Word mode, const char* right) {
    if (mode == "ram") return;
    if (mode == "swap") {
        throw InvalidParametersException(
            "", std::string("Swap mode is not available in this version. Use ") + right + ".");
    }
    throw InvalidParametersException("", "Invalid Mode: " + CommandLine::shown(mode));
}

void load_digits_per_file(S& s, const FileValue& file) {
    s.digits_per_file = file.integer();
    file.warn(s.check_compression());
    if (s.digits_per_file == 0) return;
    throw InvalidParametersException(
        "", "Compressed digit files are not available in this version. Use \"DigitsPerFile : 0\".");
}

std::string digit_format(const S& s) {
    if (!s.output_enable) return "Digit Output Disabled";
    if (s.digits_per_file == 0) return "None - Write digits to a text file.";
    if (s.digits_per_file < 0) return "Compress digits into one .kvd file.";
    return "Compress with " + Console::format_commas(static_cast<u64>(s.digits_per_file)) +
           " digits per file.";
}

void set_threads(C& c, i64 threads) {
    if (threads > static_cast<i64>(TaskDecomposition::kMost)) {
        throw InvalidParametersException("", "The number of threads must be between 1 and 65,536.");
    }
    c.threads = static_cast<u64>(threads);
}

SettingRow constant_row() {
    SettingRow row = with_value({.member = "Constant",
                                 .key = "Constant",
                                 .values = "token",
                                 .menu = "  1     Constant:",
                                 .text = [](const S& s) { return s.constant->name_long(); },
                                 .option = {.names = [](const C&) { return constant_tokens(); }}},
                                [](const S& s) { return node(s.constant->token()); });
    // The constant knows what else there is in its object, the algorithm too.
    row.load = [](S& s, const FileValue& file) { s.constant = load_constant(file.object); };
    row.save = [](const S& s, Object& object) { object.add_members(*s.constant->to_config()); };
    return row;
}

SettingRow algorithm_row() {
    SettingRow row = with_value(
        {.member = "Constant",
         .key = "Algorithm",
         .values = "token",
         .load = [](S&, const FileValue&) {},
         .menu = "  2     Algorithm:",
         .text = [](const S& s) { return s.constant->algorithm_long(); },
         .option = {{"-algorithm", ":<name>", "by name or number (from 0)", "",
                     S().constant->algorithm_tokens().front(), true},
                    WordValue<C>{[](C& c, Word token) { c.settings.constant->select_algorithm(token); }},
                    [](const C& c) { return c.settings.constant->algorithm_tokens(); }},
         .meaning = "the series, by its name or its number from 0 on (the reduced ones take 9 to 17 % less "
                    "memory)"},
        [](const S& s) { return node(s.constant->algorithm_token()); });
    row.save = [](const S&, Object&) {};
    return row;
}

SettingRow allocator_row() {
    SettingRow row =
        setting_row({.member = "Allocator",
                     .key = "Allocator",
                     .values = "name, and the allocator's own members",
                     .option = {{"-MA", ":<name>", "memory allocator", "", kDefaultAllocator},
                                WordValue<C>{[](C& c, Word name) { c.settings.allocator.choose(name); }},
                                [](const C&) { return allocator_names(); }}},
                    [](S& s) -> Setting& { return s.allocator; });
    // Type errors name the object alone.
    row.load = [](S& s, const FileValue& file) { s.allocator.load(file.object, ""); };
    return row;
}

SettingsTable make_table() {
    return {
        constant_row(),
        with_value(
            {.member = "ComputeSize",
             .key = "DecimalDigits",
             .values = "count",
             .load = [](S& s, const FileValue& file) { file.warn(s.set_decimal_digits(file.integer())); },
             .menu = "  3     Decimal Digits:",
             .text = [](const S& s) { return Console::format_commas(s.size.decimal_digits); },
             .option = {{"-dec", ":<n>", "decimal digits: 1000000, 1m, 1e6", CommandLine::kRightNumber,
                         std::to_string(S().size.decimal_digits / 1000000) + "m"},
                        CountValue<C>{0, [](C& c, i64 n) { c.decimal_digits = n; }}},
             .meaning = "decimal digits: `1000000`, `1,000,000`, `1m`, `1.5m` or `1e6`; k, m, b (or g) and t "
                        "stand for 10^3, 10^6, 10^9 and 10^12"},
            [](const S& s) { return node(static_cast<i64>(s.size.decimal_digits)); }),
        switch_row({.member = "ComputeSize",
                    .key = "EnableHexDigits",
                    .menu = "  4     Hexadecimal Digits:",
                    .text =
                        [](const S& s) {
                            return s.enable_hex ? Console::format_commas(s.size.hexadecimal_digits)
                                                : "Disabled";
                        },
                    .option = {{"-hex", "", "also write hexadecimal digits", ""}}},
                   &S::enable_hex),
        algorithm_row(),
        with_value({.member = "Output",
                    .key = "Path",
                    .values = "folder, empty for the current one",
                    .load = [](S& s, const FileValue& file) { s.path = file.text(); },
                    .menu = "  5     Output To:",
                    .text = [](const S& s) { return s.path.empty() ? "Default Path" : s.path; },
                    .option = {{"-o", " <folder>", "folder for the digits, made when it is missing", ""},
                               NextWordValue<C>{[](C& c, Word path) { c.settings.path = path; }}}},
                   [](const S& s) { return node(s.path); }),
        switch_row({.member = "Output",
                    .key = "OutputEnable",
                    .option = {{"-od", "", "write digits or not", ""}},
                    .meaning = "write digits"},
                   &S::output_enable),
        switch_row({.member = "OutputVerify",
                    .key = "OutputVerify",
                    .menu = "  7     Verify Output:",
                    .option = {{"-verify", "", "check conversion and files", ""}},
                    .meaning = "verify the conversion and read the files back"},
                   &S::output_verify),
        switch_row({.option = {{"-overwrite", "", "replace longer, read-only files", ""}},
                    .meaning = "replace a digit file that is longer or read-only"},
                   &S::overwrite),
        {.option = {{"-minspace", ":<switch>", "refuse if space lacks", "", "on above an hour"},
                    SwitchValue<C>{[](C& c, bool on) { c.settings.minimum_space = on; }}},
         .meaning = "refuse to start when the disk has too little space, instead of warning"},
        switch_row({.option = {{"-force", "", "run without enough memory", ""}},
                    .meaning = "run although the machine has too little memory"},
                   &S::force),
        {.option = {{"-threads", ":<n>", "threads, 1 to 65,536", kRightTasks, "all processors"},
                    CountValue<C>{1, set_threads}},
         .meaning = "threads to compute with, 1 to 65,536"},
        setting_row({.member = "Parallelism",
                     .key = "TaskDecomposition",
                     .values = "1 to 65536",
                     .option = {{"-TD", ":<n>", "tasks that work is split into, 1 to 65,536", kRightTasks},
                                CountValue<C>{kAnyCount,
                                              [](C& c, i64 tasks) {
                                                  c.settings.parallelism.task_decomposition.choose(tasks);
                                                  c.tasks_chosen = true;
                                              }}}},
                    [](S& s) -> Setting& { return s.parallelism.task_decomposition; }),
        setting_row({.member = "Parallelism",
                     .key = "Framework",
                     .values = "name, and the framework's own members",
                     .menu = "  9     Multi-Threading:",
                     .text = [](const S& s) { return s.parallelism.summary(); },
                     .option = {{"-PF", ":<name>", "parallel framework", "", kDefaultFramework},
                                WordValue<C>{[](C& c, Word name) {
                                    c.settings.parallelism.framework.choose(name);
                                    c.framework_chosen = true;
                                }},
                                [](const C&) { return framework_names(); },
                                [](Word name) { return left_out_reason(name); }}},
                    [](S& s) -> Setting& { return s.parallelism.framework; }),
        allocator_row(),
        with_value({.member = "Mode",
                    .key = "Mode",
                    .values = R"("ram")",
                    .load = [](S&, const FileValue& file) { check_mode(file.text(), "\"Mode : \"ram\"\""); },
                    .menu = "  8     Computation Mode:",
                    .text = [](const S&) { return "Ram Only"; },
                    .option = {{"-mode", ":ram", "everything in memory", ""},
                               WordValue<C>{[](C&, Word mode) { check_mode(mode, "-mode:ram"); }},
                               [](const C&) { return Names{"ram"}; }}},
                   [](const S&) { return node("ram"); }),
        with_value({.member = "Output",
                    .key = "DigitsPerFile",
                    .values = "0",
                    .load = load_digits_per_file,
                    .menu = "  6     Digit Format:",
                    .text = digit_format,
                    .option = {{"-C", ":<n>", "", ""},
                               CountValue<C>{kAnyCount,
                                             [](C& c, i64 count) { c.settings.digits_per_file = count; }}},
                    .other_word = "-compress"},
                   [](const S& s) { return node(s.digits_per_file); }),
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
    {"Checkpointing", "", FileMember::not_read},
    {"FarMemoryTuning", "", FileMember::not_read},
    {"FarMemoryConfig", "", FileMember::not_read},
};

}  // namespace

SettingRow with_value(SettingRow row, const std::function<std::unique_ptr<Node>(const S&)>& value) {
    row.save = [key = row.key, value](const S& s, Object& object) { object.add_node(key, value(s)); };
    row.add_selector = [key = row.key, value, text = row.text](const S& s, Object& object) {
        add_selector(object, key, value(s), text(s));
    };
    return row;
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
    }
    return options;
}

}  // namespace kalvor
