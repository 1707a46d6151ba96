// How the answers to prompts are read as numbers. Values of command-line options follow another rule
// (base/command_line).
#pragma once

#include <string_view>

#include "os/types.h"

namespace trel::Prompt {

// The console number rule: an optional '-', decimal digits with any commas among them, blanks, and a scale: K
// M G T P E for 2^10 ... 2^60, m b t for 10^6, 10^9, 10^12. Whatever follows is ignored, a 'k' too ("10k" is
// 10); no digits are 0. Magnitudes of 2^64 and more before scaling count as 2^64, so the result is beyond
// every bound of 64 bits.
i128 parse_number(std::string_view text);

// The same with a decimal fraction before the scale: "2.5GB" is 2684354560. Cut off to whole bytes; the 20th
// and later digits of a fraction are ignored.
i128 parse_memory_size(std::string_view text);

// Whether there is a number at all at the front: a sign, commas and a point do not make one.
bool holds_number(std::string_view text);

}  // namespace trel::Prompt
