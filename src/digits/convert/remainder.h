// The lower fraction of a split: frac(f * R^H), exactly truncated, by one convolution that is shorter than
// the product.
#pragma once

#include "arith/multiply/multiply_context.h"
#include "arith/multiply/transform.h"
#include "base/names/names.h"
#include "digits/convert/convert_plan.h"

namespace kalvor::CBRv2 {

// A power R^H = words * 2^(64 exp) with its forward transform. A power that serves one product has none: then
// that product transforms it on the way.
struct PowerView {
    const Word* words;
    u64 n;
    const Transform& transform;
    const void* data;
    u64 carried = goldilocks::kNone;  // the residue of the words, where there is no transform
};

struct RemainderFloatB {
    // Returns the top out_words words of frac(f * R^H), every one exact (floor). out: out_words + 1 words
    // that hold the result. context.scratch: the level's `held`, for a power without a
    // transform its `plain`. f: at most length(2 H) words and more than the exponent of the
    // power. Threads: all of the context in the transforms.
    //
    // Throws InvalidParametersException "Truncated Range" when the level cannot deliver that many words or
    // the convolution is too short, AlgorithmFailedException "Unexpected: tmag < 0" when the product is all
    // integer.
    //
    //   f = F 2^(-64 L), R^H = P 2^(64 e): the product F P has its point before word L - e. The top e words
    //   of F reach only the integer part and are left out: q = L - e words A remain, and words 0 .. q - 1 of
    //   A P are the fraction, of which the top out_words are wanted. The rest of A P, |P| words of integer
    //   part above and about |P| words below, is not wanted, so a convolution over W >= max(q, |P| +
    //   out_words + 1) words is enough (the middle product of Hanrot, Quercia and Zimmermann, 2004): words W
    //   .. q + |P| - 1 fold onto the words below q + |P| - W <= q - out_words - 1 and spoil them, and by
    //   their carry or borrow can shift the word above by one unit.
    //
    //   Such a shift must not reach the wanted words: for x just beside a terminating decimal it would turn
    //   ...000 into
    //   ...999 and lose the exactness on which all checks rest. One more word, the guard word below the
    //   wanted ones, is therefore computed. Unless it is 0 or 2^64 - 1 (chance 2^-63 for usual data) no shift
    //   has passed it. If it is, its true value is taken from the low words of the product, which the same
    //   transform yields exactly from the low words of A (2 |P| + 3 <= W), and the difference is applied.
    static RadixFraction set_inverse_fmul(const MultiplyContext& context, const ConvertPlanP::Level& level,
                                          const PowerView& power, RadixFraction f, u64 out_words, Word* out);
};

}  // namespace kalvor::CBRv2
