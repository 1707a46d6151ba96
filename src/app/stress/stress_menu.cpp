#include "app/stress/stress_menu.h"

#include <string>

#include "app/menus/config_files.h"
#include "app/stress/core_menu.h"
#include "app/stress/stress_console_run.h"
#include "base/config/section.h"
#include "base/console/console.h"
#include "base/console/format.h"
#include "base/prompt/prompt.h"

namespace kalvor {

namespace {

constexpr u64 kWidth = 24;
constexpr u64 kFirstTest = 11;
constexpr u64 kMostSeconds = u64(INT64_MAX);
constexpr const char* kNoTest = "Please select at least one test.";

// The columns of the test table, as its header has them.
constexpr const char* kHeader =
    "  #   Tag - Test Name               Mem/Thread   Component        CPU------Mem";
constexpr u64 kNameColumn = 6, kMemoryColumn = 36, kComponentColumn = 49, kStateColumn = 66;

std::string padded(std::string text, u64 width) {
    if (text.size() < width) text.resize(width, ' ');
    return text;
}

void print_setting(const char* label, const std::string& value, Console::ColorLetter color) {
    Console::aligned_line(label, kWidth, value, color);
}

void print_pair(const char* numbers, const char* text) {
    Console::print(numbers, 'w');
    Console::print_line(text, 'w');
}

void print_test(u64 number, const StressTest& test, const StressSettings& settings) {
    const StressTest::Texts& texts = test.texts();
    const bool on = settings.has(texts.tag);
    const u64 memory = settings.memory_per_thread();
    const std::string digits = std::to_string(number);
    Console::print(padded(std::string(3 - digits.size(), ' ') + digits, kNameColumn), 'w');
    Console::print(padded(std::string(texts.tag) + " - " + texts.name, kMemoryColumn - kNameColumn),
                   on ? 'T' : 'd');
    Console::print(padded(test.is_small() ? "  small " : Console::format_bytes(memory),
                          kComponentColumn - kMemoryColumn),
                   on ? 'Y' : 'd');
    Console::print(padded(texts.component, kStateColumn - kComponentColumn), on ? 'w' : 'd');
    if (on) {
        // Where between the two ends the work is limited: by the core, or by the way to the memory.
        Console::print_line(std::string(texts.memory_bound, ' ') + "#", 'G');
    } else {
        Console::print_line("Disabled", 'R');
    }
    Console::set_color('w');
}

void print_menu(const StressSettings& settings) {
    Console::print_line("\nComponent Stress Tester", 'P');
    Console::new_line();
    print_setting("  1   Logical Cores:", Console::format_commas(settings.cores.size()), 'Y');
    print_core_lines("", kWidth, settings.cores);
    Console::print(padded("  2   Memory:", kWidth), 'w');
    Console::print(Console::format_bytes(settings.total_memory), 'Y');
    Console::print_line("  ( " + Console::format_bytes(settings.memory_per_thread()) + " per thread )", 'w');
    print_setting("  3   NUMA Mode:", settings.local_text(), 'T');
    print_setting("  4/5 Time Limit:", settings.time_text(), 'Y');
    print_setting("  6   Stop on Error:", settings.stop_on_error ? "Enabled" : "Disabled",
                  settings.stop_on_error ? 'G' : 'R');
    Console::new_line();
    print_pair(" 7/8  ", "Enable All Tests / Disable All Tests");
    print_pair(" 9/10 ", "Load/Save Configuration File");
    Console::new_line();
    Console::print_line(kHeader, 'w');
    u64 number = kFirstTest;
    for (const StressTest* test : stress_tests()) print_test(number++, *test, settings);
    Console::new_line();
    if (settings.tests.empty()) {
        Console::print_line(std::string("      ") + kNoTest, 'R');
    } else {
        Console::print("  0   ", 'w');
        Console::print_line("Start Stress-Testing!", 'G');
    }
    Console::set_color('w');
    Console::new_line();
}

u64 ask_memory() {
    Console::print_line("Please Select a Memory Cap:\n", 'P');
    Console::print_line("Enter a memory limit: (e.g. 768MB, 2.5GB, etc...)", 'w');
    return Prompt::read_memory_size_in_range("Bytes: ", 1, StressSettings::kMostMemory, 'Y');
}

u64 ask_seconds() {
    const u64 seconds =
        Prompt::read_unsigned_in_range("Time in seconds (zero disables limit): ", 0, kMostSeconds, 'Y');
    Console::print_line("Time (seconds) = " + Console::format_commas(seconds), 'w');
    return seconds;
}

}  // namespace

bool run_stress_menu(StressSettings settings, const StressMachine& machine, const StressCalls& calls) {
    for (;;) {
        print_menu(settings);
        const StressTests tests = stress_tests();
        const u64 choice = Prompt::read_unsigned_in_range("option: ", 0, kFirstTest + tests.size() - 1, 'T');
        if (choice != 0) Console::new_line();
        switch (choice) {
            case 0:
                if (!settings.tests.empty()) return run_stress_on_console(settings, calls);
                Console::error_line(kNoTest);
                break;
            case 1:
                settings.cores = core_menu(settings.cores, *machine.cores);
                break;
            case 2:
                settings.total_memory = ask_memory();
                break;
            case 3:
                settings.local = !settings.local;
                break;
            case 4:
                settings.seconds_per_test = ask_seconds();
                break;
            case 5:
                settings.seconds_total = ask_seconds();
                break;
            case 6:
                settings.stop_on_error = !settings.stop_on_error;
                break;
            case 7:
            case 8:
                settings.enable_all(choice == 7);
                break;
            case 9:
                // What cannot be used is reported, and the menu comes again with the settings as they were.
                load_from_menu(StressSettings::kAction, [&](const Config::Object& file) {
                    settings = Config::Section(file, StressSettings::kAction, {})
                                   .read([&](const Config::Object& object) {
                                       return load_stress_settings(object, machine);
                                   });
                });
                break;
            case 10:
                save_from_menu(StressSettings::kAction, stress_settings_to_config(settings));
                break;
            default: {
                const char* const tag = tests[choice - kFirstTest]->texts().tag;
                settings.enable(tag, !settings.has(tag));
            }
        }
    }
}

bool run_stress_menu() {
    const StressMachine machine = StressMachine::of_this_machine();
    return run_stress_menu(StressSettings(machine), machine, StressCalls::of_this_machine());
}

}  // namespace kalvor
