#include "digits/viewer/viewer_menu.h"

#include "base/command_line/shown_text.h"
#include "base/console/console.h"
#include "base/console/format.h"
#include "base/console/wrapped_line.h"
#include "base/prompt/prompt.h"
#include "digits/files/basic_kvd_set_reader.h"
#include "digits/files/open_digit_file.h"
#include "digits/viewer/compress.h"
#include "digits/viewer/compute_stats.h"
#include "digits/viewer/extract_txt.h"
#include "digits/viewer/view_range.h"

namespace kalvor::DigitViewer2 {

namespace {

struct Action {
    const char* text;
    void (*run)(BasicDigitReader& reader, const ViewerRunner& runner);
};
constexpr Action kActions[] = {
    {"View a small range of digits.", view_range},
    {"Compute Stats (Digit Counts + Hash).", compute_stats},
    {"Extract digits into a .txt file.", extract_txt},
    {"Compress digits 1 - N into one or more .kvd files.", compress_all},
    {"Compress a subset of digits into .kvd files.", compress_partial},
};
constexpr u64 kAddFolder = std::size(kActions);

void print_option(u64 number, const char* text) {
    Console::print("  " + std::to_string(number) + "     ", 'w');
    Console::print(text, 'T');
}

// The first digits come from the file: control characters in it must not reach the terminal.
std::string shown_first_digits(const BasicDigitReader& reader) {
    constexpr u64 kMost = 100;
    return CommandLine::shown(reader.first_digits(), kMost);
}

// A long value goes on below itself.
void print_wrapped(const std::string& label, const std::string& value, Console::ColorLetter color) {
    Console::print(label, 'w');
    Console::wrapped_line(value, label.size(), color);
}

void print_head(const BasicDigitReader& reader) {
    print_wrapped("First Digits: ", shown_first_digits(reader), 'Y');
}

void print_head(const BasicKvdSetReader& reader) {
    print_wrapped("First Digits: ", shown_first_digits(reader), 'Y');
    Console::labelled_line("Digits after Decimal Place",
                           reader.total_digits() == 0 ? "Unknown - Extended File Format"
                                                      : Console::format_commas(reader.total_digits()),
                           'G');
    Console::labelled_line("Digits per File", Console::format_commas(reader.digits_per_file()), 'G');
    Console::print_line("Search paths:", 'w');
    for (const std::string& folder : reader.search_folders()) {
        print_wrapped("    ", folder.empty() ? "./" : CommandLine::shown_path(folder), 'T');
    }
}

void add_folder(BasicKvdSetReader& set) {
    Console::new_line();
    Console::print_line("Enter directory:", 'w');
    set.add_search_folder(Prompt::read_text("Path", 'T'));
}

}  // namespace

std::unique_ptr<BasicDigitReader> open_for_viewing(const std::string& path) {
    return open_digit_file(path, {}, "Menu_DigitViewer()");
}

void show_file_menu(BasicDigitReader& reader, const ViewerRunner& runner) {
    auto* const set = dynamic_cast<BasicKvdSetReader*>(&reader);
    for (;;) {
        Console::print("\n\n", 'w');
        Console::print_line(set == nullptr ? "Text File" : "Compressed Digit File", 'w');
        if (set == nullptr) {
            print_head(reader);
            Console::labelled_line("Digits after Decimal Place",
                                   Console::format_commas(reader.total_digits()), 'G');
        } else {
            print_head(*set);
        }
        Console::print_line("What would you like to do?\n", 'w');
        for (u64 i = 0; i < std::size(kActions); i++) {
            print_option(i, kActions[i].text);
            Console::new_line();
        }
        if (set != nullptr) {
            print_option(kAddFolder, "Add search directory.");
            Console::print_line(" (if .kvd files are in multiple paths)", 'w');
        }
        Console::new_line();
        Console::print_line("Enter your choice:", 'w');
        const u64 last = set == nullptr ? kAddFolder - 1 : kAddFolder;
        const u64 choice = Prompt::read_unsigned_in_range("option: ", 0, last, 'T');
        if (choice != kAddFolder) return kActions[choice].run(reader, runner);
        add_folder(*set);
    }
}

void Menu_DigitViewer(const ViewerRunner& runner) {
    Console::new_line();
    Console::print_line("Kalvor Digit Viewer v2.5.313", 'g');
    Console::new_line();
    Console::print_line("Enter the path of the file (include .txt or .kvd extensions):", 'w');
    const std::unique_ptr<BasicDigitReader> reader = open_for_viewing(Prompt::read_text("Path", 'T'));
    show_file_menu(*reader, runner);
}

}  // namespace kalvor::DigitViewer2
