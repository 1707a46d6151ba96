#include "app/stress/core_menu.h"

#include <algorithm>
#include <string>

#include "base/console/console.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/prompt/prompt.h"

namespace kalvor {

namespace {

constexpr u64 kWidth = 21;

void print_menu(const std::vector<u32>& cores) {
    Console::print_line("\n\nLogical Cores", 'P');
    Console::new_line();
    Console::print("Total Active Cores:  ", 'w');
    Console::print_line(Console::format_commas(cores.size()), cores.empty() ? 'R' : 'Y');
    print_core_lines("Active Cores #'s:", kWidth, cores);
    Console::new_line();
    for (const char* line :
         {"  #     Toggle a core, by its number", "  a-b   Toggle a range of cores",
          "  a     Enable all cores", "  d     Disable all cores", "  e     Toggle even cores",
          "  o     Toggle odd cores", "        (an empty line: Done!)"}) {
        Console::print_line(line, 'w');
    }
    Console::new_line();
}

// The cores of one group, which is that of the active ones if there are any.
std::vector<u32> cores_of_group(const std::vector<u32>& active, const CoreNumbers& numbers) {
    const u32 group = numbers.cores[active.empty() ? 0 : active[0]].group;
    std::vector<u32> cores;
    for (u32 core = 0; core < numbers.count(); core++) {
        if (numbers.cores[core].group == group) cores.push_back(core);
    }
    return cores;
}

class Selection {
  public:
    Selection(const std::vector<u32>& active, const CoreNumbers& numbers)
        : numbers_(numbers), group_(numbers) {
        for (const u32 core : active) group_ |= core;
    }
    const std::vector<u32>& cores() const { return group_.cores(); }

    void clear() { group_ = CoreGroup(numbers_); }
    void enable_all() {
        for (const u32 core : cores_of_group(cores(), numbers_)) group_ |= core;
    }
    void toggle_those(u32 remainder) {
        for (const u32 core : cores_of_group(cores(), numbers_)) {
            if (core % 2 == remainder) group_ ^= core;
        }
    }
    // All of them or, with its text, none.
    void toggle(const std::vector<u32>& cores) {
        CoreGroup changed = group_;
        try {
            for (const u32 core : cores) changed ^= core;
            group_ = changed;
        } catch (const InvalidParametersException& e) {
            Console::error_line(e.message);
        }
    }

  private:
    const CoreNumbers& numbers_;
    CoreGroup group_;
};

// "5", "0-3": a list of the command line in one piece.
void toggle_named(Selection& selection, const std::string& word, u64 count) {
    const auto list = word.find(',') == std::string::npos ? parse_core_list(word, count) : std::nullopt;
    const bool number =
        !word.empty() && std::all_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (number && (!list || list->missing)) {
        Console::print_line("Core " + word.substr(0, 20) + " doesn't exist!", 'R');
    } else if (!list) {
        Console::print_line("\nInvalid Range", 'R');
    } else if (list->missing) {
        Console::print_line("Core " + std::to_string(*list->missing) + " doesn't exist!", 'R');
    } else {
        selection.toggle(list->cores);
    }
}

}  // namespace

void print_core_lines(const std::string& label, u64 width, const std::vector<u32>& cores) {
    constexpr u64 kColumns = 79;
    std::string line = label + std::string(width - std::min<u64>(width, label.size()), ' ');
    const std::string text = core_list_text(cores);
    bool fresh = true;
    for (size_t at = 0; at < text.size();) {
        size_t next = text.find(", ", at);
        next = next == std::string::npos ? text.size() : next + 2;
        std::string piece = text.substr(at, next - at);
        const std::string shown = piece.substr(0, piece.find(' '));
        if (!fresh && line.size() + shown.size() > kColumns) {
            line.resize(line.find_last_not_of(' ') + 1);
            Console::print(line.substr(0, width), 'w');
            Console::print_line(line.substr(width), 'Y');
            line.assign(width, ' ');
        }
        line += piece;
        fresh = false;
        at = next;
    }
    Console::print(line.substr(0, width), 'w');
    Console::print_line(line.substr(width), 'Y');
    Console::set_color('w');
}

std::vector<u32> core_menu(const std::vector<u32>& active, const CoreNumbers& numbers) {
    Selection selection(active, numbers);
    for (;;) {
        print_menu(selection.cores());
        std::string word = Prompt::read_text("option: ", 'T');
        word.erase(0, word.find_first_not_of(" \t"));
        word.erase(word.find_last_not_of(" \t") + 1);
        if (word.empty()) {
            if (!selection.cores().empty()) return selection.cores();
            Console::print_line("\nYou must enable at least one core!", 'R');
        } else if (word == "a") {
            selection.enable_all();
        } else if (word == "d") {
            selection.clear();
        } else if (word == "e") {
            selection.toggle_those(0);
        } else if (word == "o") {
            selection.toggle_those(1);
        } else {
            toggle_named(selection, word, numbers.count());
        }
        Console::set_color('w');
    }
}

}  // namespace kalvor
