// Whether what was printed fits a terminal.
#pragma once

#include <algorithm>
#include <sstream>
#include <string>

namespace kalvor_test {

// The lines of a text that take more columns; empty when there are none. A code point takes one.
inline std::string too_wide(const std::string& text, long columns = 80) {
    std::istringstream lines(text);
    std::string wide;
    for (std::string line; std::getline(lines, line);) {
        const auto width = std::count_if(
            line.begin(), line.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; });
        if (width > columns) wide += line + "\n";
    }
    return wide;
}

}  // namespace kalvor_test
