#include "base/console/wrapped_line.h"

#include "base/console/console.h"

namespace trel::Console {

namespace {

constexpr u64 kColumns = 79;
constexpr u64 kLeastWidth = 20;

bool begins_character(char c) {
    return (static_cast<u8>(c) & 0xC0) != 0x80;
}

// How many bytes of the text fit into the columns: all of it, or up to the last blank, or as many as fit.
std::size_t fitting(std::string_view text, u64 columns) {
    std::size_t end = 0, blank = 0;
    for (u64 used = 0; end < text.size(); end++) {
        if (text[end] == ' ') blank = end;
        if (begins_character(text[end]) && used++ == columns) break;
    }
    return end == text.size() || blank == 0 ? end : blank;
}

// The value in pieces that fit behind `column` columns.
std::vector<std::string_view> pieces(std::string_view value, u64 column) {
    const u64 width = column + kLeastWidth < kColumns ? kColumns - column : kLeastWidth;
    std::vector<std::string_view> pieces;
    for (;;) {
        const std::size_t end = fitting(value, width);
        pieces.push_back(value.substr(0, end));
        value.remove_prefix(end);
        if (value.empty()) return pieces;
        if (value.front() == ' ') value.remove_prefix(1);
    }
}

}  // namespace

void wrapped_line(std::string_view value, u64 column, ColorLetter color) {
    bool first = true;
    for (const std::string_view piece : pieces(value, column)) {
        if (!first) {
            new_line();
            print(std::string(column, ' '));
        }
        first = false;
        print(piece, color);
    }
    print_line("", 'w');
}

std::vector<std::string> wrapped_text(const std::string& label, std::string_view value) {
    std::vector<std::string> lines;
    for (const std::string_view piece : pieces(value, label.size())) {
        lines.push_back((lines.empty() ? label : std::string(label.size(), ' ')) + std::string(piece));
    }
    return lines;
}

}  // namespace trel::Console
