// The text blocks that report on digits: last digits, counts, hash.
#pragma once

#include <string>
#include <vector>

#include "digits/output/digit_stats.h"

namespace kalvor {

// "First Decimal Digits:" and the integer part, the point and up to 50 digits in groups of ten; a blank line
// at the end.
std::string first_digits_block(const OutputStats& stats);
// "Last Decimal Digits:" and the digits in groups of ten, fifty a line, each full line with its position; a
// blank line at the end.
std::string last_digits_block(const LastDigits& last);
// "Dec Counts: {...}" / "Hex Counts: {...}", without a line end.
std::string counts_line(const DigitCounts& counts);
// The same for a screen: what does not fit into a line stands below.
std::vector<std::string> counts_lines(const DigitCounts& counts);
// "Dec Hash: Floor(|x| * 10^dec) mod (2^61 - 1) = N", without a line end.
std::string hash_line(const OutputStats& stats);

}  // namespace kalvor
