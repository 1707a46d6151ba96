// What a start without an action shows: the banner and the menu of everything that the program does.
#pragma once

#include <array>
#include <functional>

namespace kalvor {

void print_banner();

// Banner, menu, choice; runs the chosen entry and returns. Throws EndOfStreamException when nobody answers,
// NotAvailableException for an entry that this version does not have, and what the entry throws.
void run_main_menu();

// What the entries 0 to 7 do.
using MainMenuActions = std::array<std::function<void()>, 8>;
void run_main_menu(const MainMenuActions& actions);

}  // namespace kalvor
