#include "app/entry/main_menu.h"

#include <string>

#include "app/entry/about_page.h"
#include "app/entry/advanced_options.h"
#include "app/entry/usage.h"
#include "app/menus/action_menu.h"
#include "app/menus/not_available.h"
#include "base/console/console.h"
#include "base/prompt/prompt.h"
#include "base/version/version.h"

namespace kalvor {

namespace Console = trel::Console;

namespace {

std::function<void()> missing(const char* what) {
    return [what] { not_available(what); };
}

}  // namespace

void print_banner() {
    std::string version = trel::kVersion.text();
    version.resize(32, ' ');
    Console::print("Kalvor v", 'g');
    Console::print_line(version + "(" + trel::kMaker.web_address + ")", 'w');
    Console::print(trel::kMaker.first_word, 't');
    Console::print_line(
        std::string(trel::kMaker.rest) + std::string(6, ' ') + "(" + trel::kMaker.contact_address + ")", 'w');
    Console::new_line();
    Console::print_line("Distribute Freely - Please report any bugs.", 'w');
    Console::new_line();
    Console::labelled("Tuning", " " + trel::kVersion.tuning_label(), 'G');
    Console::print("  -  ", 'w');
    Console::print_line(trel::kVersion.target, 't');
    Console::new_line();
}

void run_main_menu(const MainMenuActions& actions) {
    print_banner();
    Console::set_color('T');
    Console::print_line("  0         Benchmark Pi  (all in ram)");
    Console::print_line("  1         Component Stress Tester");
    Console::print_line("  2         Run I/O Performance Analysis");
    Console::new_line();
    Console::set_color('Y');
    Console::print_line("  3         Custom Compute a Constant");
    Console::print_line("                -   Compute other constants (e, Golden Ratio, etc...)");
    Console::print_line("                -   Choose your own settings (use disk for large computations)");
    Console::new_line();
    Console::set_color('G');
    Console::print_line("  4         BBP Digit Extractor for Pi");
    Console::print_line("  5         Digit Viewer");
    Console::new_line();
    Console::set_color('t');
    Console::print_line("  6         Advanced Options");
    Console::print_line("  7         About");
    Console::set_color('w');
    Console::print("\n\n");
    Console::print_line("Enter your choice:");
    const auto choice = trel::Prompt::read_integer_in_range("option: ", 0, 7, 'T');
    actions[static_cast<size_t>(choice)]();
}

void run_main_menu() {
    run_main_menu({missing(Missing::kBenchmarkPi), missing(Missing::kStressTester),
                   missing(Missing::kIoAnalysis), print_usage, missing(Missing::kBbpExtractor),
                   missing(Missing::kDigitViewer), [] { show_action_menu(advanced_options_menu(), false); },
                   print_about_page});
}

}  // namespace kalvor
