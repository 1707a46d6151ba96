// What a start without an action shows: the banner and the menu of everything that the program does.
#pragma once

#include <array>
#include <functional>

#include "app/session/authorization_token.h"

namespace kalvor {

void print_banner();

// What an entry of the menu does.
struct MainMenuAction {
    std::function<bool()> run;  // false: it failed, and has said why
    bool available = true;      // false: shown dim; run() throws NotAvailableException
};
// The entries 0 to 7.
using MainMenuActions = std::array<MainMenuAction, 8>;
// The program's own; what runs sessions shows them a copy of the token.
MainMenuActions main_menu_actions(const AuthorizationToken& token);

// Banner, menu, choice; runs the chosen entry and returns what that returns. An entry that this version does
// not have says so and leads back to the menu. Throws EndOfStreamException at the end of the input, and what
// the entry throws.
bool run_main_menu(const MainMenuActions& actions);

}  // namespace kalvor
