#include "app/benchmark/benchmark_menu.h"

#include "app/benchmark/benchmark_run.h"
#include "app/menus/can_start.h"
#include "app/session/memory_plan.h"
#include "app/session/start_check.h"
#include "base/command_line/shown_text.h"
#include "base/console/console.h"
#include "base/console/format.h"
#include "base/console/wrapped_line.h"
#include "base/errors/exceptions.h"
#include "base/prompt/number_text.h"
#include "base/prompt/prompt.h"
#include "digits/output/replacement.h"

namespace kalvor {

namespace {

constexpr u64 kTypeWidth = 8;
constexpr u64 kDigitsColumn = 26;  // where the digit counts end
constexpr u64 kBlanks = 16;
constexpr u64 kSuperPiMenu = 0;

enum Type : u64 { kSingleThreaded, kMultiThreaded };

std::string right_aligned(const std::string& text, u64 width) {
    return std::string(width - std::min<u64>(text.size(), width), ' ') + text;
}

// One processor leaves nothing to choose.
Type ask_type(const BenchmarkMachine& machine) {
    if (machine.processors <= 1) return kMultiThreaded;
    Console::print_line("Select a Benchmark Type:", 'w');
    Console::new_line();
    Console::aligned_line("  0     ", kTypeWidth, "Single-Threaded", 'G');
    Console::aligned_line("  1     ", kTypeWidth, "Multi-Threaded", 'G');
    Console::new_line();
    return Prompt::read_unsigned_in_range("option: ", 0, 1, 'T') == 0 ? kSingleThreaded : kMultiThreaded;
}

ComputeSettings settings_for(u64 digits, Type type) {
    ComputeSettings settings = benchmark_settings(digits);
    if (type == kSingleThreaded) {
        settings.parallelism.task_decomposition = 1;
        settings.parallelism.framework.choose("none");
    }
    return settings;
}

// The columns from the digits on; `before` stands in front of them.
void print_size(const std::string& before, const BenchmarkSize& size, Type type,
                const os::MemoryStatus& memory) {
    std::string needed = "Not Supported";
    bool fits = false;
    try {
        const ComputeSettings settings = settings_for(size.digits, type);
        const MemoryPlan plan = RunPlan::make(settings, settings.size).memory;
        needed = Console::format_bytes(plan.logical());
        fits = plan.total() <= memory.available_physical;
    } catch (const LimitExceededException&) {
    }
    Console::print(before, 'w');
    Console::print(right_aligned(Console::format_commas(size.digits), kDigitsColumn - before.size()),
                   fits ? 'G' : 'g');
    Console::print(std::string(kBlanks, ' '));
    Console::print_line(needed, fits ? 'Y' : 'y');
}

void print_heading(const BenchmarkMachine& machine) {
    Console::new_line();
    Console::print("Available Memory:   ", 'w');
    Console::print_line(Console::format_bytes(machine.memory.available_physical), 'Y');
    Console::print_line("Option      Decimal Digits          Approx. Memory Needed", 'w');
    Console::new_line();
}

// "  1M   - ": the exponent's last digit says which power, its first one the unit.
std::string superpi_mantissa(u64 option) {
    constexpr char kUnits[] = {' ', 'K', 'M', 'G'};
    return right_aligned(std::to_string(u64(1) << option % 10), 3) + kUnits[option / 10] + "   - ";
}

const BenchmarkSize& ask_superpi(const BenchmarkSizes& sizes, const BenchmarkMachine& machine, Type type) {
    print_heading(machine);
    for (const BenchmarkSize& size : sizes.superpi)
        print_size(superpi_mantissa(size.option), size, type, machine.memory);
    Console::new_line();
    const BenchmarkSize &first = sizes.superpi.front(), &second = sizes.superpi[1],
                        &last = sizes.superpi.back();
    const auto named = [](const BenchmarkSize& size) {
        return std::to_string(size.option) + " for " + std::string(size.name);
    };
    Console::print_line("Enter " + named(first) + ", " + named(second) + ", ... " + named(last) + ".", 'w');
    Console::new_line();
    for (;;) {
        const i128 answer = Prompt::parse_number(Prompt::read_text("option: ", 'T'));
        for (const BenchmarkSize& size : sizes.superpi) {
            if (answer == static_cast<i128>(size.option) || answer == static_cast<i128>(size.digits))
                return size;
        }
    }
}

const BenchmarkSize& ask_size(const BenchmarkSizes& sizes, const BenchmarkMachine& machine, Type type) {
    print_heading(machine);
    for (const BenchmarkSize& size : sizes.presets)
        print_size(right_aligned(std::to_string(size.option), 3), size, type, machine.memory);
    Console::new_line();
    Console::aligned_line("  0     ", kTypeWidth, "I prefer SuperPi sizes... (1M, 2M, 4M...)", 'T');
    Console::new_line();
    const u64 option = Prompt::read_unsigned_in_range("option: ", 0, sizes.presets.size(), 'T');
    return option == kSuperPiMenu ? ask_superpi(sizes, machine, type) : sizes.presets[option - 1];
}

// Whether the size may be run now. A digit file that another run has left may be replaced by longer ones
// only, unless the user says so.
bool settle_replacement(ComputeSettings& settings) {
    constexpr ReplacementWords kWords = {"run_benchmark_menu()", "this size has",
                                         "Choose another size, or replace it."};
    const auto check = [&](bool overwrite) {
        for (const OutputFiles::Request& request : digit_file_requests(settings)) {
            const DigitFormat& format = digit_format(request.format);
            for (const std::string& path :
                 format.final_paths(settings.path + request.base_name, request.amount())) {
                check_replacement(format, path, request.radix, request.digits, overwrite,
                                  FileIO::FileCalls::of_this_machine(), {}, kWords);
            }
        }
    };
    try {
        check(true);
    } catch (const FileIO::FileException&) {
        return true;  // the start's check says why
    }
    try {
        check(false);
        return true;
    } catch (const FileIO::FileException& e) {
        Console::new_line();
        Console::wrapped_line(CommandLine::shown_path(e.path), 0, 'T');
        Console::wrapped_line(e.message, 0, 'Y');
    }
    Console::new_line();
    Console::aligned_line("  0     ", kTypeWidth, "Choose another size", 'G');
    Console::aligned_line("  1     ", kTypeWidth, "Replace the file", 'G');
    Console::new_line();
    settings.overwrite = Prompt::read_unsigned_in_range("option: ", 0, 1, 'T') == 1;
    return settings.overwrite;
}

}  // namespace

BenchmarkMachine BenchmarkMachine::of_this_machine() {
    return {ParallelismSettings().logical_cores, os::memory_status()};
}

bool run_benchmark_menu(const AuthorizationToken& token, const BenchmarkSizes& sizes,
                        const BenchmarkMachine& machine) {
    Console::print_line("Benchmark Pi:", 'P');
    const Type type = ask_type(machine);
    for (;;) {
        ComputeSettings settings = settings_for(ask_size(sizes, machine, type).digits, type);
        if (settle_replacement(settings) && can_start(settings, machine.memory))
            return run_benchmark({std::move(settings), ""}, token);
    }
}

}  // namespace kalvor
