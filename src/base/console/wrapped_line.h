// Values that may be longer than a line of a menu.
#pragma once

#include <string_view>

#include "base/console/colors.h"
#include "os/types.h"

namespace trel::Console {

// The value, behind `column` columns that have been printed, then 'w' and a line feed. Where 79 columns end
// it goes on below itself, at a blank if there is one, else in the middle of a word. What is not ASCII counts
// a column for each code point.
void wrapped_line(std::string_view value, u64 column, ColorLetter color);

}  // namespace trel::Console
