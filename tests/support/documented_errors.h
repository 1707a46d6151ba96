// The page on formulas, docs/formulas.md, and what it says of errors and warnings.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "support/temporary_folder.h"

namespace kalvor_test {

// Whether a text is what a pattern says, in which "..." stands for anything.
inline bool is_of_pattern(std::string_view text, std::string_view pattern) {
    const std::size_t dots = pattern.find("...");
    if (dots == std::string_view::npos) return text == pattern;
    if (!text.starts_with(pattern.substr(0, dots))) return false;
    const std::string_view rest = pattern.substr(dots + 3);
    for (std::size_t at = dots; at <= text.size(); at++) {
        if (is_of_pattern(text.substr(at), rest)) return true;
    }
    return false;
}

// The texts in the first column of the tables of the section "Errors"; " / " stands between two of a row.
inline std::vector<std::string> documented_errors() {
    const std::string page = read_file(KALVOR_SOURCE_FOLDER "/docs/formulas.md");
    std::vector<std::string> texts;
    for (std::size_t at = page.find("\n## Errors\n"); at != std::string::npos;
         at = page.find("\n| ", at + 1)) {
        if (page.compare(at, 3, "\n| ") != 0) continue;
        std::string cell = page.substr(at + 3, page.find(" | ", at + 3) - at - 3);
        for (std::size_t bar; (bar = cell.find("\\|")) != std::string::npos;) cell.erase(bar, 1);
        texts.push_back(cell);
        for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 3) {
            end = cell.find(" / ", begin);
            texts.push_back(cell.substr(begin, end == std::string::npos ? end : end - begin));
        }
    }
    return texts;
}

// Whether the page has a message. A message that is the name of a key alone says that the key is missing.
inline bool is_documented(std::string message) {
    static const std::vector<std::string> texts = documented_errors();
    for (char& c : message) {
        if (c == '\n') c = ' ';
    }
    if (message.find_first_of(" .") == std::string::npos) message = "the name of a key alone";
    for (const std::string& text : texts) {
        if (is_of_pattern(message, text)) return true;
    }
    return false;
}

}  // namespace kalvor_test
