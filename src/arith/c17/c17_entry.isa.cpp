// The kernels of the way into a Code 17 transform; see c17_entry.h.
#include "arith/c17/c17_entry.h"

#include "arith/c17/c17_end_constants.h"
#include "arith/c17/c17_end_vectors.h"
#include "arith/c17/c17_radix_b.h"

namespace trel::TREL_ISA {
namespace {

// Vectors of eight columns that go side by side: two sums each. On avx2 a vector is two registers of sixteen.
#if defined(TREL_ISA_avx512)
constexpr u32 kSumsAtOnce = 12;
#else
constexpr u32 kSumsAtOnce = 2;
#endif

// One prime, as the columns need it.
struct Entry {
    const C17PrimeConstants* constants;
    const C17Prime* prime;
    u32 n_limbs;
    const double* limbs;
    u64 row_limbs;
    double* out;
    u64 row_stride;
};

// Residues of rows [r0, r0 + n) of G vectors of columns.
template <u32 USED, u32 G, u32 r0>
TREL_INLINE void residues(const Entry& e, const double* limbs, F64x8 (&x)[USED][G]) {
    constexpr u32 fit = kSumsAtOnce / G == 0 ? 1 : kSumsAtOnce / G;
    constexpr u32 n = USED - r0 < fit ? USED - r0 : fit;
    const C17PrimeConstants& c = *e.constants;
    F64x8 L[n][G], H[n][G];
    TREL_UNROLL for (u32 r = 0; r < n; r++) {
        TREL_UNROLL for (u32 g = 0; g < G; g++) {
            const double* const from = limbs + (r0 + r) * e.row_limbs + 8 * g * e.n_limbs;
            L[r][g] = load(from);
            H[r][g] = load(from + 8);
        }
    }
    TREL_KEEP_LOOP for (u32 k = 2; k < e.n_limbs; k++) {
        const F64x8 low = broadcast(c.low[k]), high = broadcast(c.high[k]);
        TREL_UNROLL for (u32 r = 0; r < n; r++) {
            TREL_UNROLL for (u32 g = 0; g < G; g++) {
                const F64x8 limb = loaded(load(limbs + (r0 + r) * e.row_limbs + 8 * (g * e.n_limbs + k)));
                L[r][g] = fma(limb, low, L[r][g]);
                H[r][g] = fma(limb, high, H[r][g]);
            }
        }
    }
    const F64x8 two24 = broadcast(16777216.0), rounder = broadcast(kRounder);
    const F64x8 p_inverse = broadcast(c.p_inverse), p_low = broadcast(c.p_low);
    TREL_UNROLL for (u32 r = 0; r < n; r++) {
        TREL_UNROLL for (u32 g = 0; g < G; g++) {
            F64x8 q = fma(H[r][g], two24, L[r][g]);
            q = fma(q, p_inverse, rounder) - rounder;
            x[r0 + r][g] = fma(fnma(q, p_low, H[r][g]), two24, L[r][g]);
        }
    }
    if constexpr (r0 + n < USED) residues<USED, G, r0 + n>(e, limbs, x);
}

// G vectors that go through the same operations side by side: the chain of one product is
// longer than what the processor looks ahead.
template <u32 G>
struct Vectors {
    F64x8 v[G];
};
template <u32 G>
TREL_INLINE Vectors<G> operator+(const Vectors<G>& x, const Vectors<G>& y) {
    Vectors<G> z;
    TREL_UNROLL for (u32 g = 0; g < G; g++) z.v[g] = x.v[g] + y.v[g];
    return z;
}
template <u32 G>
TREL_INLINE Vectors<G> operator-(const Vectors<G>& x, const Vectors<G>& y) {
    Vectors<G> z;
    TREL_UNROLL for (u32 g = 0; g < G; g++) z.v[g] = x.v[g] - y.v[g];
    return z;
}
template <u32 G>
TREL_INLINE Vectors<G> mul_mod(const Vectors<G>& x, double w, const Modulus& m) {
    const F64x8 factor = broadcast(w);
    Vectors<G> h, l, q;
    TREL_UNROLL for (u32 g = 0; g < G; g++) h.v[g] = x.v[g] * factor;
    TREL_UNROLL for (u32 g = 0; g < G; g++) q.v[g] = fma(h.v[g], m.inverse_p, m.rounder);
    TREL_UNROLL for (u32 g = 0; g < G; g++) l.v[g] = fms(x.v[g], factor, h.v[g]);
    TREL_UNROLL for (u32 g = 0; g < G; g++) q.v[g] = q.v[g] - m.rounder;
    TREL_UNROLL for (u32 g = 0; g < G; g++) h.v[g] = fnma(q.v[g], m.p, h.v[g]);
    return h + l;
}
template <u32 G>
TREL_INLINE Vectors<G> reduce(const Vectors<G>& x, const Modulus& m) {
    Vectors<G> z;
    TREL_UNROLL for (u32 g = 0; g < G; g++) z.v[g] = reduce(x.v[g], m);
    return z;
}

template <u32 B, u32 USED, u32 G>
TREL_INLINE void columns(const Entry& e, u64& j, u64 count, u64 ahead) {
    const Modulus m = modulus(*e.prime);
    constexpr u32 P = G % 2 == 0 ? 2 : 1;
    for (; j + 8 * G <= count; j += 8 * G) {
        F64x8 x[USED][G];
        residues<USED, G, 0>(e, e.limbs + j * e.n_limbs, x);
        TREL_UNROLL for (u32 g = 0; g < G; g += P) {
            Vectors<P> in[USED], out[B];
            TREL_UNROLL for (u32 r = 0; r < USED; r++) {
                TREL_UNROLL for (u32 i = 0; i < P; i++) in[r].v[i] = x[r][g + i];
            }
            const auto put = [&](u32 s, const Vectors<P>& v) { out[s] = v; };
            if constexpr (B == 1) put(0, in[0]);
            if constexpr (B == 3) split3(in, *e.prime, m, put);
            if constexpr (B == 5) split5(in, *e.prime, m, put);
            double* const to = e.out + j + 8 * g;
            TREL_UNROLL for (u32 s = 0; s < B; s++) {
                TREL_UNROLL for (u32 i = 0; i < P; i++) {
                    // where the next prime will write
                    _mm_prefetch(reinterpret_cast<const char*>(to + ahead + s * e.row_stride + 8 * i),
                                 _MM_HINT_T1);
                    store(to + s * e.row_stride + 8 * i, out[s].v[i]);
                }
            }
        }
    }
}
template <u32 B, u32 USED>
__attribute__((noinline)) void enter_rows(const Entry& e, u64 count, u64 ahead) {
    constexpr u32 most = kSumsAtOnce / USED;
    constexpr u32 G = most >= 4 ? 4 : most >= 2 ? 2 : 1;
    u64 j = 0;
    columns<B, USED, G>(e, j, count, ahead);
    if (G > 1) columns<B, USED, 1>(e, j, count, ahead);
}

template <u32 B>
TREL_INLINE void enter_b(u32 used, const Entry& e, u64 count, u64 ahead) {
    if (used == 1) return enter_rows<B, 1>(e, count, ahead);
    if constexpr (B >= 3) {
        if (used == 2) return enter_rows<B, 2>(e, count, ahead);
        if (used == 3) return enter_rows<B, 3>(e, count, ahead);
    }
    if constexpr (B >= 5) {
        if (used == 4) return enter_rows<B, 4>(e, count, ahead);
        return enter_rows<B, 5>(e, count, ahead);
    }
}

void enter(const C17EndConstants* constants, const C17Prime* primes, u32 b, u32 first, u32 n,
           const double* limbs, u64 row_limbs, u32 used, u64 count, double* out, u64 row_stride,
           u64 prime_stride) {
    for (u32 i = 0; i < n; i++) {
        const Entry e{constants->set->primes + first + i,
                      primes + first + i,
                      constants->set->a - 1,
                      limbs,
                      row_limbs,
                      out + i * prime_stride,
                      row_stride};
        const u64 ahead = i + 1 < n ? prime_stride : 0;
        if (b == 5) {
            enter_b<5>(used, e, count, ahead);
        } else if (b == 3) {
            enter_b<3>(used, e, count, ahead);
        } else {
            enter_b<1>(used, e, count, ahead);
        }
    }
}

}  // namespace

constinit const C17EntryKernels c17_entry_kernels{enter};

}  // namespace trel::TREL_ISA
