#include "app/entry/main_menu.h"

#include <string>

#include "app/benchmark/benchmark_menu.h"
#include "app/custom/custom_menu.h"
#include "app/entry/about_page.h"
#include "app/entry/advanced_options.h"
#include "app/menus/action_menu.h"
#include "app/menus/not_available.h"
#include "app/stress/stress_menu.h"
#include "base/console/console.h"
#include "base/names/names.h"
#include "base/prompt/prompt.h"
#include "base/version/version.h"
#include "digits/bbp/bbp_menu.h"
#include "digits/viewer/viewer_menu.h"

namespace kalvor {

namespace {

MainMenuAction missing(const char* what) {
    return {[what]() -> bool { not_available(what); }, false};
}

// An entry that has no other failure than an exception.
MainMenuAction plain(const std::function<void()>& run) {
    return {[run] {
        run();
        return true;
    }};
}

// The menu's lines; those with a number belong to an entry.
struct MenuLine {
    Console::ColorLetter color;
    int entry;  // -1: no entry's own line
    const char* text;
};

constexpr MenuLine kMenu[] = {
    {'T', 0, "  0         Benchmark Pi  (all in ram)"},
    {'T', 1, "  1         Component Stress Tester"},
    {'T', 2, "  2         Run I/O Performance Analysis"},
    {' ', -1, ""},
    {'Y', 3, "  3         Custom Compute a Constant"},
    {'Y', -1, "                -   Compute other constants (e, Golden Ratio, etc...)"},
    {'Y', -1, "                -   Choose your own settings (use disk for large computations)"},
    {' ', -1, ""},
    {'G', 4, "  4         BBP Digit Extractor for Pi"},
    {'G', 5, "  5         Digit Viewer"},
    {' ', -1, ""},
    {'t', 6, "  6         Advanced Options"},
    {'t', 7, "  7         About"},
};

void print_menu(const MainMenuActions& actions) {
    for (const auto& [color, entry, text] : kMenu) {
        const bool available = entry < 0 || actions[static_cast<size_t>(entry)].available;
        Console::print_line(std::string(text) + (available ? "" : kNotAvailableYet),
                            available ? color : kDim);
    }
    Console::set_color('w');
    Console::print("\n\n");
    Console::print_line("Enter your choice:");
}

}  // namespace

void print_banner() {
    std::string version = kVersion.text();
    version.resize(32, ' ');
    Console::print("Kalvor v", 'g');
    Console::print_line(version + "(" + kMaker.web_address + ")", 'w');
    Console::print(kMaker.first_word, 't');
    Console::print_line(std::string(kMaker.rest) + std::string(6, ' ') + "(" + kMaker.contact_address + ")",
                        'w');
    Console::new_line();
    Console::print_line("Distribute Freely - Please report any bugs.", 'w');
    Console::new_line();
    Console::labelled("Tuning", " " + kVersion.tuning_label(), 'G');
    Console::print("  -  ", 'w');
    Console::print_line(kVersion.target, 't');
    Console::new_line();
}

bool run_main_menu(const MainMenuActions& actions) {
    print_banner();
    for (;;) {
        print_menu(actions);
        const auto choice = Prompt::read_integer_in_range("option: ", 0, 7, 'T');
        if (const auto passed = leads_on(actions[static_cast<size_t>(choice)].run)) return *passed;
    }
}

MainMenuActions main_menu_actions(const AuthorizationToken& token) {
    return {MainMenuAction{[token] { return run_benchmark_menu(token); }},
            MainMenuAction{[] { return run_stress_menu(); }},
            missing(Missing::kIoAnalysis),
            MainMenuAction{[token] { return run_custom_menu(token); }},
            plain([] { BBPv2::run_bbp_menu(); }),
            plain([] { DigitViewer2::Menu_DigitViewer(); }),
            MainMenuAction{[] { return show_action_menu(advanced_options_menu(), false); }},
            plain(print_about_page)};
}

}  // namespace kalvor
