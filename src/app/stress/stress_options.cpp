#include "app/stress/stress_options.h"

#include <algorithm>

#include "app/stress/stress_test.h"
#include "base/command_line/refusal.h"
#include "base/command_line/shown_text.h"
#include "base/command_line/suggestion.h"
#include "base/console/error_output.h"
#include "base/errors/exceptions.h"
#include "base/prompt/number_text.h"

namespace kalvor {

using CommandLine::CountValue;
using CommandLine::NextWordValue;
using CommandLine::OptionRow;
using CommandLine::OptionTable;
using CommandLine::ParameterList;
using CommandLine::RefusedException;
using CommandLine::SwitchValue;
using CommandLine::WordValue;

namespace {

constexpr const char* kPage = "help stress";
constexpr const char* kFunction = "parse_stress_options()";
constexpr const char* kRightCores = "Write numbers and ranges: -cores:0-3,8.";
constexpr const char* kRightMemory = "Write 768MB, 2.5GB or a number of bytes.";
constexpr const char* kRightSeconds = "Write seconds; 0 means no limit.";

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

void set_cores(StressChoices& choices, const std::string& text) {
    const CoreNumbers& numbers = *choices.machine.cores;
    const auto list = parse_core_list(text, numbers.count());
    if (!list) {
        throw RefusedException("-cores: " + CommandLine::quoted(text) + " is not a list of cores. " +
                               kRightCores);
    }
    if (list->missing) {
        throw InvalidParametersException(kFunction, "Invalid core #: " + std::to_string(*list->missing));
    }
    CoreGroup group(numbers);
    for (const u32 core : list->cores) group |= core;
    choices.settings.cores = group.cores();
}

OptionRow<StressChoices> seconds_row(const char* name, const char* help, u64 StressSettings::*member) {
    return {{name, ":<s>", help, kRightSeconds},
            CountValue<StressChoices>{0, [member](StressChoices& choices, i64 value) {
                                          choices.settings.*member = static_cast<u64>(value);
                                      }}};
}

OptionRow<StressChoices> switch_row(const char* name, const char* help, bool StressSettings::*member) {
    return {{name, ":<switch>", help, ""},
            SwitchValue<StressChoices>{
                [member](StressChoices& choices, bool on) { choices.settings.*member = on; }}};
}

[[noreturn]] void refuse_word(const ParameterList& parameters) {
    const std::string& raw = parameters.current_raw();
    std::vector<std::string> names = CommandLine::names_of(stress_option_table());
    for (const StressTest* test : stress_tests()) names.push_back(test->texts().tag);
    Console::print_problem(CommandLine::unknown_option(raw, "an option of \"stress\"", names, kPage));
    throw InvalidParametersException(kFunction, "Invalid Command: " + CommandLine::shown(raw));
}

}  // namespace

u64 parse_stress_memory(const std::string& text) {
    size_t i = 0;
    u64 digits = 0, points = 0;
    for (; i < text.size() && (is_digit(text[i]) || text[i] == '.'); i++) {
        if (text[i] == '.') {
            points++;
        } else {
            digits++;
        }
    }
    const std::string unit = text.substr(i);
    const std::string tail = unit.empty() ? "" : unit.substr(1);
    const bool binary = !unit.empty() && std::string("KMGTPE").find(unit[0]) != std::string::npos &&
                        (tail.empty() || tail == "B" || tail == "iB");
    const bool decimal = unit == "m" || unit == "b" || unit == "t";
    const bool whole = digits != 0 && points <= 1 && is_digit(text[0]) && is_digit(text[i - 1]) &&
                       (unit.empty() || binary || decimal);
    const auto refuse = [&](const char* is_not) {
        throw RefusedException("-M: " + CommandLine::quoted(text) + is_not + kRightMemory);
    };
    if (!whole) refuse(" is not a memory size. ");
    const auto bytes = Prompt::parse_memory_size(text);
    if (bytes == 0) refuse(" is not an amount of memory. ");
    if (bytes > StressSettings::kMostMemory) return StressSettings::kMostMemory;
    return static_cast<u64>(bytes);
}

const OptionTable<StressChoices>& stress_option_table() {
    static const OptionTable<StressChoices> table = {
        {{"-cores", ":<list>", "logical cores to load (0-3,8); default: all", kRightCores},
         WordValue<StressChoices>{set_cores}},
        switch_row("-local", "memory from each core's own thread; default: on", &StressSettings::local),
        {{"-M", ":<size>", "memory for all; default: a quarter of what is free", kRightMemory},
         WordValue<StressChoices>{[](StressChoices& choices, const std::string& text) {
             choices.settings.total_memory = parse_stress_memory(text);
         }}},
        seconds_row("-pertest", "seconds for each test, 0: no limit; default: 120",
                    &StressSettings::seconds_per_test),
        seconds_row("-total", "seconds for all, 0: no limit; default: 0", &StressSettings::seconds_total),
        switch_row("-stop", "stop at the first error; default: on", &StressSettings::stop_on_error),
        {{"-save", " <path>", "write a settings file (\".cfg\") instead of testing", ""},
         NextWordValue<StressChoices>{[](StressChoices& choices, const std::string& path) {
                                          if (path.empty()) throw RefusedException("-save needs a path.");
                                          choices.save_path = path;
                                      },
                                      "the settings go into the file"}},
    };
    return table;
}

StressChoices parse_stress_options(ParameterList& parameters, const StressMachine& machine) {
    StressChoices choices{StressSettings(machine), machine};
    for (; parameters.has_more(); parameters.advance()) {
        const std::string& raw = parameters.current_raw();
        if (find_stress_test(raw)) {
            if (!choices.tests_named) choices.settings.enable_all(false);
            choices.tests_named = true;
            choices.settings.enable(raw, true);
            continue;
        }
        const auto* const option = find_option(stress_option_table(), parameters.current().first);
        if (!option) refuse_word(parameters);
        read_option(*option, choices, parameters, kPage, Console::print_problem);
    }
    return choices;
}

std::vector<std::string> stress_help_page() {
    std::vector<std::string> lines = {
        "Usage:  kalvor stress [tests] [options]",
        "",
        "Loads logical cores with work whose results are known, and names every core",
        "that miscalculates. Without tests and options a menu asks.",
        "",
        "Tests (all of them unless some are named):",
    };
    for (const StressTest* test : stress_tests()) {
        const StressTest::Texts& texts = test->texts();
        for (const std::string& line : CommandLine::help_lines(
                 {texts.tag, "", std::string(texts.name) + " (" + texts.component + ")", ""}, {})) {
            lines.push_back(line);
        }
    }
    lines.insert(lines.end(), {"", "Options:"});
    for (const auto& row : stress_option_table()) {
        for (const std::string& line : CommandLine::help_lines(row.text, {})) lines.push_back(line);
    }
    lines.insert(lines.end(), {"", "Example:  kalvor stress FFT C17 -M:2G -pertest:10 -total:90 -cores:0-3"});
    return lines;
}

}  // namespace kalvor
