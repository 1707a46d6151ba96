// Hash and digit counts of a range.
#pragma once

#include <string>

#include "digits/files/basic_digit_reader.h"
#include "digits/viewer/viewer_run.h"

namespace kalvor::DigitViewer2 {

// The integer part of "3.14..." modulo 2^61 - 1. Throws InvalidParametersException "Invalid radix." (radix
// neither 10 nor 16) and "No decimal place found.", both at "compute_stats()".
u64 top_hash(const std::string& first_digits, u8 radix);

// Digits start ... end, numbered from 1: after every piece the position, the hashes and the counts so far; or
// says that the range is not accessible.
void compute_stats(BasicDigitReader& reader, u64 start, u64 end, const ViewerRun& run);
// Asks for the range first.
void compute_stats(BasicDigitReader& reader, const ViewerRunner& runner);

}  // namespace kalvor::DigitViewer2
