#include "app/benchmark/bench_command.h"

#include "app/benchmark/benchmark_menu.h"
#include "app/benchmark/benchmark_run.h"
#include "base/command_line/shown_text.h"
#include "base/command_line/suggestion.h"
#include "base/console/console.h"
#include "base/console/error_output.h"
#include "base/errors/exceptions.h"

namespace kalvor {

using CommandLine::ParameterList;

namespace {

constexpr OptionUse kBench{"bench", "help bench"};
// Everything else would make it another computation than the one that is compared.
constexpr std::string_view kOptions[] = {"-o",   "-od",        "-TD",       "-PF",    "-MA", "-save",
                                         "-log", "-overwrite", "-minspace", "-force", "-bbp"};

std::vector<std::string> names_of(std::span<const BenchmarkSize> sizes) {
    std::vector<std::string> names;
    for (const BenchmarkSize& size : sizes) names.emplace_back(size.name);
    return names;
}

// Their names, separated by commas, in lines of the page.
std::vector<std::string> lines_of(std::span<const BenchmarkSize> sizes) {
    constexpr std::size_t kColumns = 79;
    const std::string indent = "    ";
    std::vector<std::string> lines = {indent};
    for (const BenchmarkSize& size : sizes) {
        const std::string item = std::string(size.name) + (&size == &sizes.back() ? "" : ",");
        std::string& line = lines.back();
        if (line != indent && line.size() + 1 + item.size() > kColumns) {
            lines.push_back(indent + item);
        } else {
            line += (line == indent ? "" : " ") + item;
        }
    }
    return lines;
}

[[noreturn]] void refuse_word(const ParameterList& parameters, const BenchmarkSizes& sizes) {
    const std::string& raw = parameters.current_raw();
    std::vector<std::string> names = names_of(sizes.presets);
    for (const std::string& name : names_of(sizes.superpi)) names.push_back(name);
    Console::print_problem("bench: " + CommandLine::quoted(raw) +
                           " is not a size. Known: " + CommandLine::list_of(names) + "." +
                           CommandLine::did_you_mean(CommandLine::nearest_name(raw, names)) + "\n" +
                           CommandLine::see_help(kBench.page));
    throw InvalidParametersException("run_bench()", "Invalid Command: " + CommandLine::shown(raw));
}

}  // namespace

std::vector<std::string> bench_help_page() {
    const BenchmarkSizes& sizes = BenchmarkSizes::usual();
    std::vector<std::string> lines = {
        "Usage:  kalvor [console options] bench <size> [options]",
        "",
        "Computes Pi in memory at a size at which machines are compared, holds the",
        "digits against known ones and writes a validation file. Without a size a",
        "menu comes up.",
        "",
        "Sizes:"};
    for (const auto list : {sizes.presets, sizes.superpi}) {
        const auto more = lines_of(list);
        lines.insert(lines.end(), more.begin(), more.end());
    }
    lines.insert(lines.end(), {"", "Options, in any order:"});
    for (const auto& option : options_named(compute_settings_table(), kOptions)) {
        const auto more = CommandLine::help_lines(
            option.text, option.names ? option.names({}) : std::vector<std::string>());
        lines.insert(lines.end(), more.begin(), more.end());
    }
    lines.insert(lines.end(), {"", "Example:  kalvor bench 25m -o out"});
    return lines;
}

bool run_bench(ParameterList& parameters, const AuthorizationToken& token, const BenchmarkSizes& sizes) {
    parameters.advance();
    if (!parameters.has_more()) return run_benchmark_menu(token, sizes);
    const ComputeOptions options = options_named(compute_settings_table(), kOptions);
    ComputeChoices choices;
    const BenchmarkSize* size = nullptr;
    while (parameters.has_more()) {
        if (read_compute_option(choices, parameters, options, kBench)) continue;
        if (parameters.current_raw().starts_with('-')) refuse_compute_option(parameters, options, kBench);
        const BenchmarkSize* const named = sizes.find(parameters.current_raw());
        if (!named || size) refuse_word(parameters, sizes);
        size = named;
        parameters.advance();
    }
    if (!size) throw InvalidParametersException("run_bench()", "No benchmark size selected.");
    choices.decimal_digits = static_cast<i64>(size->digits);
    return run_benchmark(settle(std::move(choices), kBench), token);
}

}  // namespace kalvor
