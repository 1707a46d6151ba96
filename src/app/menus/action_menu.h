// A numbered menu of things to run.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/console/colors.h"
#include "base/names/names.h"

namespace kalvor {

struct ActionMenuEntry {
    std::string name;
    Console::ColorLetter color;
    std::function<bool()> run;  // false: it failed
    bool available = true;      // false: shown dim; its run() says so by NotAvailableException
};

struct ActionMenu {
    std::string title;
    std::vector<ActionMenuEntry> entries;
};

// Shows the menu, reads a choice and runs the entry, or with "Run All" (choice 0, the entries then begin at
// 1) every available entry in order. After one that fails it prints "Tests Failed" and pauses. An entry that
// is not available says so and leads back to the menu. False when one has failed. Throws EndOfStreamException
// at the end of the input.
bool show_action_menu(const ActionMenu& menu, bool offer_run_all);

}  // namespace kalvor
