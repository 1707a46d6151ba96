// The two formulas for Pi as lists of sub-sums, and what follows from a formula, an offset and a number of
// digits.
#pragma once

#include <array>
#include <span>
#include <string>

#include "base/names/names.h"
#include "os/types.h"

namespace kalvor::BBPv2 {

// The sum over k >= 0 of 2^(c k + e) / (a k + b), added or subtracted; e holds 4 for each position of the
// offset. a, b > 0 and c < 0.
struct SubSum {
    u64 a, b;
    i64 c, e;
    bool negative;

    u64 divisor(u64 k) const { return a * k + b; }
    i64 exponent(u64 k) const { return c * static_cast<i64>(k) + e; }
    // The first k whose exponent is below 1: from there on terms are below 1 by themselves.
    u64 tail_begin() const;
};

struct FormulaRow {
    const char* name;                    // "Original 4-term BBP"
    const char* menu_name;               // with what the menu says of its speed
    std::array<const char*, 3> drawing;  // three lines
    std::span<const SubSum> sub_sums;    // for offset 0
};

constexpr u64 kOriginalBbp = 0;
constexpr u64 kBellardBbp = 1;
constexpr u64 kFormulas = 2;

// number < kFormulas
const FormulaRow& formula(u64 number);
// The sub-sum for an offset; offset <= kMaxOffset.
SubSum at_offset(SubSum sub_sum, u64 offset);

constexpr u64 kMaxOffset = 922337203684428988;
constexpr u64 kMinDigits = 8;
constexpr u64 kMaxDigits = 1048576;

// Computed beyond the digits that were asked for: rounding of the terms spoils fewer.
constexpr u64 kExtraDigits = 16;

// The figures of a computation of `digits` digits behind `offset`.
struct Figures {
    u64 working_digits;
    u64 precision;  // words of 32 bits
    u64 limbs;      // of a FractionFloat
    u64 terms;      // of each sub-sum
    u64 largest_divisor;
};
// Throws InvalidParametersException "Invalid Algorithm" when there is no formula of this number.
Figures figures_of(u64 formula_number, u64 offset, u64 digits);

}  // namespace kalvor::BBPv2
