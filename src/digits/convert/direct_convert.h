// The leaf of the radix conversion: few radix words, one multiplication by the radix each.
#pragma once

#include "base/names/names.h"
#include "base/status/status.h"
#include "digits/convert/convert_plan.h"

namespace kalvor::CBRv2 {

// Writes the first n radix words of f, out[n - 1] first, and returns the overlap word, the one that follows
// them. 1 <= n <= 15. Only the top n + 2 words of f take part, and one more is dropped with every radix word
// while more than one word for each radix word to come and another one are left; the result, never too large,
// can therefore be low by n units of 2^-64 of the overlap word. Time: about n^2 / 2 multiplications.
Word convert_leaf(Word radix, Word* out, u64 n, RadixFraction f);

// Conversion without a power table.
struct DirectConvertB {
    // plan.n radix words; the plan has no levels. Throws InvalidParametersException when it has, or when the
    // fraction is longer than the plan's radix words need.
    static Word run(const ConvertPlanP& plan, Status& status, Word* out, RadixFraction f);
};

}  // namespace kalvor::CBRv2
