#include "arith/residue/goldilocks.h"

#include "arith/residue/residue_power.h"
#include "arith/residue/ring_residue.h"

namespace trel::goldilocks {
namespace {

u64 placed(const RingResidue& sum, i64 exp, bool sign) {
    const u64 r = times_words(sum.goldilocks(), exp);
    return sign ? r : neg(r);
}

}  // namespace

u64 pow(u64 base, u64 exponent) {
    return residue_power(base, exponent, mul);
}

u64 inverse(u64 a) {
    return pow(a, kP - 2);
}

u64 of_words(const ParallelContext& parallel, const Word* words, u64 n, i64 exp, bool sign) {
    RingResidue sum;
    sum.add(parallel, words, n, 0);
    return placed(sum, exp, sign);
}

u64 of_words(const Word* words, u64 n, i64 exp, bool sign) {
    RingResidue sum;
    sum.add(words, n, 0);
    return placed(sum, exp, sign);
}

}  // namespace trel::goldilocks
