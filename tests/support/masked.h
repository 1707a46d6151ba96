// Texts with numbers that differ from run to run, made equal. (The library's regular expressions take seconds
// to compile in each file that uses them.)
#pragma once

#include <string>

namespace kalvor_test {

// Every digit becomes a nine.
inline std::string with_nines(std::string text) {
    for (char& c : text) {
        if (c >= '0' && c <= '9') c = '9';
    }
    return text;
}

// Blanks and the number (digits and points) behind every `label` become "<number>".
inline std::string without_numbers_behind(const std::string& label, const std::string& text) {
    std::string result;
    std::string::size_type at = 0;
    for (;;) {
        const auto found = text.find(label, at);
        if (found == std::string::npos) return result + text.substr(at);
        const auto first = text.find_first_not_of(' ', found + label.size());
        const auto end = first == std::string::npos ? first : text.find_first_not_of("0123456789.", first);
        result += text.substr(at, found + label.size() - at);
        at = found + label.size();
        if (first == std::string::npos || end == first) continue;  // no number
        result += "<number>";
        if (end == std::string::npos) return result;
        at = end;
    }
}

}  // namespace kalvor_test
