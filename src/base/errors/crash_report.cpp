#include "base/errors/crash_report.h"

#include <charconv>
#include <chrono>
#include <cstring>
#include <mutex>
#include <thread>

#include "base/command_line/console_settings.h"
#include "base/console/console.h"
#include "os/console.h"

namespace trel {
namespace {

bool colors = false;   // whether the output shows them
bool handled = false;  // a crash has been reported; behind the console lock

void set_color(char letter) noexcept {
    if (colors) os::crash_color(letter);
}

// The number in decimal behind the text, as an error line.
void error_line(std::string_view text, u32 number) noexcept {
    char digits[16];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    os::crash_print("\n");
    set_color('R');
    os::crash_print(text);
    os::crash_print({digits, static_cast<size_t>(end - digits)});
    os::crash_print("\n");
    set_color('w');
}

// "Kalvor-20261231-235959.dmp"
struct DumpName {
    char text[64];

    explicit DumpName(const os::LocalTime& time) noexcept {
        char* p = text;
        const auto put_text = [&](std::string_view part) {
            std::memcpy(p, part.data(), part.size());
            p += part.size();
        };
        const auto put_number = [&](int value, int width) {
            for (int i = width - 1; i >= 0; i--, value /= 10) p[i] = static_cast<char>('0' + value % 10);
            p += width;
        };
        put_text("Kalvor-");
        put_number(time.year, 4);
        put_number(time.month, 2);
        put_number(time.day, 2);
        put_text("-");
        put_number(time.hour, 2);
        put_number(time.minute, 2);
        put_number(time.second, 2);
        put_text(".dmp");
        *p = '\0';
    }
};

}  // namespace

void install_crash_report() {
    colors = CommandLine::console_settings().colors_enabled && Console::standard_output_shows_colors();
    (void)Console::console_lock();  // built now
    os::install_crash_handler(report_crash);
}

void report_crash(const os::CrashRecord* record) noexcept {
    const std::lock_guard lock(Console::console_lock());
    if (handled) std::this_thread::sleep_for(std::chrono::milliseconds(1000));
    handled = true;

    os::crash_print("\n");
    set_color('R');
    os::crash_print("Oops... Kalvor has crashed.\n\nCreating mini-dump file...   ");
    const DumpName name(os::crash_local_time());
    const os::DumpFile file = os::create_dump_file(name.text);
    if (file.handle == -1) {
        error_line("Unable to create dump file: ", file.error);
    } else {
        const u32 error = os::write_minidump(file.handle, record);
        if (error == 0) {
            os::close_dump_file(file.handle);
            os::crash_print("Done!\n");
        } else {
            os::discard_dump_file(file.handle, name.text);
            error_line("Unable to create minidump: ", error);
        }
    }
    os::crash_print("\nThe program will now exit.\n");
    set_color('w');
    if (!CommandLine::console_settings().pause_before_fatal_exit) return;
    os::crash_print("Press any key to continue . . . ");
    os::wait_for_key();
    os::crash_print("\n");
}

}  // namespace trel
