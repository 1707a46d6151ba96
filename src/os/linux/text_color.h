// The escape sequence that sets a terminal's text colour.
#pragma once

#include <string_view>

namespace trel::os {

// For a console letter ('B' ... 'y', 'd'; anything else: the default colour). A constant text.
constexpr std::string_view color_escape(char letter) {
    switch (letter) {
        case 'B':
            return "\x1b[94m";
        case 'G':
            return "\x1b[92m";
        case 'T':
            return "\x1b[96m";
        case 'R':
            return "\x1b[91m";
        case 'P':
            return "\x1b[95m";
        case 'Y':
            return "\x1b[93m";
        case 'b':
            return "\x1b[34m";
        case 'g':
            return "\x1b[32m";
        case 't':
            return "\x1b[36m";
        case 'r':
            return "\x1b[31m";
        case 'p':
            return "\x1b[35m";
        case 'y':
            return "\x1b[33m";
        case 'd':
            return "\x1b[90m";
        default:
            return "\x1b[0m";
    }
}

}  // namespace trel::os
