#include "app/menus/mode_menu.h"

#include "base/console/console.h"
#include "base/prompt/prompt.h"

namespace kalvor {

namespace {

// memory: what the mode takes.
void print_mode(const char* label, bool supported, const std::string& memory) {
    Console::print(label, 'w');
    Console::print_line(supported ? memory : "Not Supported", supported ? 'Y' : 'd');
}

}  // namespace

void mode_menu(const Constant& constant, const std::string& ram_memory) {
    Console::print_line("\n\nSelect a Mode:\n", 'w');
    Console::print_line("Option      Mode            Memory      Disk Memory\n", 'w');
    print_mode(" 1      Ram Only            ", constant.supports(ComputationMode::ram), ram_memory);
    // Nothing plans swap mode yet, so there is no figure of it.
    print_mode(" 2      Swap Mode           ", constant.supports(ComputationMode::swap), "");
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
