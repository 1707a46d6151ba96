// Questions to the user. A prompt prints its text (in 'w', or unchanged when the colour is ' ') and reads one
// line in the given colour. At the end of the input there is nobody to answer: every prompt then throws
// EndOfStreamException "Unexpected end of stream.", so that an unattended run ends instead of asking for
// ever.
//
// Main thread.
#pragma once

#include <string>
#include <string_view>

#include "base/console/colors.h"
#include "os/types.h"

namespace trel::Prompt {

// prompt: what is asked for; ": " follows unless it ends in a blank.
std::string read_text(std::string_view prompt, Console::ColorLetter color);

// Ask again until the number (parse_number) lies in [low, high].
i64 read_integer_in_range(std::string_view prompt, i64 low, i64 high, Console::ColorLetter color);
u64 read_unsigned_in_range(std::string_view prompt, u64 low, u64 high, Console::ColorLetter color);
// The same for bytes (parse_memory_size).
u64 read_memory_size_in_range(std::string_view prompt, u64 low, u64 high, Console::ColorLetter color);

}  // namespace trel::Prompt
