// The right digits of a constant, from a library that has nothing in common with the program.
#pragma once

#include <cstdint>
#include <string>

// "3." or "0.", say, and the first `digits` digits behind the point, cut off. Empty where the library has no
// fast way to the constant. The constant is named as on the program's command line: "pi", "log:2".
std::string reference_digits(const std::string& constant, std::uint64_t digits);
