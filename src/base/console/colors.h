// The letters that stand for the console's colours.
#pragma once

namespace trel::Console {

// 'B' 'G' 'T' 'R' 'P' 'Y' bright, 'b' 'g' 't' 'r' 'p' 'y' dark, 'd' dim, 'w' (and any other letter) default,
// ' ' unchanged.
using ColorLetter = char;

}  // namespace trel::Console
