// The kernels of the two ends of a Code 17 product; see c17_ends.h.
//
// Residues modulo primes below 2^48 are exact integers in doubles. Two facts carry everything: a fused
// multiply-add whose exact result is an integer below 2^53 is exact, and so is fma(a, b, -h) for h = a b
// rounded.
#include "arith/c17/c17_ends.h"

#include "arith/c17/c17_end_constants.h"
#include "arith/c17/c17_end_vectors.h"

// Short loops whose bounds are template constants must vanish, else their arrays live in memory.

namespace trel::TREL_ISA {
namespace {

// As many sums as there are registers for; on avx2 a vector is two of sixteen.
#if defined(TREL_ISA_avx512)
constexpr u32 kGroupsAtOnce = 4, kLimbsAtOnce = 10;
#else
constexpr u32 kGroupsAtOnce = 1, kLimbsAtOnce = 2;
#endif
constexpr u64 kMask48 = (u64(1) << 48) - 1;
constexpr u64 kMask24 = (u64(1) << 24) - 1;

// Shapes of a point of w = 24 (a - 1) bits.
template <u32 a>
struct Shape {
    static constexpr u32 kBytes = 3 * (a - 1);  // of a point
    static constexpr u32 kLimbs24 = a - 1;      // of a point
    static constexpr u32 kLimbs48 = a / 2;      // of a point; when a is even, the last has 24 bits
    static constexpr bool kHalf = a % 2 == 0;   // then a point's end lies in the middle of a limb
    static constexpr u32 kGroupWords = 3 * (a - 1);
};

// ---- cut

// Limbs of the eight points that start at s. Reads 32 bytes from every point's start.
template <u32 a>
TREL_INLINE void cut_group(const u8* s, double* limbs) {
    using S = Shape<a>;
    U64x8 z[4], y[4], x[5];
    TREL_UNROLL for (u32 i = 0; i < 4; i++) {
        z[i] = load_rows(s + i * S::kBytes, s + (i + 4) * S::kBytes);
        y[i] = spread_48<S::kBytes>(z[i]);
    }
    const U64x8 t0 = unpack_even(y[0], y[1]), t1 = unpack_odd(y[0], y[1]);
    const U64x8 t2 = unpack_even(y[2], y[3]), t3 = unpack_odd(y[2], y[3]);
    x[0] = join_low(t0, t2);
    x[1] = join_low(t1, t3);
    x[2] = join_high(t0, t2);
    x[3] = join_high(t1, t3);
    // bytes 24 to 29 stand at the beginning of the last lane already
    x[4] = join_high(unpack_odd(z[0], z[1]), unpack_odd(z[2], z[3]));
    const U64x8 mask = broadcast(kMask24);
    TREL_UNROLL for (u32 k = 0; k < S::kLimbs24; k++) {
        const U64x8 limb = (k % 2 == 0 ? x[k / 2] : shift_right(x[k / 2], 24)) & mask;
        store(limbs + 8 * k, f64_of_52(limb));
    }
}

template <u32 a>
void cut_points(const Word* A, u64 L, u64 j0, u64 count, double* limbs) {
    using S = Shape<a>;
    const u8* bytes = reinterpret_cast<const u8*>(A);
    u64 k = 0;
    for (; k < count; k += 8) {
        const u64 word = (j0 + k) / 8 * S::kGroupWords;
        // the last point's 32 bytes end here
        if (8 * word + 7 * S::kBytes + 32 > 8 * L) break;
        cut_group<a>(bytes + 8 * word, limbs + k * S::kLimbs24);
    }
    for (; k < count; k += 8) {
        const u64 word = (j0 + k) / 8 * S::kGroupWords;
        if (word >= L) break;
        Word padded[S::kGroupWords + 3];
        for (u32 i = 0; i < S::kGroupWords + 3; i++) padded[i] = word + i < L ? A[word + i] : 0;
        cut_group<a>(reinterpret_cast<const u8*>(padded), limbs + k * S::kLimbs24);
    }
    for (; k < count; k += 8) {
        for (u32 i = 0; i < S::kLimbs24; i++) store(limbs + k * S::kLimbs24 + 8 * i, zero_f64());
    }
}

// ---- reduce

// A point is the sum of limbs[k] 2^(24 k). With 2^(24 k) = high[k] 2^24 + low[k] modulo p it is congruent to
// H 2^24 + L, H = limbs[1] + sum high[k] limbs[k], L = limbs[0] + sum low[k] limbs[k] over k >= 2, at most 8
// products of 24 and 23 bits and a limb each: below 2^51, exact. The quotient of H 2^24 + L by p comes from
// its rounded value; the remainder is formed in units of 2^24 first.
template <u32 a, u32 groups>
TREL_INLINE void reduce_groups(const C17PrimeConstants& c, const double*& limbs, u64& j, u64 count,
                               double* out) {
    const F64x8 two24 = broadcast(16777216.0), rounder = broadcast(kRounder);
    const F64x8 p_inverse = broadcast(c.p_inverse), p_low = broadcast(c.p_low);
    for (; j + 8 * groups <= count; j += 8 * groups, limbs += 8 * groups * (a - 1)) {
        F64x8 L[groups], H[groups];
        TREL_UNROLL for (u32 g = 0; g < groups; g++) {
            L[g] = load(limbs + 8 * g * (a - 1));
            H[g] = load(limbs + 8 * (g * (a - 1) + 1));
        }
        TREL_UNROLL for (u32 k = 2; k < a - 1; k++) {
            const F64x8 low = broadcast(c.low[k]), high = broadcast(c.high[k]);
            TREL_UNROLL for (u32 g = 0; g < groups; g++) {
                const F64x8 limb = loaded(load(limbs + 8 * (g * (a - 1) + k)));
                L[g] = fma(limb, low, L[g]);
                H[g] = fma(limb, high, H[g]);
            }
        }
        F64x8 q[groups];
        TREL_UNROLL for (u32 g = 0; g < groups; g++) q[g] = fma(H[g], two24, L[g]);
        TREL_UNROLL for (u32 g = 0; g < groups; g++) q[g] = fma(q[g], p_inverse, rounder);
        TREL_UNROLL for (u32 g = 0; g < groups; g++) q[g] = q[g] - rounder;
        TREL_UNROLL for (u32 g = 0; g < groups; g++) H[g] = fnma(q[g], p_low, H[g]);
        TREL_UNROLL for (u32 g = 0; g < groups; g++) store(out + j + 8 * g, fma(H[g], two24, L[g]));
    }
}

// Four groups at once: the sums of one are a chain of dependent operations, too long for the processor to
// look past. All primes take a few points at a time, whose limbs stay in the first cache.
template <u32 a>
void reduce_points(const C17EndConstants* constants, u32 first, u32 n, const double* limbs, u64 count,
                   double* out, u64 stride) {
    constexpr u64 kPointsAtOnce = 64;
    const C17PrimeConstants* primes = constants->set->primes + first;
    for (u64 k = 0; k < count; k += kPointsAtOnce) {
        const u64 points = count - k < kPointsAtOnce ? count - k : kPointsAtOnce;
        for (u32 i = 0; i < n; i++) {
            const double* from = limbs + k * (a - 1);
            u64 j = 0;
            reduce_groups<a, kGroupsAtOnce>(primes[i], from, j, points, out + i * stride + k);
            reduce_groups<a, 1>(primes[i], from, j, points, out + i * stride + k);
        }
    }
}

// ---- recombine

// The coefficients of eight points as `a` limbs of 48 bits; the last is what stands above 2 w = 48 (a - 1)
// bits, two's complement.
//
// y_i = r_i / (N M_i) mod p_i, then X = sum y_i M_i - q M with q = floor(sum y_i / p_i), M the product of the
// primes. q M is taken out of the last prime's y before the sums are made.
//
// Sums of y_i m_ik, where m_ik are the digits of M_i in base 2^48: H_k starts at 1.5 * 2^100, whose unit is
// 2^48, and collects the products rounded to that unit; low_k collects the rests, which are exact and at most
// 2^47 each. |y_i| <= 0.75 p_i and |q| < 0.75 a + 1 keep the sums of products below 2^99 in every set (a test
// adds them up), so that H_k never leaves [2^100, 2^101); a <= 11 rests keep low_k, which starts at
// 1.5 * 2^52, within [2^52, 2^53). The bits of both are then integers plus a constant of the upper 16 bits,
// kBiasHigh and kBiasLow; the sum of the constants arrives in the next limb as if it were a carry, so low_k
// starts that much lower.
constexpr double kStartHigh = 0x1.8p100;
constexpr u64 kBiasHigh = 0x4638, kBiasLow = kRounderBits >> 48;

// Limbs k0 to a - 2. The loop over primes is kept, so that the sums stay in registers.
template <u32 a, u32 k0>
TREL_INLINE void sum_products(const C17PrimeConstants* primes, const double* y, F64x8 (&high)[a - 1],
                              F64x8 (&low)[a - 1]) {
    constexpr u32 k1 = k0 + kLimbsAtOnce < a - 1 ? k0 + kLimbsAtOnce : a - 1;
    TREL_KEEP_LOOP for (u32 i = 0; i < a; i++) {
        const F64x8 factor = load(y + 8 * i);
        TREL_UNROLL for (u32 k = k0; k < k1; k++) {
            const F64x8 digit = broadcast(primes[i].others[k]);
            const F64x8 next = fma(factor, digit, high[k]);
            low[k] = low[k] + fma(factor, digit, high[k] - next);
            high[k] = next;
        }
    }
    if constexpr (k1 < a - 1) sum_products<a, k1>(primes, y, high, low);
}

template <u32 a>
TREL_INLINE void coefficients(const C17EndConstants* constants, const double* residues, u64 stride,
                              U64x8 (&x)[a]) {
    const C17PrimeConstants* primes = constants->set->primes;
    const F64x8 rounder = broadcast(kRounder);
    alignas(64) double y[8 * a];
    // Sums of y_i / p_i are accurate to 2^-45: rounding a sum less a half, plus a little, is the floor of all
    // that is not within 2^-39 below an integer.
    F64x8 sum = broadcast(-0.5 + 0x1p-40), last = zero_f64();
    for (u32 i = 0; i < a; i++) {
        const F64x8 r = load(residues + i * stride), scale = broadcast(constants->scale[i]);
        const F64x8 p_inverse = broadcast(primes[i].p_inverse);
        const F64x8 h = r * scale;
        const F64x8 rest = fms(r, scale, h);
        const F64x8 q = fma(h, p_inverse, rounder) - rounder;
        last = fnma(q, broadcast(primes[i].p), h) + rest;
        store(y + 8 * i, last);
        sum = fma(last, p_inverse, sum);
    }
    store(y + 8 * (a - 1), fnma((sum + rounder) - rounder, broadcast(primes[a - 1].p), last));

    F64x8 high[a - 1], low[a - 1];
    TREL_UNROLL for (u32 k = 0; k < a - 1; k++) {
        high[k] = broadcast(kStartHigh);
        low[k] = broadcast(kRounder - static_cast<double>(k == 0 ? 0 : kBiasLow + (k == 1 ? 0 : kBiasHigh)));
    }
    sum_products<a, 0>(primes, y, high, low);

    const U64x8 mask = broadcast(kMask48);
    U64x8 carry = zero_u64();
    TREL_UNROLL for (u32 k = 0; k < a - 1; k++) {
        U64x8 t = bits_of(low[k]);
        if (k != 0) t = t + bits_of(high[k - 1]) + carry;
        x[k] = t & mask;
        carry = shift_right(t, 48);
    }
    x[a - 1] = bits_of(high[a - 2]) + carry - broadcast((kBiasHigh << 48) + kBiasHigh + kBiasLow);
}

// Adds limbs of 48 bits and the carry into the lowest; a last limb of 24 bits when a is even.
template <u32 a>
TREL_INLINE U64x8 settle(U64x8 (&p)[a / 2], U64x8 carry) {
    using S = Shape<a>;
    TREL_UNROLL for (u32 i = 0; i < S::kLimbs48; i++) {
        const U64x8 t = p[i] + carry;
        if (S::kHalf && i == S::kLimbs48 - 1) {
            p[i] = t & broadcast(kMask24);
            carry = shift_right(t, 24);
        } else {
            p[i] = t & broadcast(kMask48);
            carry = shift_right(t, 48);
        }
    }
    return carry;
}

template <u32 a>
struct State {
    U64x8 middle[a / 2], top, out, excess;
};

// One group of the product: the points' first parts, the second parts of the points before, what stands above
// them of the points before those, and carries. The points are settled side by side; what a point sends to
// the next one is added there afterwards, and in the rare case that this fills the lowest limb, again and
// again until it is at rest.
template <u32 a>
TREL_INLINE void join_group(State<a>& state, const U64x8 (&x)[a], u8* out) {
    using S = Shape<a>;
    constexpr u32 n = S::kLimbs48, q = (a - 1) / 2;
    const U64x8 mask = broadcast(kMask48);
    U64x8 p[n], middle[n];
    TREL_UNROLL for (u32 i = 0; i < n; i++) {
        p[i] = x[i];
        if constexpr (!S::kHalf) {
            middle[i] = x[q + i];
        } else if (i < n - 1) {
            middle[i] = (shift_right(x[q + i], 24) | shift_left(x[q + i + 1], 24)) & mask;
        } else {
            p[i] = x[i] & broadcast(kMask24);
            middle[i] = shift_right(x[q + i], 24);
        }
    }
    TREL_UNROLL for (u32 i = 0; i < n; i++) {
        p[i] = p[i] + move_up<1>(middle[i], state.middle[i]);
        state.middle[i] = middle[i];
    }
    const U64x8 top = x[a - 1];
    U64x8 carry = settle<a>(p, move_up<2>(top, state.top));
    state.top = top;
    state.excess = max(state.excess, top);
    p[0] = p[0] + move_up<1>(carry, state.out);
    state.out = carry;
    while (__builtin_expect(any_of_bits(p[0], broadcast(~kMask48)), 0)) {
        carry = settle<a>(p, zero_u64());
        p[0] = p[0] + move_up<1>(carry, zero_u64());
        state.out = state.out + carry;  // only the last lane is ever read
    }

    // A point's limbs as 32 bytes in a row.
    U64x8 w[4];
    const U64x8 zero = zero_u64();
    const U64x8 p2 = n > 2 ? p[2] : zero, p3 = n > 3 ? p[3] : zero;
    w[0] = p[0] | shift_left(p[1], 48);
    w[1] = shift_right(p[1], 16) | shift_left(p2, 32);
    w[2] = shift_right(p2, 32) | shift_left(p3, 16);
    w[3] = n > 4 ? p[4] : zero;
    const U64x8 t0 = unpack_even(w[0], w[1]), t1 = unpack_odd(w[0], w[1]);
    const U64x8 t2 = unpack_even(w[2], w[3]), t3 = unpack_odd(w[2], w[3]);
    const U64x8 row[4] = {join_low(t0, t2), join_low(t1, t3), join_high(t0, t2), join_high(t1, t3)};
    // Rows overlap the points behind them, which are written later. The last ones end with the group.
    TREL_UNROLL for (u32 j = 0; j < 8; j++) {
        u8* to = out + j * S::kBytes;
        if ((8 - j) * S::kBytes >= 32) {
            j < 4 ? store_row_low(to, row[j % 4]) : store_row_high(to, row[j % 4]);
        } else {
            u8 bytes[32];
            j < 4 ? store_row_low(bytes, row[j % 4]) : store_row_high(bytes, row[j % 4]);
            __builtin_memcpy(to, bytes, S::kBytes);
        }
    }
}

template <u32 a>
TREL_INLINE State<a> load_state(const C17Carry* carry) {
    State<a> state;
    TREL_UNROLL for (u32 i = 0; i < a / 2; i++) state.middle[i] = load(carry->middle[i]);
    state.top = load(carry->top);
    state.out = load(carry->out);
    state.excess = load(carry->excess);
    return state;
}
template <u32 a>
TREL_INLINE void store_state(C17Carry* carry, const State<a>& state) {
    TREL_UNROLL for (u32 i = 0; i < a / 2; i++) store(carry->middle[i], state.middle[i]);
    store(carry->top, state.top);
    store(carry->out, state.out);
    store(carry->excess, state.excess);
}

template <u32 a>
void recombine_points(const C17EndConstants* constants, const double* residues, u64 stride, u64 count,
                      C17Carry* carry, Word* out) {
    State<a> state = load_state<a>(carry);
    u8* bytes = reinterpret_cast<u8*>(out);
    for (u64 j = 0; j < count; j += 8) {
        U64x8 x[a];
        coefficients<a>(constants, residues + j, stride, x);
        join_group<a>(state, x, bytes + j * Shape<a>::kBytes);
    }
    store_state<a>(carry, state);
}

// The first half of coefficients(): |y| is below 2^48, and the bits of y plus the rounder are y plus a
// constant, which is taken off for all groups together.
template <u32 a>
void leave_out_points(const C17EndConstants* constants, const double* residues, u64 stride, u64 count,
                      C17Outside* sums) {
    const C17PrimeConstants* primes = constants->set->primes;
    const F64x8 rounder = broadcast(kRounder);
    U64x8 total[a], quotients = load(sums->quotient);
    TREL_UNROLL for (u32 i = 0; i < a; i++) total[i] = load(sums->y[i]);
    for (u64 j = 0; j < count; j += 8) {
        F64x8 sum = broadcast(-0.5 + 0x1p-40);
        TREL_UNROLL for (u32 i = 0; i < a; i++) {
            const F64x8 r = load(residues + j + i * stride), scale = broadcast(constants->scale[i]);
            const F64x8 p_inverse = broadcast(primes[i].p_inverse);
            const F64x8 h = r * scale;
            const F64x8 rest = fms(r, scale, h);
            const F64x8 q = fma(h, p_inverse, rounder) - rounder;
            const F64x8 y = fnma(q, broadcast(primes[i].p), h) + rest;
            total[i] = total[i] + bits_of(y + rounder);
            sum = fma(y, p_inverse, sum);
        }
        quotients = quotients + bits_of(sum + rounder);
    }
    const U64x8 constant = broadcast(kRounderBits * (count / 8));
    TREL_UNROLL for (u32 i = 0; i < a; i++) store(sums->y[i], total[i] - constant);
    store(sums->quotient, quotients - constant);
}

template <u32 a>
void flush_points(C17Carry* carry, Word* out) {
    State<a> state = load_state<a>(carry);
    U64x8 x[a];
    TREL_UNROLL for (u32 i = 0; i < a; i++) x[i] = zero_u64();
    join_group<a>(state, x, reinterpret_cast<u8*>(out));
    state.out = zero_u64();
    store_state<a>(carry, state);
}

// ---- the table

#define C17_FOR_EACH_A(call) \
    switch (a) {             \
        case 4:              \
            call(4);         \
        case 5:              \
            call(5);         \
        case 6:              \
            call(6);         \
        case 7:              \
            call(7);         \
        case 8:              \
            call(8);         \
        case 9:              \
            call(9);         \
        case 10:             \
            call(10);        \
        default:             \
            call(11);        \
    }

void cut(u32 a, const Word* A, u64 L, u64 j0, u64 count, double* limbs) {
#define C17_CALL(n) return cut_points<n>(A, L, j0, count, limbs)
    C17_FOR_EACH_A(C17_CALL)
#undef C17_CALL
}
void reduce(const C17EndConstants* constants, u32 first, u32 n, const double* limbs, u64 count, double* out,
            u64 stride) {
    const u32 a = constants->set->a;
#define C17_CALL(A) return reduce_points<A>(constants, first, n, limbs, count, out, stride)
    C17_FOR_EACH_A(C17_CALL)
#undef C17_CALL
}
void recombine(const C17EndConstants* constants, const double* residues, u64 stride, u64 count,
               C17Carry* carry, Word* out) {
    const u32 a = constants->set->a;
#define C17_CALL(n) return recombine_points<n>(constants, residues, stride, count, carry, out)
    C17_FOR_EACH_A(C17_CALL)
#undef C17_CALL
}
void leave_out(const C17EndConstants* constants, const double* residues, u64 stride, u64 count,
               C17Outside* sums) {
    const u32 a = constants->set->a;
#define C17_CALL(n) return leave_out_points<n>(constants, residues, stride, count, sums)
    C17_FOR_EACH_A(C17_CALL)
#undef C17_CALL
}
void flush(const C17EndConstants* constants, C17Carry* carry, Word* out) {
    const u32 a = constants->set->a;
#define C17_CALL(n) return flush_points<n>(carry, out)
    C17_FOR_EACH_A(C17_CALL)
#undef C17_CALL
}

}  // namespace

constinit const C17EndKernels c17_end_kernels{cut, reduce, recombine, leave_out, flush};

}  // namespace trel::TREL_ISA
