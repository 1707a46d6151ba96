// The built-in series of zeta(3) and Catalan's constant, a row each.
#pragma once

#include <span>

#include "arith/exact/basic_int.h"
#include "base/names/names.h"
#include "os/types.h"

namespace kalvor {

// The value ((coefficient_P S + coefficient_Q) / coefficient_D)^power of a sum S. Leaves hold magnitudes; the
// sum relative to the sign of the first term is P / Q, so S = -P / Q for an alternating series and P / Q for
// others.
struct BuiltInSeries {
    const char* name;  // author and year
    const char* node;  // of the formula language; null where there is none
    const char* leaf;  // named by a failure; Wedeniwski's has three
    i64 coefficient_P, coefficient_Q, coefficient_D;
    const char* gain;    // nats by which a term falls
    const char* growth;  // ln c with Q(k) about c k^degree, in nats
    u64 degree;          // of Q
    u64 leaf_threshold;  // ranges of fewer terms are leaves
    u64 growth_words;    // scratch words that a leaf takes per term
    bool alternating;
    u64 words_P, words_Q, words_R;  // of a term
    void (*term)(u64 k, BasicIntR& P, BasicIntR& Q, BasicIntR& R);
};

// In the order of the menus. Huvent's series, a sum of independent fractions, is not among them.
std::span<const BuiltInSeries> zeta3_series();
std::span<const BuiltInSeries> catalan_series();

// Terms for a precision in words: rint(p 64 ln 2 / gain + 1.5), part by part.
u64 built_in_terms(const char* gain, u64 precision_words);

}  // namespace kalvor
