// The kernels of the digit extractor. Same results as tests/reference/bbp_reference.h, except that r of the
// power stage is any of the residues that bbp_kernels.h allows.
#include "digits/bbp/bbp_kernels.h"

#include "base/simd/vec_bits.h"

namespace trel::TREL_ISA {
extern const kalvor::BbpKernels bbp_kernels;

namespace {

using kalvor::BbpTerms;
using kalvor::BbpTile;
using kalvor::BbpTileC;

// Vectors in flight. A squaring is a chain of some 22 cycles that keeps two multipliers busy for two, so ten
// or more have to overlap; the residues stay in registers and the rest comes from the first cache. Measured
// (bench/digits/bbp): 16 at avx512; at avx2 8 pairs, although their residues fill all registers. The limbs, a
// chain of 12 cycles, are best with as many.
constexpr u64 kFlight = sizeof(Mask8) == 1 ? 16 : 8;

constexpr u64 kOne = 0x3ff0000000000000;  // the bits of 1.0
constexpr double k2_48 = 281474976710656.0;

TREL_INLINE u64 bits_in(u64 x) {
    return x == 0 ? 0 : 64 - static_cast<u64>(__builtin_clzll(x));
}
TREL_INLINE U64x8 lane_numbers() {
    return set(u64(0), 1, 2, 3, 4, 5, 6, 7);
}
TREL_INLINE u64 whole_groups(u64 n) {
    return (n + kalvor::kBbpGroup - 1) / kalvor::kBbpGroup * kalvor::kBbpGroup;
}
// Lane i: start + i step, both below 2^62; lanes of later vectors follow by adding 8 step.
TREL_INLINE U64x8 ramp(u64 start, u64 step) {
    return broadcast(start) + mul_lo(lane_numbers(), broadcast(step));
}

// The nearest integer to x, |x| <= 2^51, from x + 1.5 2^52.
TREL_INLINE F64x8 rounded(F64x8 x_biased) {
    return x_biased - broadcast(kRounder);
}

enum class Power {
    exact,  // m <= kExactLimit: r r needs no second half
    a,      // m < 2^49
    early,  // m <= kEarlyLimit: r is doubled before it is multiplied
    b       // m < 2^51
};
// The limit of Power::exact: |r| <= m (1 + 2^-25), whose square is below 2^53.
constexpr u64 kExactLimit = 90000000;
constexpr u64 kEarlyLimit = (u64(1) << 50) - 1;

// r r 2^bit modulo m.
//   exact, a:  |r| < 2 m          early, b:  |r| <= m
template <Power kind>
TREL_INLINE F64x8 square_and_double(F64x8 r, F64x8 m, F64x8 inverse, U64x8 x, U64x8 bit) {
    const Mask8 doubled = has_bit(x, bit);
    const F64x8 factor = kind == Power::early ? add_masked(doubled, r, r) : r;
    const F64x8 high = r * factor;
    const F64x8 q = rounded(fma(high, inverse, broadcast(kRounder)));
    F64x8 rest = fnma(q, m, high);
    if constexpr (kind != Power::exact) rest = rest + fms(r, factor, high);
    if constexpr (kind == Power::early) {
        return rest;
    } else if constexpr (kind == Power::b) {
        // 2 r - m or 2 r + m, so that the residue stays within m.
        return double_minus_masked(doubled, rest, with_sign(m, rest));
    } else {
        return add_masked(doubled, rest, rest);
    }
}

// n_squarings: the power of the leading bits, 2^(x >> n_squarings), is set up directly.
template <Power kind>
TREL_INLINE void power_of_flight(double* out, const double* m, const double* inverse, const u64* x,
                                 u64 n_squarings) {
    F64x8 r[kFlight];
    TREL_UNROLL
    for (u64 v = 0; v < kFlight; v++) {
        const U64x8 leading = shift_right(load(x + 8 * v), static_cast<unsigned>(n_squarings));
        const F64x8 power = f64_of_bits(shift_left(leading, 52) + broadcast(kOne));
        const F64x8 q = rounded(fma(power, load(inverse + 8 * v), broadcast(kRounder)));
        r[v] = fnma(q, load(m + 8 * v), power);
    }
    TREL_KEEP_LOOP
    for (u64 s = n_squarings; s > 0; s--) {
        const U64x8 bit = broadcast(u64(1) << (s - 1));
        TREL_UNROLL
        for (u64 v = 0; v < kFlight; v++) {
            r[v] =
                square_and_double<kind>(r[v], load(m + 8 * v), load(inverse + 8 * v), load(x + 8 * v), bit);
        }
    }
    TREL_UNROLL
    for (u64 v = 0; v < kFlight; v++) store(out + 8 * v, r[v]);
}

// Six leading bits where 2^63 / m is below 2^51 (with room for the error of the inverse), else five. x >= 1.
TREL_INLINE u64 squarings_of(u64 x, u64 m) {
    const u64 n_leading = m >= u64(1) << 13 ? 6 : 5;
    const u64 n = bits_in(x);
    return n > n_leading ? n - n_leading : 0;
}

template <Power kind>
void power(BbpTile& tile, const BbpTerms& terms) noexcept {
    alignas(64) u64 x[8 * kFlight];
    constexpr u64 kTerms = 8 * kFlight;
    const u64 n = whole_groups(terms.n);
    U64x8 divisors = ramp(terms.divisor, terms.divisor_step);
    U64x8 exponents = ramp(terms.exponent, u64(0) - terms.exponent_step);
    const U64x8 divisor_step = broadcast(8 * terms.divisor_step);
    const U64x8 exponent_step = broadcast(8 * terms.exponent_step);
    for (u64 i = 0; i < n; i += kTerms) {
        for (u64 v = 0; v < kFlight; v++) {
            const F64x8 m = f64_of_52(divisors);
            store(tile.m + i + 8 * v, m);
            store(tile.inverse + i + 8 * v, broadcast(1.0) / m);
            store(x + 8 * v, exponents);
            divisors = divisors + divisor_step;
            exponents = exponents - exponent_step;
        }
        const u64 m0 = terms.divisor + i * terms.divisor_step;
        // The first lane has the largest exponent. Lanes behind the last term compute anything at all.
        const u64 n_squarings = i < terms.n ? squarings_of(x[0], m0) : 0;
        const u64 m_end = m0 + kTerms * terms.divisor_step;
        if (m_end <= kExactLimit) {
            power_of_flight<Power::exact>(tile.r + i, tile.m + i, tile.inverse + i, x, n_squarings);
        } else if (kind == Power::b && m_end <= kEarlyLimit) {
            power_of_flight<Power::early>(tile.r + i, tile.m + i, tile.inverse + i, x, n_squarings);
        } else {
            power_of_flight<kind>(tile.r + i, tile.m + i, tile.inverse + i, x, n_squarings);
        }
    }
    for (u64 i = terms.n; i < n; i++) tile.r[i] = 0;
}

void limbs(u64* sums, u64 n_limbs, BbpTile& tile, u64 n, bool last) noexcept {
    n = whole_groups(n);
    for (u64 i = 0; i < n; i += 8 * kFlight) {
        F64x8 r[kFlight];
        alignas(64) double scaled[8 * kFlight];
        const double* const m = tile.m + i;
        TREL_UNROLL
        for (u64 v = 0; v < kFlight; v++) {
            r[v] = load(tile.r + i + 8 * v);
            store(scaled + 8 * v, load(tile.inverse + i + 8 * v) * broadcast(k2_48));
        }
        TREL_KEEP_LOOP
        for (u64 j = 0; j < n_limbs; j++) {
            U64x8 sum = load(sums + 8 * j) - broadcast(kFlight * kRounderBits);
            TREL_UNROLL
            for (u64 v = 0; v < kFlight; v++) {
                // The integer q stands in the low bits of its biased form; the bias was taken off above.
                const F64x8 biased = fma(r[v], load(scaled + 8 * v), broadcast(kRounder));
                sum = sum + bits_of(biased);
                r[v] = fnma(rounded(biased), load(m + 8 * v), r[v] * broadcast(k2_48));
            }
            store(sums + 8 * j, sum);
        }
        U64x8 above = zero_u64();  // where q was rounded up
        TREL_UNROLL
        for (u64 v = 0; v < kFlight; v++) {
            above = above + shift_right(bits_of(r[v]), 63);
            store(tile.r + i + 8 * v, r[v]);
        }
        if (last) store(sums + 8 * (n_limbs - 1), load(sums + 8 * (n_limbs - 1)) - above);
    }
}

// ---- mode C

// The nearest double to x, -2^62 <= x < 2^62 in two's complement.
TREL_INLINE F64x8 f64_of_i62(U64x8 x) {
    const U64x8 y = x + broadcast(u64(1) << 62);
    const F64x8 high = f64_of_52(shift_right(y, 32)) - broadcast(1073741824.0);
    return fma(high, broadcast(4294967296.0), f64_of_52(y & broadcast(u64(0xffffffff))));
}
// q is r 2^48 / m with an error below 1/5, rounded to the nearest integer; returns r 2^48 - q m.
TREL_INLINE U64x8 next_limb(U64x8 r, U64x8 m, F64x8 scaled_inverse, U64x8& q) {
    q = bits_of(fma(f64_of_i62(r), scaled_inverse, broadcast(kRounder))) - broadcast(kRounderBits);
    return shift_left(r, 48) - mul_lo(q, m);
}

// r r 2^bit / 2^64 modulo m, for 0 <= r < 2 m: two steps of Montgomery's reduction by 32 bits each. m_high =
// m >> 32, m_inverse m = 1 modulo 2^32.
//   r r = p0 + 2^33 p1 + 2^64 p2.   Each step takes off the multiple u m that has the same low 32 bits; these
// need not be computed. The result lies in (-m, m / 2), and m is added where it is negative.
TREL_INLINE U64x8 montgomery_square(U64x8 r, U64x8 m, U64x8 m_high, U64x8 m_inverse, U64x8 x, U64x8 bit) {
    const U64x8 r_high = shift_right(r, 32);
    const U64x8 p0 = mul_32(r, r), p1 = mul_32(r, r_high), p2 = mul_32(r_high, r_high);
    const U64x8 u0 = mul_32(p0, m_inverse);
    // -2^61 - 2^32 < middle < 2^63; 2^62 more makes it a plain number.
    const U64x8 middle = shift_right(p0, 32) - shift_right(mul_32(u0, m), 32) + (p1 + p1) -
                         mul_32(u0, m_high) + broadcast(u64(1) << 62);
    const U64x8 u1 = mul_32(middle, m_inverse);
    const U64x8 rest = p2 + shift_right(middle, 32) - shift_right(mul_32(u1, m), 32) - mul_32(u1, m_high) -
                       broadcast(u64(1) << 30);
    const U64x8 reduced = add_where_negative(rest, m);
    return add_masked(has_bit(x, bit), reduced, reduced);
}

// The same for m <= kShortLimitC and 2^32 in the place of 2^64: one step. r r / 2^32 is below m, so the
// result lies in (-m, m) before m is added.
TREL_INLINE U64x8 short_montgomery_square(U64x8 r, U64x8 m, U64x8 m_inverse, U64x8 x, U64x8 bit) {
    const U64x8 square = mul_32(r, r);
    const U64x8 u = mul_32(square, m_inverse);
    const U64x8 rest = shift_right(square, 32) - shift_right(mul_32(u, m), 32);
    const U64x8 reduced = add_where_negative(rest, m);
    return add_masked(has_bit(x, bit), reduced, reduced);
}
constexpr u64 kShortLimitC = (u64(1) << 30) - 1;

// m^-1 modulo 2^32, m odd: 5 bits, and each step doubles them.
TREL_INLINE U64x8 inverse_32(U64x8 m) {
    U64x8 inverse = (m + m + m) ^ broadcast(u64(2));
    for (int step = 0; step < 3; step++) {
        inverse = mul_32(inverse, broadcast(u64(2)) - mul_32(inverse, m));
    }
    return inverse;
}
// x >> n by an arithmetic shift, |x| < 2^62.
TREL_INLINE U64x8 leading_bits(U64x8 x, u64 n) {
    return shift_right(x + broadcast(u64(1) << 62), static_cast<unsigned>(n)) -
           broadcast((u64(1) << 62) >> n);
}

constexpr u64 kFlightC = sizeof(Mask8) == 1 ? 16 : 4;
constexpr u64 kShortFlightC = sizeof(Mask8) == 1 ? 16 : 8;

// The terms i ... of a tile that are in flight together. Terms behind the last one (terms.n may be 0) compute
// anything at all.
void flight_c(BbpTileC& tile, u64 i, const BbpTerms& terms) {
    U64x8 divisors = ramp(terms.divisor, terms.divisor_step);
    // Montgomery's squaring takes 2^(64 + z) to 2^(64 + 2 z): z goes to x - 64 by the bits of x - 64, which
    // may be negative.
    U64x8 exponents = ramp(terms.exponent - 64, u64(0) - terms.exponent_step);
    const u64 n_bits = terms.n != 0 && terms.exponent >= 64 ? bits_in(terms.exponent - 64) : 0;
    const u64 n_squarings = n_bits > 5 ? n_bits - 5 : 0;
    constexpr u64 kTerms = 8 * kFlightC;
    U64x8 r[kFlightC];
    alignas(64) u64 x[kTerms], m_high[kTerms], m_inverse[kTerms];
    const u64* const m = tile.m + i;
    TREL_UNROLL
    for (u64 v = 0; v < kFlightC; v++) {
        store(tile.m + i + 8 * v, divisors);
        store(m_high + 8 * v, shift_right(divisors, 32));
        store(x + 8 * v, exponents);
        store(m_inverse + 8 * v, inverse_32(divisors));
        const F64x8 reciprocal = broadcast(1.0) / f64_of_i62(divisors);
        store(tile.inverse + i + 8 * v, reciprocal);
        // The leading bits as z = -63 .. 31. 2^(64 + z) comes in two steps, 2^(16 + z) modulo m and a limb;
        // below z = -16 it fits by itself.
        const U64x8 lead = leading_bits(exponents, n_squarings);
        const F64x8 power = f64_of_bits(shift_left(lead + broadcast(u64(1023 + 16)), 52));
        const Mask8 is_small = less(lead + broadcast(u64(64)), broadcast(u64(48)));
        const F64x8 small = f64_of_bits(shift_left(lead + broadcast(u64(1023 + 64)), 52));
        const F64x8 first = select(is_small, power, small);
        const U64x8 q = i64_of_f64(first * reciprocal);
        const U64x8 start = i64_of_f64(first) - mul_lo(q, divisors);
        U64x8 limb;
        const U64x8 scaled = next_limb(start, divisors, reciprocal * broadcast(k2_48), limb);
        const U64x8 signed_r = select(is_small, scaled, start);
        r[v] = add_where_negative(signed_r, divisors);
        divisors = divisors + broadcast(8 * terms.divisor_step);
        exponents = exponents - broadcast(8 * terms.exponent_step);
    }
    TREL_KEEP_LOOP
    for (u64 s = n_squarings; s > 0; s--) {
        const U64x8 bit = broadcast(u64(1) << (s - 1));
        TREL_UNROLL
        for (u64 v = 0; v < kFlightC; v++) {
            r[v] = montgomery_square(r[v], load(m + 8 * v), load(m_high + 8 * v), load(m_inverse + 8 * v),
                                     load(x + 8 * v), bit);
        }
    }
    TREL_UNROLL
    for (u64 v = 0; v < kFlightC; v++) store(tile.r + i + 8 * v, r[v]);
}

// The same with short squarings, which go by the bits of x - 32.
void short_flight_c(BbpTileC& tile, u64 i, const BbpTerms& terms) {
    U64x8 divisors = ramp(terms.divisor, terms.divisor_step);
    U64x8 exponents = ramp(terms.exponent - 32, u64(0) - terms.exponent_step);
    const u64 n_bits = terms.n != 0 && terms.exponent >= 32 ? bits_in(terms.exponent - 32) : 0;
    // One less where 2^63 / m is not below 2^51.
    const u64 n_leading = terms.divisor >= u64(1) << 13 ? 5 : 4;
    const u64 n_squarings = n_bits > n_leading ? n_bits - n_leading : 0;
    constexpr u64 kTerms = 8 * kShortFlightC;
    U64x8 r[kShortFlightC];
    alignas(64) u64 x[kTerms], m_inverse[kTerms];
    const u64* const m = tile.m + i;
    TREL_UNROLL
    for (u64 v = 0; v < kShortFlightC; v++) {
        store(tile.m + i + 8 * v, divisors);
        store(x + 8 * v, exponents);
        store(m_inverse + 8 * v, inverse_32(divisors));
        const F64x8 divisor = f64_of_52(divisors);
        const F64x8 reciprocal = broadcast(1.0) / divisor;
        store(tile.inverse + i + 8 * v, reciprocal);
        // The leading bits as z = -31 .. 31; 2^(32 + z) modulo m by one rounding.
        const U64x8 lead = leading_bits(exponents, n_squarings);
        const F64x8 power = f64_of_bits(shift_left(lead + broadcast(u64(1023 + 32)), 52));
        const F64x8 q = rounded(fma(power, reciprocal, broadcast(kRounder)));
        r[v] = add_where_negative(i64_of_f64(fnma(q, divisor, power)), divisors);
        divisors = divisors + broadcast(8 * terms.divisor_step);
        exponents = exponents - broadcast(8 * terms.exponent_step);
    }
    TREL_KEEP_LOOP
    for (u64 s = n_squarings; s > 0; s--) {
        const U64x8 bit = broadcast(u64(1) << (s - 1));
        TREL_UNROLL
        for (u64 v = 0; v < kShortFlightC; v++) {
            r[v] =
                short_montgomery_square(r[v], load(m + 8 * v), load(m_inverse + 8 * v), load(x + 8 * v), bit);
        }
    }
    TREL_UNROLL
    for (u64 v = 0; v < kShortFlightC; v++) store(tile.r + i + 8 * v, r[v]);
}

void power_c(BbpTileC& tile, const BbpTerms& terms) noexcept {
    const u64 n = whole_groups(terms.n);
    for (u64 i = 0; i < n;) {
        const BbpTerms rest{i < terms.n ? terms.n - i : 0, terms.divisor + i * terms.divisor_step,
                            terms.divisor_step, terms.exponent - i * terms.exponent_step,
                            terms.exponent_step};
        if (rest.divisor + 8 * kShortFlightC * terms.divisor_step <= kShortLimitC) {
            short_flight_c(tile, i, rest);
            i += 8 * kShortFlightC;
        } else {
            flight_c(tile, i, rest);
            i += 8 * kFlightC;
        }
    }
    for (u64 i = terms.n; i < n; i++) tile.r[i] = 0;
}

// Limbs of kShortFlightC vectors with m <= kShortLimitC. r 2^48 - q m lies between -2^31 and 2^31, so that
// the low 32 bits of -q m are all of it.
void short_limbs_c(u64* sums, u64 n_limbs, u64* words, const u64* m, const double* inverse, bool last) {
    F64x8 r[kShortFlightC];
    alignas(64) double scaled[8 * kShortFlightC];
    TREL_UNROLL
    for (u64 v = 0; v < kShortFlightC; v++) {
        r[v] = f64_of_bits(load(words + 8 * v) + broadcast(kRounderBits)) - broadcast(kRounder);
        store(scaled + 8 * v, load(inverse + 8 * v) * broadcast(k2_48));
    }
    // 2^52 + 2^31 - (2^52 + (u ^ 2^31)) is -u for u as a signed number of 32 bits.
    const U64x8 low = broadcast(u64(0xffffffff)), flip = broadcast(u64(0x4330000080000000));
    const F64x8 top = broadcast(4503599627370496.0 + 2147483648.0);
    TREL_KEEP_LOOP
    for (u64 j = 0; j < n_limbs; j++) {
        U64x8 sum = load(sums + 8 * j) - broadcast(kShortFlightC * kRounderBits);
        TREL_UNROLL
        for (u64 v = 0; v < kShortFlightC; v++) {
            const U64x8 biased = bits_of(fma(r[v], load(scaled + 8 * v), broadcast(kRounder)));
            sum = sum + biased;
            r[v] = top - f64_of_bits((mul_32(biased, load(m + 8 * v)) & low) ^ flip);
        }
        store(sums + 8 * j, sum);
    }
    U64x8 above = zero_u64();
    TREL_UNROLL
    for (u64 v = 0; v < kShortFlightC; v++) {
        above = above + shift_right(bits_of(r[v]), 63);
        store(words + 8 * v, i64_of_f64(r[v]));
    }
    if (last) store(sums + 8 * (n_limbs - 1), load(sums + 8 * (n_limbs - 1)) - above);
}

constexpr u64 kLimbVectorsC = 4;

// The same of kLimbVectorsC vectors and any m.
void long_limbs_c(u64* sums, u64 n_limbs, u64* words, const u64* divisors, const double* inverse, bool last) {
    U64x8 r[kLimbVectorsC], m[kLimbVectorsC];
    F64x8 scaled[kLimbVectorsC];
    TREL_UNROLL
    for (u64 v = 0; v < kLimbVectorsC; v++) {
        r[v] = load(words + 8 * v);
        m[v] = load(divisors + 8 * v);
        scaled[v] = load(inverse + 8 * v) * broadcast(k2_48);
    }
    TREL_KEEP_LOOP
    for (u64 j = 0; j < n_limbs; j++) {
        U64x8 sum = load(sums + 8 * j);
        TREL_UNROLL
        for (u64 v = 0; v < kLimbVectorsC; v++) {
            U64x8 q;
            r[v] = next_limb(r[v], m[v], scaled[v], q);
            sum = sum + q;
        }
        store(sums + 8 * j, sum);
    }
    U64x8 above = zero_u64();
    TREL_UNROLL
    for (u64 v = 0; v < kLimbVectorsC; v++) {
        above = above + shift_right(r[v], 63);
        store(words + 8 * v, r[v]);
    }
    if (last) store(sums + 8 * (n_limbs - 1), load(sums + 8 * (n_limbs - 1)) - above);
}

void limbs_c(u64* sums, u64 n_limbs, BbpTileC& tile, u64 n, bool last) noexcept {
    n = whole_groups(n);
    for (u64 i = 0; i < n; i += 8 * kShortFlightC) {
        U64x8 largest = zero_u64();  // not below the largest m, and below 2^30 where all are
        for (u64 v = 0; v < kShortFlightC; v++) largest = largest | load(tile.m + i + 8 * v);
        if (bits_of_mask(less(largest, broadcast(kShortLimitC + 1))) == 0xff) {
            short_limbs_c(sums, n_limbs, tile.r + i, tile.m + i, tile.inverse + i, last);
            continue;
        }
        for (u64 at = i; at < i + 8 * kShortFlightC; at += 8 * kLimbVectorsC) {
            long_limbs_c(sums, n_limbs, tile.r + at, tile.m + at, tile.inverse + at, last);
        }
    }
}

}  // namespace

constinit const kalvor::BbpKernels bbp_kernels{
    TREL_TEXT_OF(TREL_ISA), power<Power::a>, power<Power::b>, limbs, power_c, limbs_c};

}  // namespace trel::TREL_ISA
