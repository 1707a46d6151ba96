// The built-in hypergeometric series, a row each: those of Pi, zeta(3) and Catalan's constant.
#pragma once

#include <span>

#include "arith/exact/basic_int.h"
#include "base/names/names.h"
#include "constants/builtin/factored_number.h"
#include "os/types.h"

namespace kalvor {

// Leaves hold magnitudes; the sum relative to the sign of the first term is P / Q, so S = -P / Q for an
// alternating series and P / Q for others. The constant is x = (coefficient_P S + coefficient_Q) /
// coefficient_D, or, in the rows of Pi, 1 / x times the inverse square root of an integer (pi.h).
struct BuiltInSeries {
    const char* name;            // author and year
    const char* node = nullptr;  // of the formula language; null where there is none
    i64 coefficient_P, coefficient_Q, coefficient_D;
    const char* gain;    // nats by which a term falls at least
    const char* growth;  // nats by which a term grows Q beside k^degree, for plans
    u64 degree;          // of Q and R
    u64 leaf_threshold;  // ranges of fewer terms are leaves
    u64 growth_words;    // scratch words that a leaf takes per term
    bool alternating;
    u64 words_P, words_Q, words_R;  // of a term
    void (*term)(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R);

    // What bounds the numbers of a range (row_series.h).

    Word leading_Q;    // C of Q(k) = C k^degree (1 + ...)
    double shift = 0;  // the sum of b / a over Q's factors ak + b: Q(k) is about C k^degree (1 + shift / k)
    // P(k) = R(k) p(k): p's degree and p(1), which is the sum of positive coefficients. 0 and 0 where P is a
    // polynomial alone, which is smaller than Q from the second term on.
    u64 fold_degree = 0;
    Word fold_at_1 = 0;
    // Q(k) and R(k) by their linear factors: sums leave out what the terms share (factored_leaf.h).
    FactoredNumber factored_Q = {}, factored_R = {};
    u64 (*zero_bits)(u64 n) = nullptr;  // the power of two in Q(1) ... Q(n); null where they are odd
};

// In the order of the menus. Huvent's series, a sum of independent fractions, is not among them.
std::span<const BuiltInSeries> pi_series();
std::span<const BuiltInSeries> zeta3_series();
std::span<const BuiltInSeries> catalan_series();

// Terms for a precision in words: rint(p 64 ln 2 / gain + 1.5), part by part.
u64 built_in_terms(const char* gain, u64 precision_words);

}  // namespace kalvor
