// Values that may be longer than a line of a menu.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/console/colors.h"
#include "os/types.h"

namespace trel::Console {

// The value, behind `column` columns that have been printed, then 'w' and a line feed. Where 79 columns end
// it goes on below itself, at a blank if there is one, else in the middle of a word. What is not ASCII counts
// a column for each code point.
void wrapped_line(std::string_view value, u64 column, ColorLetter color);

// The same as lines of text: the label with what fits behind it, then the rest below the value.
std::vector<std::string> wrapped_text(const std::string& label, std::string_view value);

}  // namespace trel::Console
