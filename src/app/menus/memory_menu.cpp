#include "app/menus/memory_menu.h"

#include "base/console/console.h"
#include "base/console/format.h"
#include "base/prompt/prompt.h"

namespace kalvor {

namespace {

constexpr u64 kDone = 0, kTotal = 1, kAllocator = 2, kFirstOwn = 3;
constexpr u64 kWidth = 32;

void print_figure(const char* label, u64 bytes) {
    Console::aligned_line(label, kWidth, Console::format_bytes(bytes), 'Y');
}

u64 print_menu(const MemoryFigures& figures, const ChoiceSetting<AllocatorConfig>& allocator) {
    Console::print_line("\n\nMemory Settings\n", 'w');
    print_figure("    Working Memory", figures.working);
    print_figure("    Twiddle Factor Tables", figures.twiddle_tables);
    Console::print_line("  ----------------------------------------", 'w');
    print_figure("    Total Memory", figures.working + figures.twiddle_tables);
    Console::new_line();
    Console::print_line("Options:\n", 'w');
    Console::print_line("   1    Adjust Total Memory (not available in this mode)", 'd');
    Console::print("   2    Memory Allocator:       ", 'w');
    Console::print_line(allocator.display_text(), allocator.color());
    const u64 end = allocator->print(kFirstOwn);
    Console::new_line();
    Console::print_line("   0    Done!", 'w');
    Console::new_line();
    return end;
}

}  // namespace

void memory_menu(const MemoryFigures& figures, ChoiceSetting<AllocatorConfig>& allocator) {
    for (;;) {
        const u64 end = print_menu(figures, allocator);
        const u64 choice = Prompt::read_unsigned_in_range("option: ", 0, end - 1, 'T');
        if (choice == kDone) return;
        if (choice == kTotal) continue;
        if (choice == kAllocator) {
            allocator.edit();
        } else {
            allocator->edit(choice - kFirstOwn);
        }
    }
}

}  // namespace kalvor
