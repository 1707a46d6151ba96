// The top level of the tree, radix b = 3, 5 or 7. Kernel files only.
//
// Calls put(s, sum of zeta^(s i) x[i] over i < USED) for s < b; the rows from USED on are zero. V is a vector
// of eight columns or several of them side by side. C has the prime's constants `split` and `zeta`, as
// numbers or as vectors; only two rows of five need `zeta`. The inverse transform is the same with the
// outputs s and b - s exchanged.
#pragma once

#include "arith/c17/c17_residues.h"

namespace trel::TREL_ISA {
namespace {

template <u32 USED, class V, class C, class Put>
TREL_INLINE void split3(const V (&x)[USED], const C& c, const Modulus& m, Put put) {
    if constexpr (USED == 1) {
        for (u32 s = 0; s < 3; s++) put(s, x[0]);
    } else if constexpr (USED == 2) {
        const V u = mul_mod(x[1], c.split[0], m);
        put(0, reduce(x[0] + x[1], m));
        put(1, x[0] + u);
        put(2, x[0] - x[1] - u);
    } else {
        // zeta^2 = -1 - zeta
        const V u = mul_mod(x[1] - x[2], c.split[0], m);
        put(0, reduce(x[0] + (x[1] + x[2]), m));
        put(1, x[0] - x[2] + u);
        put(2, x[0] - x[1] - u);
    }
}

// Two rows: the powers of zeta add up to -1. From three rows on five products (Winograd, 1978): with a_i =
// x_i
// + x_-i, d_i = x_i - x_-i, cosine-like parts need two, sine-like parts three.
template <u32 USED, class V, class C, class Put>
TREL_INLINE void split5(const V (&x)[USED], const C& c, const Modulus& m, Put put) {
    if constexpr (USED == 1) {
        for (u32 s = 0; s < 5; s++) put(s, x[0]);
    } else if constexpr (USED == 2) {
        const V t1 = mul_mod(x[1], c.zeta[1], m);
        const V t2 = mul_mod(x[1], c.zeta[2], m);
        const V t3 = mul_mod(x[1], c.zeta[3], m);
        put(0, reduce(x[0] + x[1], m));
        put(1, x[0] + t1);
        put(2, x[0] + t2);
        put(3, x[0] + t3);
        put(4, x[0] - x[1] - (t1 + (t2 + t3)));
    } else {
        V a1 = x[1], a2 = x[2], d1 = x[1], d2 = x[2];
        if constexpr (USED > 3) {
            a2 = a2 + x[3];
            d2 = d2 - x[3];
        }
        if constexpr (USED > 4) {
            a1 = a1 + x[4];
            d1 = d1 - x[4];
        }
        const V sum = a1 + a2;
        const V u = mul_mod(a1 - a2, c.split[0], m);
        const V w = x[0] + mul_mod(sum, c.split[1], m);
        const V even1 = w + u, even2 = w - u;
        const V k = mul_mod(USED == 3 ? sum : d1 + d2, c.split[2], m);
        const V odd1 = k + mul_mod(d2, c.split[3], m);
        const V odd2 = mul_mod(d1, c.split[4], m) - k;
        put(0, reduce(x[0] + sum, m));
        put(1, even1 + odd1);
        put(2, even2 + odd2);
        put(3, even2 - odd2);
        put(4, even1 - odd1);
    }
}

// Straight from the definition; no list in use has long products with b = 7.
template <class V, class C, class Put>
TREL_INLINE void split7(const V (&x)[7], const C& c, const Modulus& m, Put put) {
    V a[3], d[3];
    TREL_UNROLL for (int i = 0; i < 3; i++) {
        a[i] = x[1 + i] + x[6 - i];
        d[i] = x[1 + i] - x[6 - i];
    }
    put(0, reduce(x[0] + (a[0] + (a[1] + a[2])), m));
    TREL_UNROLL for (int k = 1; k <= 3; k++) {
        V even = x[0], odd = zero_f64();
        TREL_UNROLL for (int i = 1; i <= 3; i++) {
            const int e = k * i % 7, n = e <= 3 ? e : 7 - e;
            even = even + mul_mod(a[i - 1], c.split[n - 1], m);
            const V t = mul_mod(d[i - 1], c.split[2 + n], m);
            odd = e <= 3 ? odd + t : odd - t;
        }
        put(k, reduce(even + odd, m));
        put(7 - k, reduce(even - odd, m));
    }
}

}  // namespace
}  // namespace trel::TREL_ISA
