// Radix conversion of a binary fraction into radix words of 19 decimal digits.
//
// Divide and conquer on the range of radix words (Brent and Zimmermann, Modern Computer Arithmetic, 2010,
// section 1.7, turned to fractions): the upper H words of n are the first H words of f, the lower n - H are
// the first words of frac(f * R^H). Both halves are converted the same way, down to leaves of at most 15
// words. Every range also yields its overlap word, which must equal the first word of the next range.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "arith/bigfloat/big_float.h"
#include "arith/multiply/multiply_context.h"
#include "base/names/names.h"
#include "base/status/status.h"
#include "digits/convert/convert_plan.h"
#include "digits/convert/power_table.h"
#include "digits/convert/radix_fraction.h"
#include "digits/convert/verify.h"

namespace kalvor::CBRv2 {

// The writer's own memory beyond the plan's figure.
inline constexpr u64 kWriterReserveBytes = 43648;

struct ConvertOptions {
    // Adds one unit to the overlap word of the whole range's upper part before it is compared.
    bool correction = false;
    ConvertObserver* observer = nullptr;
};

// Converts the fraction of |x| into plan.n radix words: radix_out[0] holds the least significant word,
// radix_out[n - 1] the first 19 digits. Each word is floor of the scaled fraction of x cut to
// plan.length(plan.n) words. Where nothing but nines follows the last word, the words are rounded up to the
// decimal that the value approaches: cutting alone can bring x below it, and 10^-k would come out as 999...
// (0.999... stays: there is no word before the point.) context.scratch: plan.needs(); tasks: at most plan.tds
// of the context's. Throws AlgorithmFailedException when the table or an overlap shows a fault.
//
// Time: about the cost of three products of plan.n words.
void convert(const ConvertPlanP& plan, const MultiplyContext& context, Status& status, Word* radix_out,
             const BigFloat& x, const ConvertOptions& options = {});

// The range check of a value before conversion, by its sign (0, -1, +1) and magnitude (exponent + length in
// words). Zero throws; a negative value is a warning; for a magnitude above 1 the lines of `dump`, the value,
// are reported, and InvalidParametersException is thrown.
void words_to_dec(Status& status, int sign, i64 magnitude,
                  const std::function<std::vector<std::string>()>& dump);

}  // namespace kalvor::CBRv2
