#include "base/console/wrapped_line.h"

#include <string>

#include "base/console/console.h"

namespace trel::Console {

namespace {

constexpr u64 kColumns = 79;
constexpr u64 kLeastWidth = 20;

bool begins_character(char c) {
    return (static_cast<u8>(c) & 0xC0) != 0x80;
}

// How many bytes of the text fit into so many columns: all of it, or up to the last blank, or as many as fit.
std::size_t fitting(std::string_view text, u64 columns) {
    std::size_t end = 0, blank = 0;
    for (u64 used = 0; end < text.size(); end++) {
        if (text[end] == ' ') blank = end;
        if (begins_character(text[end]) && used++ == columns) break;
    }
    return end == text.size() || blank == 0 ? end : blank;
}

}  // namespace

void wrapped_line(std::string_view value, u64 column, ColorLetter color) {
    const u64 width = column + kLeastWidth < kColumns ? kColumns - column : kLeastWidth;
    for (;;) {
        const std::size_t end = fitting(value, width);
        print(value.substr(0, end), color);
        value.remove_prefix(end);
        if (value.empty()) break;
        if (value.front() == ' ') value.remove_prefix(1);
        new_line();
        print(std::string(column, ' '));
    }
    print_line("", 'w');
}

}  // namespace trel::Console
