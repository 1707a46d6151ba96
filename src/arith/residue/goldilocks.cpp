#include "arith/residue/goldilocks.h"

#include "arith/residue/ring_residue.h"

namespace trel::goldilocks {
namespace {

constexpr u64 kOrderOfTwo = 192;

u64 placed(const RingResidue& sum, i64 exp, bool sign) {
    const u64 r = times_words(sum.goldilocks(), exp);
    return sign ? r : neg(r);
}

}  // namespace

u64 pow(u64 base, u64 exponent) {
    u64 r = 1;
    for (; exponent != 0; exponent >>= 1) {
        if ((exponent & 1) != 0) r = mul(r, base);
        base = mul(base, base);
    }
    return r;
}

u64 inverse(u64 a) {
    return pow(a, kP - 2);
}

u64 times_pow2(u64 a, i64 k) {
    constexpr i64 order = static_cast<i64>(kOrderOfTwo);
    const u64 bits = static_cast<u64>((k % order + order) % order);
    a = times_words(a, static_cast<i64>(bits / 64));
    return reduce(u128(a) << bits % 64);
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
