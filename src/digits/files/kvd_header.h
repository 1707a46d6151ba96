// The header of a compressed digit file, as text and as numbers (docs/formats.md has its lines), and the
// range of digits that it stands for.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/names/names.h"
#include "os/types.h"

namespace kalvor {

// Positions begin + 1 ... end behind the point.
struct DigitRange {
    u64 begin = 0, end = 0;
    bool operator==(const DigitRange&) const = default;
    std::string text() const;  // "[begin, end)"
};

// What stands in the header. Numbers are as they were read: letters in them are not refused.
struct KvdHeader {
    std::string version;
    u64 radix = 0;
    std::string first_digits;  // integer part, "." and up to 50 digits
    u64 total_digits = 0;
    u64 digits_per_file = 0;
    u64 id = 0;

    // The bytes in front of the data, the last of them 0.
    std::string text() const;
};

// What a sound header says about its file.
struct KvdShape {
    u8 radix;
    u32 digits_per_word;
    u64 digits_per_file;  // never more than the total
    DigitRange range;
    u64 words;
    std::string first_digits;  // the header's up to the 50th, all of them digits
};

inline constexpr const char* kKvdVersion = "1.1.0";
inline constexpr u64 kLeastDigitsPerFile = 100;
// A header's first digits end here.
inline constexpr u64 kKvdFirstDigits = 50;
// Integer parts are shorter.
inline constexpr u64 kLongestIntegerPart = 64;
inline constexpr u64 kLongestKvdHeader = u64(1) << 20;

constexpr u32 digits_per_word(u64 radix) {
    return radix == 10 ? 19 : 16;
}
constexpr u64 words_for(u64 digits, u64 radix) {
    return digits == 0 ? 0 : (digits - 1) / digits_per_word(radix) + 1;
}

struct ParsedKvdHeader {
    KvdHeader header;
    u64 bytes;  // the data begin here
};
// The header at the beginning of `bytes`; nothing when its end is not among them.
std::optional<ParsedKvdHeader> parse_kvd_header(std::string_view bytes);

// Throws FileException and InconsistentMetaData located at BasicKvdFileReader's constructor.
KvdShape check_kvd_header(const KvdHeader& header, const std::string& path);

// A number's text up to its 50th digit. Throws InconsistentMetaData without a point among the first 64
// characters or with a character that is not a digit of the radix.
std::string kvd_first_digits(const char* function, std::string_view text, u64 radix, const std::string& path);

}  // namespace kalvor
