#include "app/menus/parallelism_menu.h"

#include "base/console/console.h"
#include "base/console/format.h"
#include "base/prompt/prompt.h"

namespace kalvor {

namespace {

constexpr u64 kDone = 0, kRestore = 1, kFirstSetting = 2;

// The number behind the last line.
u64 print_menu(const ParallelismSettings& settings, u64& first_own) {
    Console::print_line("\n\nParallelization Settings:", 'w');
    Console::new_line();
    Console::print_line("Current Settings: (select option # to change setting)\n", 'w');
    Console::print("   1", 'w');
    Console::print_line(
        "    Restore defaults for " + Console::format_commas(settings.logical_cores) + " logical cores.",
        'w');
    first_own = settings.print(kFirstSetting);
    const u64 end = settings.framework->print(first_own);
    Console::new_line();
    Console::print_line("   0    Done!", 'w');
    Console::new_line();
    return end;
}

}  // namespace

void parallelism_menu(ParallelismSettings& settings) {
    for (;;) {
        u64 first_own = 0;
        const u64 end = print_menu(settings, first_own);
        const u64 choice = Prompt::read_unsigned_in_range("option: ", 0, end - 1, 'T');
        if (choice == kDone) return;
        if (choice == kRestore) {
            settings = ParallelismSettings(settings.logical_cores);
        } else if (choice < first_own) {
            settings.edit(choice - kFirstSetting);
        } else {
            settings.framework->edit(choice - first_own);
        }
    }
}

}  // namespace kalvor
