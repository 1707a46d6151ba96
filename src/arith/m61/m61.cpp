#include "arith/m61/m61.h"

namespace trel::m61 {
namespace {

// x * 2^s for 0 <= s < 61 and x < 2^63: a rotation of the 61-bit ring. The result is below 2^62 for canonical x.
u64 rotate(u64 x, u64 s) {
    x = canonical(x);
    return ((x << s) & kM61) + (x >> (61 - s));
}

// k mod 61 in [0, 61)
u64 mod_61(i64 k) {
    const i64 r = k % 61;
    return u64(r < 0 ? r + 61 : r);
}

}  // namespace

u64 pow(u64 base, u64 exponent) {
    u64 result = 1;
    for (; exponent != 0; exponent >>= 1) {
        if (exponent & 1) result = mul(result, base);
        base = mul(base, base);
    }
    return result;
}

// 2^61 is 1, so only the exponent modulo 61 counts.
u64 mul_pow2_64(u64 a, i64 k) { return rotate(a, mod_61(3 * (k % 61))); }
u64 mul_pow2(u64 a, i64 k) { return rotate(a, mod_61(k)); }

}  // namespace trel::m61
