#include "app/custom/custom_menu.h"

#include <optional>

#include "app/custom/output_format_menu.h"
#include "app/menus/can_start.h"
#include "app/menus/config_files.h"
#include "app/menus/memory_menu.h"
#include "app/menus/mode_menu.h"
#include "app/menus/parallelism_menu.h"
#include "app/session/console_run.h"
#include "app/session/memory_plan.h"
#include "app/settings/compute_settings_object.h"
#include "app/settings/output_bytes.h"
#include "base/console/console.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/prompt/prompt.h"
#include "platform/fileio/output_folder.h"

namespace kalvor {

namespace {

constexpr u64 kWidth = 32;
constexpr const char* kAction = "CustomCompute";
constexpr const char* kNotSupported = "Not Supported";

// Numbers of the lines that are not a setting's own, and of the settings that have a menu of their own.
enum Choice : u64 {
    kStart = 0,
    kFormat = 6,
    kMode = 8,
    kParallelism = 9,
    kMemory = 10,
    kLoad = 20,
    kSave = 21,
};

// What the computation takes; nothing for one that cannot be planned.
std::optional<MemoryPlan> memory_of(const ComputeSettings& settings) {
    try {
        return RunPlan::make(settings, settings.size).memory;
    } catch (const Exception&) {
        return std::nullopt;
    }
}

std::string memory_text(const std::optional<MemoryPlan>& memory) {
    return memory ? Console::format_bytes(memory->logical()) : kNotSupported;
}

void print_menu(const ComputeSettings& settings, const SettingsTable& table) {
    Console::print_line("\n\nCustom Compute a Constant\n", 'w');
    bool of_the_run = false;
    for (const SettingRow* row : menu_rows(table)) {
        if (row->menu_number >= kMode && !of_the_run) Console::new_line();
        of_the_run = row->menu_number >= kMode;
        row->setting(settings)->print(row->menu_number, kWidth - kMenuNumberWidth, kMenuNumberWidth);
    }
    Console::aligned_line(" 10     Logical Memory Needed:", kWidth, memory_text(memory_of(settings)), 'Y');
    Console::print("        Logical Disk Needed:    ", 'w');
    Console::print(" 0 bytes", 'Y');
    Console::print("  +  ", 'w');
    Console::print(Console::format_bytes(output_bytes(settings)), 'Y');
    Console::print_line(" for output", 'w');
    Console::new_line();
    Console::print_line(" 20/21  Load/Save Configuration File", 'w');
    Console::print_line("  0     Start Computation!\n", 'w');
}

bool is_a_line(u64 choice, const SettingsTable& table) {
    for (const SettingRow* row : menu_rows(table)) {
        if (row->menu_number == choice) return true;
    }
    return choice == kStart || choice == kMemory || choice == kLoad || choice == kSave;
}

u64 read_choice(const SettingsTable& table) {
    for (;;) {
        const u64 choice = Prompt::read_unsigned_in_range("option: ", 0, kSave, 'T');
        if (is_a_line(choice, table)) return choice;
    }
}

void print_warning(const std::string& warning) {
    if (!warning.empty()) Console::labelled_line("Warning", warning, 'Y');
}

// All settings of the file, or none.
void load(ComputeSettings& settings, const SettingsTable& table) {
    load_from_menu(kAction, [&](const Config::Object& object) {
        SettingWarnings warnings;
        ComputeSettings loaded = load_compute_settings(object, warnings, table);
        FileIO::try_output_folder(loaded.path);
        settings = std::move(loaded);
        for (const std::string& warning : warnings) print_warning(warning);
    });
}

void edit(ComputeSettings& settings, const SettingsTable& table, u64 choice) {
    const std::optional<MemoryPlan> memory = memory_of(settings);
    switch (choice) {
        case kFormat:
            return output_format_menu(settings);
        case kMode:
            return mode_menu(*settings.constant, memory_text(memory));
        case kParallelism:
            return parallelism_menu(settings.parallelism);
        case kMemory:
            return memory_menu(
                memory ? MemoryFigures{memory->working_memory, memory->twiddle_tables} : MemoryFigures{},
                settings.allocator);
        case kLoad:
            return load(settings, table);
        case kSave:
            save_from_menu(kAction, save_compute_settings(settings, table));
            return;
        default:
            for (const SettingRow* row : menu_rows(table)) {
                if (row->menu_number == choice) row->setting(settings)->edit();
            }
    }
}

}  // namespace

bool run_custom_menu(const AuthorizationToken& token, ComputeSettings settings, const SettingsTable& table) {
    for (;;) {
        print_menu(settings, table);
        const u64 choice = read_choice(table);
        if (choice == kStart) {
            if (!can_start(settings)) continue;
            run_on_console(std::move(settings), token);
            return true;
        }
        edit(settings, table, choice);
        // Another constant may have other bounds, other sizes may be too small to compress.
        print_warning(settings.set_decimal_digits(static_cast<i64>(settings.size.decimal_digits)));
        print_warning(settings.check_compression());
    }
}

}  // namespace kalvor
