#include "app/menus/mode_menu.h"

#include "base/console/console.h"
#include "base/prompt/prompt.h"

namespace kalvor {

void mode_menu(const std::string& ram_memory) {
    Console::print_line("\n\nSelect a Mode:\n", 'w');
    Console::print_line("Option      Mode            Memory      Disk Memory\n", 'w');
    Console::print(" 1      Ram Only            ", 'w');
    Console::print_line(ram_memory, 'Y');
    Console::print(" 2      Swap Mode           ", 'w');
    Console::print_line("Not Supported", 'd');
    Console::new_line();
    for (const char* line : {"    *Disk usage varies with the amount of memory that is being used.",
                             "    More memory usually means more disk usage. The value shown here is for",
                             "    the lowest possible amount of working memory.", "",
                             "    Memory and disk usage estimates are provable upper-bounds for what they",
                             "    are measuring. But they do not include unmeasureable overheads such as",
                             "    run-time libraries, bookkeeping, OS system memory, etc...", "",
                             "    Disk usage estimates is for the amount of logical data. Overheads such as",
                             "    redundant RAID will cause the actual disk requirement to be higher than",
                             "    what is displayed."}) {
        Console::print_line(line, 'w');
    }
    Console::new_line();
    (void)Prompt::read_unsigned_in_range("option: ", 1, 2, 'T');
}

}  // namespace kalvor
