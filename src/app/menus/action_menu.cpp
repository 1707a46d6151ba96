#include "app/menus/action_menu.h"

#include <optional>

#include "app/menus/not_available.h"
#include "base/console/console.h"
#include "base/prompt/prompt.h"
#include "os/types.h"

namespace kalvor {

namespace {

void print_row(size_t index, const std::string& name, Console::ColorLetter color) {
    std::string number = std::to_string(index);
    if (number.size() < 3) number.insert(0, 3 - number.size(), ' ');
    Console::print(number + std::string(9, ' '), 'w');
    Console::print_line(name, color);
}

void print_entry(size_t index, const ActionMenuEntry& entry) {
    if (entry.available) {
        print_row(index, entry.name, entry.color);
    } else {
        print_row(index, entry.name + kNotAvailableYet, kDim);
    }
}

bool run_entry(const ActionMenuEntry& entry) {
    if (entry.run()) return true;
    Console::error_line("Tests Failed");
    Console::pause();
    return false;
}

}  // namespace

namespace {

// One showing and one choice; nothing when the menu is to be shown again.
std::optional<bool> show_once(const ActionMenu& menu, bool offer_run_all) {
    const size_t first = offer_run_all ? 1 : 0;
    Console::print_line(menu.title, 'P');
    Console::new_line();
    if (offer_run_all) print_row(0, "Run All", 'w');
    for (size_t i = 0; i < menu.entries.size(); i++) print_entry(first + i, menu.entries[i]);
    Console::new_line();
    const i64 last = static_cast<i64>(menu.entries.size() + first) - 1;
    const size_t choice = static_cast<size_t>(Prompt::read_integer_in_range("option: ", 0, last, 'T'));
    if (choice >= first) return leads_on([&] { return run_entry(menu.entries[choice - first]); });
    bool passed = true;
    for (const ActionMenuEntry& entry : menu.entries) {
        if (entry.available && !run_entry(entry)) passed = false;
    }
    return passed;
}

}  // namespace

bool show_action_menu(const ActionMenu& menu, bool offer_run_all) {
    for (;;) {
        if (const std::optional<bool> passed = show_once(menu, offer_run_all)) return *passed;
    }
}

}  // namespace kalvor
