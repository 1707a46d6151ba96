// Rows of digits for the eye.
#pragma once

#include <string>

#include "digits/files/basic_digit_reader.h"
#include "digits/viewer/viewer_run.h"

namespace kalvor::DigitViewer2 {

// How many digits one view shows at most.
inline constexpr u64 kMaxViewed = 100000;

// The largest position that may be asked for: the total, or 2^64 - 1 where a set does not know it.
u64 effective_total(const BasicDigitReader& reader);

// What is said of digits start + 1 ... start + count when they are not there: that, and what is missing.
std::string not_accessible(const BasicDigitReader& reader, u64 start, u64 count);
// Whether there are positions to ask for; says so when there are none. A question about them would have no
// right answer.
bool has_positions(const BasicDigitReader& reader);

// Prints digits start ... start + count - 1, numbered from 1, in rows of 50 that end in the position of their
// last digit; or says that the range is not accessible. Throws InvalidParametersException "Invalid Radix" at
// "view_range()", and what the reader throws.
void view_range(BasicDigitReader& reader, u64 start, u64 count, const ViewerRun& run);
// Asks for the range first.
void view_range(BasicDigitReader& reader, const ViewerRunner& runner);

}  // namespace kalvor::DigitViewer2
