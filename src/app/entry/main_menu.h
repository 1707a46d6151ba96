// What a start without an action shows: the banner and the menu of everything that the program does.
#pragma once

#include <array>
#include <functional>

namespace kalvor {

void print_banner();

// Banner, menu, choice; runs the chosen entry and returns. An entry that this version does not have says so
// and leads back to the menu. Throws EndOfStreamException when nobody answers, and what the entry throws.
void run_main_menu();

// What an entry of the menu does.
struct MainMenuAction {
    std::function<void()> run;
    bool available = true;  // false: shown dim; run() throws NotAvailableException
};
// The entries 0 to 7.
using MainMenuActions = std::array<MainMenuAction, 8>;
void run_main_menu(const MainMenuActions& actions);

}  // namespace kalvor
