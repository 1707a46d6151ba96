#include "digits/bbp/bbp_menu.h"

#include <string>

#include "base/console/console.h"
#include "base/console/format.h"
#include "base/names/names.h"
#include "base/prompt/prompt.h"
#include "base/version/version.h"
#include "digits/bbp/bbp_console_run.h"

namespace kalvor::BBPv2 {

namespace {

constexpr const char* kVersion = "2.1.16";
constexpr u64 kWidth = 34;

void print_drawing(u64 number) {
    for (const char* line : formula(number).drawing) Console::print_line(line, 'w');
}

void print_number(const char* label, u64 value, Console::ColorLetter color, const char* unit = "") {
    Console::aligned_line(label, kWidth, Console::format_commas(value) + unit, color);
}

void print_banner() {
    Console::new_line();
    Console::print("Kalvor BBP Pi Digit Extractor v", 'g');
    Console::print_line(kVersion, 'w');
    Console::new_line();
    Console::print("Tuning", 'w');
    Console::print("  -  ", 'w');
    Console::print_line(trel::kVersion.target, 't');
    Console::new_line();
}

void print_menu(const BBPSession& session) {
    const BBPSettings& settings = session.settings();
    const Figures& figures = session.figures();
    print_banner();
    Console::print("  1     Formula:  ", 'w');
    Console::print_line(formula(settings.formula).name, 'T');
    Console::new_line();
    print_drawing(settings.formula);
    Console::new_line();
    print_number("  2     Hexadecimal Offset:", settings.offset, 'Y');
    print_number("  3     Digits to Compute:", settings.digits, 'G');
    print_number("        Internal Precision:", 8 * figures.precision, 'G', " Hexadecimal Digits");
    print_number("        Terms Needed:", figures.terms, 'G');
    print_number("        Largest Divisor:", figures.largest_divisor, 'G');
    Console::new_line();
    print_number("  4     Multi-Threading:", settings.threads, 'T',
                 settings.threads == 1 ? " thread" : " threads");
    Console::aligned_line("  5     Pin Threads to Cores:", kWidth, settings.pin_threads ? "Yes" : "No", 'T');
    const bool none = settings.modes.none();
    Console::aligned_line("  6     Modes:", kWidth, none ? "none" : settings.modes.text(), none ? 'R' : 'T');
    Console::new_line();
    const std::string refused = session.cannot_start();
    if (refused.empty()) {
        Console::print_line("  0     Start Computation!", 'G');
    } else {
        Console::print_line("        " + refused, 'R');
    }
    Console::set_color('w');
    Console::new_line();
}

u64 choose_formula() {
    Console::new_line();
    Console::print_line("Select the formula: ", 'w');
    for (u64 number = 0; number < kFormulas; number++) {
        Console::new_line();
        Console::print("  " + std::to_string(number) + "     ", 'w');
        Console::print_line(formula(number).menu_name, 'T');
        print_drawing(number);
    }
    Console::new_line();
    return Prompt::read_unsigned_in_range("option: ", 0, kFormulas - 1, 'T');
}

u64 ask(const char* question, const char* prompt, u64 low, u64 high) {
    Console::new_line();
    Console::print_line(question, 'w');
    return Prompt::read_unsigned_in_range(prompt, low, high, 'T');
}

std::string padded(std::string text, u64 width) {
    text.resize(width, ' ');
    return text;
}

void print_mode_menu(const Modes& modes) {
    Console::new_line();
    Console::print_line("Mode Selections", 'w');
    Console::new_line();
    for (const char* line : {"The BBP digit extractor has different modes for different ranges of divisor",
                             "sizes. Modes that can handle larger divisors tend to be slower.", "",
                             "By default, all modes are enabled and the program will automatically use",
                             "the fastest mode for each term based on the size of its divisor.", "",
                             "Therefore, there is no need change anything here since the default settings",
                             "are the fastest. This menu is primarily a developer feature to force the",
                             "program to use the slower modes by selectively disabling the faster ones."}) {
        Console::print_line(line, 'w');
    }
    Console::new_line();
    constexpr u64 kOption = 10, kMode = 8, kLimit = 17, kSpeed = 15;
    Console::print_line("  " + padded("Option", kOption) + padded("Mode", kMode) +
                            padded("Divisor Limit", kLimit) + padded("Speed", kSpeed) + "Status",
                        'w');
    for (u64 i = 0; i < kModes; i++) {
        const ModeRow& row = mode_row(static_cast<Mode>(i));
        Console::print("  " + padded("  " + std::to_string(i + 1), kOption) +
                           padded(std::string(" ") + row.letter, kMode) + padded(row.limit_name, kLimit) +
                           padded(row.speed, kSpeed),
                       'w');
        Console::print_line(modes.enabled[i] ? "Enabled" : "Disabled", modes.enabled[i] ? 'G' : 'R');
    }
    Console::new_line();
    Console::print_line("    0       Done!", 'w');
    Console::new_line();
}

Modes choose_modes(Modes modes) {
    for (;;) {
        print_mode_menu(modes);
        const u64 choice = Prompt::read_unsigned_in_range("option: ", 0, kModes, 'T');
        if (choice == 0) return modes;
        modes.enabled[choice - 1] = !modes.enabled[choice - 1];
    }
}

}  // namespace

void run_bbp_menu(BBPSettings settings) {
    BBPSession session(settings);
    for (;;) {
        print_menu(session);
        settings = session.settings();
        const u64 first = session.cannot_start().empty() ? 0 : 1;
        switch (Prompt::read_unsigned_in_range("option: ", first, 6, 'T')) {
            case 0:
                Console::new_line();
                run_on_console(session);
                return;
            case 1:
                settings.formula = choose_formula();
                break;
            case 2:
                settings.offset = ask("Select the hexadecimal offset:", "Offset: ", 0, kMaxOffset);
                break;
            case 3:
                settings.digits =
                    ask("Select the # of digits to compute after the offset:", "Digits: ", kMinDigits,
                        kMaxDigits);
                break;
            case 4:
                settings.threads = ask("Select the # of threads to use:", "Threads: ", 1, kMaxThreads);
                break;
            case 5:
                settings.pin_threads = !settings.pin_threads;
                break;
            default:
                settings.modes = choose_modes(settings.modes);
        }
        session.update_settings(settings);
    }
}

}  // namespace kalvor::BBPv2
