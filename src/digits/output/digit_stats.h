// What is known of written digits: hash, counts, last digits, hash of the guard digits.
#pragma once

#include <string>
#include <vector>

#include "base/names/names.h"
#include "digits/files/basic_digit_reader.h"
#include "digits/files/digit_counts.h"
#include "os/types.h"

namespace kalvor {

// The 51 to 100 digits at the end of a number, from just after a multiple of 50 (all of up to 100 digits).
struct LastDigits {
    // total: digits after the point. Throws InvalidParametersException "Invalid Radix.".
    void set(u64 total, BasicDigitReader& source);

    u64 start = 0;  // digits start + 1 .. total
    u8 radix = 10;
    std::string text;
};

// Digits that were computed but not written, known by their hash.
struct HashedDigits {
    // Throws InvalidParametersException "Invalid Radix.".
    static HashedDigits make(BasicDigitReader& source, u64 start, u64 count);

    u64 start;
    u64 count;
    std::string sha256;  // of the characters; 64 lower-case hexadecimal characters
};

struct OutputStats {
    u64 hash = 0;  // floor(|x| * radix^digits) mod (2^61 - 1)
    u64 digits = 0;
    DigitCounts counts{10};
    std::string first;  // the integer part, "." and up to 50 digits
    LastDigits last;
    std::vector<HashedDigits> hidden;
    double seconds = 0;  // time of writing
};

// "{123, 456, ...}" for the digits 0 .. radix - 1
std::string counts_text(const DigitCounts& counts);

// floor(|x| * radix^digits) mod (2^61 - 1) from the integer part and the residue of the digits after the
// point.
u64 digit_hash(u64 integer_part, u64 fraction_hash, u8 radix, u64 digits);

}  // namespace kalvor
