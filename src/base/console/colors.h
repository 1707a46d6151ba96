// The letters that stand for the console's colours, and text with one.
#pragma once

#include <string>

namespace trel::Console {

// 'B' 'G' 'T' 'R' 'P' 'Y' bright, 'b' 'g' 't' 'r' 'p' 'y' dark, 'd' dim, 'w' (and any other letter) default,
// ' ' unchanged.
using ColorLetter = char;

struct ColoredText {
    ColorLetter color;
    std::string text;
};

}  // namespace trel::Console
