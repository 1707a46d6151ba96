#include "app/settings/custom_options.h"

#include "base/command_line/console_settings.h"
#include "base/command_line/shown_text.h"
#include "base/command_line/suggestion.h"
#include "base/console/console.h"
#include "base/console/error_output.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "constants/catalog/catalog.h"

namespace kalvor {

using trel::i64;
using trel::InvalidParametersException;
using trel::u64;
using trel::CommandLine::CountValue;
using trel::CommandLine::NextWordValue;
using trel::CommandLine::OptionRow;
using trel::CommandLine::OptionTable;
using trel::CommandLine::ParameterList;
using trel::CommandLine::SwitchValue;
using trel::CommandLine::WordValue;
using trel::Config::Object;
namespace Console = trel::Console;

namespace {

using Choices = CustomChoices;

constexpr const char* kPage = "help custom";
constexpr i64 kAnyCount = -0x7FFFFFFFFFFFFFFF;

[[noreturn]] void not_supported(const char* option) {
    throw InvalidParametersException("",
                                     std::string("Option ") + option + " is not supported for this mode.");
}

void set_mode(const std::string& mode) {
    if (mode == "ram") return;
    if (mode == "swap")
        throw InvalidParametersException("", "Swap mode is not available in this version. Use -mode:ram.");
    throw InvalidParametersException("", "Invalid Mode: " + trel::CommandLine::shown(mode));
}

void set_compression(Choices& c, i64 digits_per_file) {
    c.settings.digits_per_file = digits_per_file;
}

void set_tasks(Choices& c, i64 tasks) {
    trel::ParallelismSettings::check_task_decomposition(tasks);
    c.settings.parallelism.task_decomposition = static_cast<u64>(tasks);
    c.tasks_chosen = true;
}

void set_threads(Choices& c, i64 threads) {
    if (threads > static_cast<i64>(trel::ParallelismSettings::kMaxTaskDecomposition)) {
        throw InvalidParametersException("", "The number of threads must be between 1 and 65,536.");
    }
    c.threads = static_cast<u64>(threads);
}

// Options that only swap mode has: known, not on the help page, refused.
OptionRow<Choices> of_swap_mode(const char* name) {
    return {{name, ":<value>", "", "It belongs to swap mode, which this version does not have."},
            WordValue<Choices>{[name](Choices&, const std::string&) { not_supported(name); }}};
}

OptionTable<Choices> make_option_table() {
    using C = Choices;
    using Word = const std::string&;
    const auto frameworks = [](const C&) { return trel::framework_names(); };
    const auto allocators = [](const C&) { return trel::allocator_names(); };
    const auto algorithms = [](const C& c) { return c.settings.constant->algorithm_tokens(); };
    const auto modes = [](const C&) { return std::vector<std::string>{"ram"}; };
    return {
        {{"-dec", ":<n>", "decimal digits: 1000000, 1m, 1e6; default: 50m",
          "Write 1000000, 1m or 1,000,000."},
         CountValue<C>{0, [](C& c, i64 n) { c.decimal_digits = n; }}},
        {{"-hex", ":<switch>", "also write hexadecimal digits", ""},
         SwitchValue<C>{[](C& c, bool on) { c.settings.enable_hex = on; }}},
        {{"-algorithm", ":<name>", "algorithm, by its name or its number from 0 on", ""},
         WordValue<C>{[](C& c, Word token) { c.settings.constant->select_algorithm(token); }},
         algorithms},
        {{"-o", " <folder>", "folder for the digits, made when it is missing", ""},
         NextWordValue<C>{[](C& c, Word path) { c.settings.path = path; }}},
        {{"-od", ":<switch>", "write digits or not; default: on", ""},
         SwitchValue<C>{[](C& c, bool on) { c.settings.output_enable = on; }}},
        {{"-verify", ":<switch>", "check conversion and files; default: on", ""},
         SwitchValue<C>{[](C& c, bool on) { c.settings.output_verify = on; }}},
        {{"-overwrite", ":<switch>", "replace longer, read-only files; default: off", ""},
         SwitchValue<C>{[](C& c, bool on) { c.settings.overwrite = on; }}},
        {{"-minspace", ":<switch>", "refuse if space lacks; default: on above an hour", ""},
         SwitchValue<C>{[](C& c, bool on) { c.settings.minimum_space = on; }}},
        {{"-force", ":<switch>", "run without enough memory; default: off", ""},
         SwitchValue<C>{[](C& c, bool on) { c.settings.force = on; }}},
        {{"-threads", ":<n>", "threads, 1 to 65,536; default: all processors",
          "Write a number from 1 to 65,536."},
         CountValue<C>{1, set_threads}},
        {{"-TD", ":<n>", "tasks that work is split into, 1 to 65,536", "Write a number from 1 to 65,536."},
         CountValue<C>{kAnyCount, set_tasks}},
        {{"-PF", ":<name>", "parallel framework", ""},
         WordValue<C>{[](C& c, Word name) {
             c.settings.parallelism.framework = trel::make_default_framework_config(name);
             c.framework_chosen = true;
         }},
         frameworks,
         [](Word name) { return trel::left_out_reason(name); }},
        {{"-MA", ":<name>", "memory allocator", ""},
         WordValue<C>{
             [](C& c, Word name) { c.settings.allocator = trel::make_default_allocator_config(name); }},
         allocators},
        {{"-mode", ":ram", "everything in memory", ""},
         WordValue<C>{[](C&, Word mode) { set_mode(mode); }},
         modes},
        {{"-C", ":<n>", "", ""}, CountValue<C>{kAnyCount, set_compression}},
        {{"-compress", ":<n>", "", ""}, CountValue<C>{kAnyCount, set_compression}},
        of_swap_mode("-M"),
        of_swap_mode("-minIO"),
        of_swap_mode("-swap"),
    };
}

// Sets the framework's own limit of threads; false when it has none. Workers of "taskqueue" come beside the
// dispatching thread, which works too; the others count it.
bool set_thread_limit(trel::ParallelismSettings& parallelism, u64 threads) {
    const Object before = parallelism.framework->to_config();
    if (!before.contains(trel::WorkerThreads::kKey)) return false;
    const u64 beside = parallelism.framework->name() == "taskqueue" ? 1 : 0;
    Object after;
    after.add_string("Framework", parallelism.framework->name());
    for (const auto& entry : before.entries()) {
        if (entry->key == trel::WorkerThreads::kKey) {
            after.add_integer(entry->key, static_cast<i64>(threads - beside));
        } else {
            after.add_node(entry->key, entry->value->clone());
        }
    }
    parallelism.framework = trel::make_framework_config(after);
    return true;
}

// The constant's own word.
std::unique_ptr<Constant> read_constant(const ParameterList& parameters) {
    const std::string& raw = parameters.current_raw();
    try {
        return make_constant(parameters.current().first, parameters.current_value());
    } catch (...) {
        const std::vector<std::string> known = constant_tokens();
        std::string text;
        if (raw.starts_with('-')) {
            text = trel::CommandLine::quoted(raw) + " stands where the constant's name belongs." +
                   trel::CommandLine::did_you_mean("custom " + known.front() + " " +
                                                   trel::CommandLine::shown(raw, 60));
        } else {
            text = "custom: " + trel::CommandLine::quoted(raw) + " is not a constant." +
                   trel::CommandLine::did_you_mean(
                       trel::CommandLine::nearest_name(parameters.current().first, known));
        }
        Console::print_problem(text + " Known: " + trel::CommandLine::list_of(known) + ".\n" +
                               trel::CommandLine::see_help(kPage));
        throw;
    }
}

[[noreturn]] void refuse_option(const ParameterList& parameters) {
    const std::string& raw = parameters.current_raw();
    const auto& console_options = trel::CommandLine::console_option_table();
    if (console_options.contains(parameters.current().first)) {
        const std::string text = trel::CommandLine::shown(raw);
        Console::print_problem("\"" + text + "\" is a console option and stands before the action: kalvor " +
                               text + " custom ...\n" + trel::CommandLine::see_help(kPage));
    } else {
        Console::print_problem(trel::CommandLine::unknown_option(
            raw, "an option of \"custom\"", trel::CommandLine::names_of(custom_option_table()), kPage));
    }
    {
        const Console::ErrorOutput errors;
        Console::error_line("Invalid Parameter: " + trel::CommandLine::shown(raw));
    }
    Console::fatal_exit(1);
}

// The argument of "-o" may be meant as an option of its own.
void warn_of_option_as_folder(const ParameterList& parameters) {
    const std::string* const next = parameters.next();
    if (!next || parameters.current_raw().find(':') != std::string::npos) return;
    if (!find_option(custom_option_table(), next->substr(0, next->find(':')))) return;
    Console::labelled_line("Warning",
                           "-o takes the next word whatever it is: the digits go into the folder " +
                               trel::CommandLine::quoted(*next) + ".",
                           'Y');
}

}  // namespace

const OptionTable<CustomChoices>& custom_option_table() {
    static const OptionTable<CustomChoices> table = make_option_table();
    return table;
}

void choose_threads(CustomChoices& choices) {
    trel::ParallelismSettings& parallelism = choices.settings.parallelism;
    const u64 threads = *choices.threads;
    const u64 usual_tasks = trel::ParallelismSettings(threads).task_decomposition;
    if (!choices.framework_chosen || threads == 1) {
        parallelism.framework = trel::ParallelismSettings(threads).framework;
    }
    const std::string name = parallelism.framework->name();
    if (threads != 1 && name == "none") {
        throw trel::CommandLine::RefusedException(
            "-threads: the framework \"none\" runs on one thread, not on " + std::to_string(threads) +
            ". Leave out -PF or name another.\n" + trel::CommandLine::see_help(kPage));
    }
    const bool limited = set_thread_limit(parallelism, threads);
    if (!choices.tasks_chosen)
        parallelism.task_decomposition = limited || threads == 1 ? usual_tasks : threads;
    if (limited || threads == 1) return;
    Console::labelled_line("Note",
                           "\"" + name + "\" has no limit of threads. The work is split into " +
                               Console::format_commas(parallelism.task_decomposition) + " tasks.",
                           'Y');
}

ComputeSettings parse_custom_options(ParameterList& parameters) {
    CustomChoices choices;
    ComputeSettings& settings = choices.settings;
    settings.constant = read_constant(parameters);
    parameters.advance();
    while (parameters.has_more()) {
        const auto* const option = find_option(custom_option_table(), parameters.current().first);
        if (!option) refuse_option(parameters);
        if (option->text.name == "-o") warn_of_option_as_folder(parameters);
        read_option(*option, choices, parameters, kPage, Console::print_problem);
        parameters.advance();
    }
    if (choices.threads) choose_threads(choices);
    settings.set_decimal_digits(
        choices.decimal_digits.value_or(static_cast<i64>(settings.size.decimal_digits)));
    if (!choices.decimal_digits) {
        Console::labelled_line("Note",
                               "No -dec is given: the default of " +
                                   Console::format_commas(settings.size.decimal_digits) +
                                   " decimal digits is taken.",
                               'Y');
    }
    settings.check_compression();
    if (settings.digits_per_file != 0) {
        Console::print_problem("-C: this version writes digits as text only. Leave the option out.\n" +
                               trel::CommandLine::see_help(kPage));
        throw InvalidParametersException(
            "", "Compressed digit files are not available in this version. Use -C:0.");
    }
    return std::move(choices.settings);
}

}  // namespace kalvor
