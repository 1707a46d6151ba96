// The console attribute that sets a window's text colour.
#pragma once

#include "os/types.h"

namespace trel::os {

// For a console letter ('B' ... 'y', 'd'; anything else: the default colour).
constexpr u16 text_attribute(char letter) {
    switch (letter) {
        case 'B':
            return 9;
        case 'G':
            return 10;
        case 'T':
            return 11;
        case 'R':
            return 12;
        case 'P':
            return 13;
        case 'Y':
            return 14;
        case 'b':
            return 1;
        case 'g':
            return 2;
        case 't':
            return 3;
        case 'r':
            return 4;
        case 'p':
            return 5;
        case 'y':
            return 6;
        case 'd':
            return 8;
        default:
            return 7;
    }
}

}  // namespace trel::os
