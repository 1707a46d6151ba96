// The comparison of overlap words where two converted ranges meet, and the correction by one unit.
//
// Every converted range yields one more word, the overlap word, which must be the first word of the next
// range. All errors of a conversion are truncations, so the upper range can be one unit too small when the
// digits that follow it are zeros (...999 against 000): its overlap word is then R - 1 where 0 is expected.
// Likewise an overlap word that ends the number can be one too small, when nothing or nearly nothing follows.
// Anything else is a fault.
#pragma once

#include "base/names/names.h"
#include "digits/convert/radix_fraction.h"
#include "platform/parallel/basic_parallelizer.h"

namespace kalvor::CBRv2 {

// An overlap word is at most 16 units of 2^-64 too small (convert_leaf): this many units of the word behind
// it, rounded up.
inline Word overlap_slack(Word radix) {
    return static_cast<Word>(u128(16) * radix >> 64) + 1;
}

// upper[0 .. n) += 1 / -= 1 in radix words, least significant first; the run's warnings say so. Throws
// AlgorithmFailedException "Impossible carryout.".
void add1(const ParallelContext& parallel, Word radix, Word* upper, u64 n);
void sub1(const ParallelContext& parallel, Word radix, Word* upper, u64 n);

// Corrects the upper range of n words for the pair (0, R - 1) or (R - 1, 0); the run's warnings say so. Any
// other pair throws AlgorithmFailedException naming `function`.
void fixup(const ParallelContext& parallel, Word radix, Word expected, Word actual, Word* upper, u64 n,
           const char* function = "fixup()");

}  // namespace kalvor::CBRv2
