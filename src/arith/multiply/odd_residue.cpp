#include "arith/multiply/odd_residue.h"

namespace trel {

OddModulus::OddModulus(u64 m) : m_(m), negative_inverse_(0), two128_(0), two320_(0) {
    if (m == 0) return;
    u64 inverse = m;  // right to 3 bits; each step doubles them
    for (int i = 0; i < 5; i++) inverse *= 2 - m * inverse;
    negative_inverse_ = Word(0) - inverse;
    const u64 two64 = static_cast<u64>((u128(1) << 64) % m);
    two128_ = static_cast<u64>(u128(two64) * two64 % m);
    const u64 two256 = static_cast<u64>(u128(two128_) * two128_ % m);
    two320_ = static_cast<u64>(u128(two256) * two64 % m);
}

u64 OddModulus::reduce(u128 t) const {
    const u64 q = static_cast<u64>(t) * negative_inverse_;
    return static_cast<u64>((t + u128(q) * m_) >> 64);
}

// Four words at a time, from the top: h becomes h 2^256 + word / 2^64, in four independent chains.
u64 OddModulus::residue(const Word* A, u64 n) const {
    u64 h[4] = {};
    u64 i = n / 4 * 4;
    for (u64 k = i; k < n; k++) h[k - i] = reduce(A[k]);
    while (i != 0) {
        i -= 4;
        for (u32 k = 0; k < 4; k++) h[k] = reduce(u128(h[k]) * two320_ + A[i + k]);
    }
    u64 sum = h[3];
    for (u32 k = 3; k-- > 0;) sum = add(reduce(u128(sum) * two128_), 0) + h[k] % m_;
    return reduce(u128(sum) * two128_);
}

u64 OddModulus::product(u64 a, u64 b) const {
    return reduce(u128(reduce(u128(a % m_) * (b % m_))) * two128_);
}

u64 OddModulus::add(u64 a, i64 small) const {
    i64 s = small % static_cast<i64>(m_);
    if (s < 0) s += static_cast<i64>(m_);
    return (a % m_ + static_cast<u64>(s)) % m_;
}

}  // namespace trel
