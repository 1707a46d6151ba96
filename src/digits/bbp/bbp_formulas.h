// The two formulas for Pi as lists of sub-sums, and what follows from a formula, an offset and a number of
// digits.
#pragma once

#include <array>
#include <span>
#include <string>

#include "os/types.h"

namespace kalvor::BBPv2 {

// The sum over k >= 0 of 2^(c k + e) / (a k + b), added or subtracted; e holds 4 for each position of the
// offset. a, b > 0 and c < 0.
struct SubSum {
    trel::u64 a, b;
    trel::i64 c, e;
    bool negative;

    trel::u64 divisor(trel::u64 k) const { return a * k + b; }
    trel::i64 exponent(trel::u64 k) const { return c * static_cast<trel::i64>(k) + e; }
    // The first k whose exponent is below 1: from there on terms are below 1 by themselves.
    trel::u64 tail_begin() const;
};

struct FormulaRow {
    const char* name;                    // "Original 4-term BBP"
    const char* menu_name;               // with what the menu says of its speed
    std::array<const char*, 3> drawing;  // three lines
    std::span<const SubSum> sub_sums;    // for offset 0
};

constexpr trel::u64 kOriginalBbp = 0;
constexpr trel::u64 kBellardBbp = 1;
constexpr trel::u64 kFormulas = 2;

// number < kFormulas
const FormulaRow& formula(trel::u64 number);
// The sub-sum for an offset; offset <= kMaxOffset.
SubSum at_offset(SubSum sub_sum, trel::u64 offset);

constexpr trel::u64 kMaxOffset = 922337203684428988;
constexpr trel::u64 kMinDigits = 8;
constexpr trel::u64 kMaxDigits = 1048576;

// Computed beyond the digits that were asked for: rounding of the terms spoils fewer.
constexpr trel::u64 kExtraDigits = 16;

// Of a computation of `digits` digits behind `offset`.
struct Figures {
    trel::u64 working_digits;
    trel::u64 precision;  // words of 32 bits
    trel::u64 limbs;      // of a FractionFloat
    trel::u64 terms;      // of each sub-sum
    trel::u64 largest_divisor;
};
// Throws InvalidParametersException "Invalid Algorithm" when there is no formula of this number.
Figures figures_of(trel::u64 formula_number, trel::u64 offset, trel::u64 digits);

}  // namespace kalvor::BBPv2
