// How the values of options are read: wholly, or not at all. What a value is not wholly is a slip of the
// finger, and no slip may begin a computation.
#pragma once

#include <optional>
#include <string_view>

#include "os/types.h"

namespace trel::CommandLine {

// A count as people write it: an optional "-", then
//     1000000    digits
//     1,000,000  in groups of three behind the first, which has one to three digits
//     1_000_000  with "_" anywhere between two digits
//     1.5m       a decimal fraction, if the product is whole
//     1e6        an exponent of ten, "e" or "E", a "+" allowed before it
//     25m        one suffix of either case: k, m, b or g, t for 10^3, 10^6, 10^9, 10^12
// A number has an exponent or a suffix, not both, and "," or "_", not both. A value past the ends of the type
// is its end: counts are clamped to bounds that lie far below it. Nothing for any other text, the empty one
// too.
std::optional<i64> parse_count(std::string_view text);

// 1 0, on off, yes no, true false, in either case; nothing for any other text.
std::optional<bool> parse_switch(std::string_view text);

// What would be right where any number is.
inline constexpr const char* kRightNumber = "Write 1000000, 1m or 1,000,000.";
// What follows `"1x"` in a refusal.
inline constexpr const char* kNotASwitch =
    " is not a switch. Write 1 or 0, on or off, yes or no, true or false.";

}  // namespace trel::CommandLine
