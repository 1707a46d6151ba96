// What is known of written digits: hash, counts, last digits, hash of the guard digits.
#pragma once

#include <string>
#include <vector>

#include "digits/files/digit_counts.h"
#include "os/types.h"

namespace kalvor {

struct LastDigits {
    trel::u64 start = 0;  // digits start + 1 .. total
    trel::u8 radix = 10;
    std::string text;
};

struct HashedDigits {
    trel::u64 start;
    trel::u64 count;
    std::string sha256;  // 64 lower-case hexadecimal characters
};

struct OutputStats {
    trel::u64 hash = 0;  // floor(|x| * radix^digits) mod (2^61 - 1)
    trel::u64 digits = 0;
    DigitCounts counts{10};
    LastDigits last;
    std::vector<HashedDigits> hidden;
    double seconds = 0;  // time of writing
};

}  // namespace kalvor
