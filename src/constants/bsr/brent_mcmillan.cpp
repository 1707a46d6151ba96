#include "constants/bsr/brent_mcmillan.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "arith/bigfloat/combine.h"
#include "arith/bigfloat/number_check.h"
#include "arith/multiply/product_needs.h"
#include "base/errors/exceptions.h"
#include "constants/polynomials/log_products.h"

namespace kalvor::BinarySplitting::BrentMcMillanAB {
namespace {

constexpr const char* kLeaf = "BrentMcMillanAB_BSR_End()";
// Words of the longest number of a leaf, j^3 + 2 n^2 j - n^2 with j below 2^55, shifted by less than a word.
constexpr u64 kLeafWords = 5;
constexpr u64 kSmallRange = 100;

DoubleDouble ln_n(u64 m) {
    return DoubleDouble::from_u64(m) * dd::ln2();
}

// ln x!, 0 for x = 0.
DoubleDouble factorial(u64 x) {
    return x == 0 ? DoubleDouble(0.0) : ln_factorial(DoubleDouble::from_u64(x));
}

// The same where doubles resolve it: below kResolved the error is less than a nat.
constexpr u64 kResolved = u64(1) << 44;
double factorial_double(u64 k) {
    const double x = static_cast<double>(k);
    return k == 0 ? 0 : (x + 0.5) * std::log(x + 1) - x - dd::stirling().high;
}

// ln((a + 1) ... b), in doubles and never below the truth. Plans ask this of every range, and far out each
// logarithm of a double-double takes as long as all of it.
double log_product(u64 a, u64 b) {
    if (b < kResolved) return factorial_double(b) - factorial_double(a);
    constexpr double kAboveRounding = 1 + 0x1p-45;
    return Polynomials::near_ln_rising_product(static_cast<double>(a) + 1, 0, b - a) * kAboveRounding;
}

// ln of the term (n^x / x!)^2.
DoubleDouble term_size(u64 m, u64 x) {
    return DoubleDouble(2.0) *
           (DoubleDouble::from_u64(x) * ln_n(m) - ln_factorial(DoubleDouble::from_u64(x)));
}

}  // namespace

u64 Series::term_count(u64 m, u64 precision_words) {
    const u64 n = u64(1) << m;
    const DoubleDouble down = DoubleDouble::from_u64(precision_words) * dd::ln2_64() + DoubleDouble(1.0);
    const DoubleDouble threshold = term_size(m, n) - down;
    u64 low = n, high = 2 * n;
    while (threshold < term_size(m, high)) high *= 2;
    while (high - low > 1) {
        const u64 middle = low + (high - low) / 2;
        (threshold < term_size(m, middle) ? low : high) = middle;
    }
    return high + 2;
}

Series::Series(u64 m, u64 precision_words)
    : BinarySplitting::Series({term_count(m, precision_words), precision_words, 3, kLeafWords, false}),
      m_(m),
      factorial_n_(factorial(u64(1) << m)),
      largest_term_(term_size(m, u64(1) << m)) {}

// Sum of 2 max(ln n, ln i) + ln i: of T, whose terms are products of such factors.
DoubleDouble Series::log_size_to_dd(u64 k) const {
    const u64 n = u64(1) << m_;
    const DoubleDouble all = factorial(k);
    const DoubleDouble size = all + DoubleDouble::from_u64(2 * std::min(k, n)) * ln_n(m_);
    return k > n ? size + DoubleDouble(2.0) * (all - factorial_n_) : size;
}

double Series::log_size_to(u64 k) const {
    if (k >= kResolved) return log_size_to_dd(k).high;
    const u64 n = u64(1) << m_;
    const double size = factorial_double(k), all = 2 * static_cast<double>(std::min(k, n)) * ln_n(m_).high;
    return size + all + (k > n ? 2 * (size - factorial_double(n)) : 0);
}

double Series::log_powers(u64 a, u64 b) const {
    const u64 n = u64(1) << m_;
    const double up_to_n = 2 * static_cast<double>(std::min(b, n) - std::min(a, n)) * ln_n(m_).high;
    return up_to_n + (b > n ? 2 * log_product(std::max(a, n), b) : 0);
}

// As many terms, each with a sum of as many fractions.
double Series::log_largest(u64 a, u64 b) const {
    return log_product(a, b) + log_powers(a, b) + 2 * std::log(static_cast<double>(b - a) + 1) + 1;
}

double Series::log_size_Q(u64 a, u64 b) const {
    return log_product(a, b) + 1;
}

double Series::log_size_R(u64 a, u64 b) const {
    return log_powers(a, b) + std::log(static_cast<double>(b - a) + 1) + 1;
}

// The tail is below the term that it begins with, once the terms fall.
DoubleDouble Series::log_remaining(u64 k) const {
    const u64 n = u64(1) << m_;
    const DoubleDouble full = DoubleDouble::from_u64(precision()) * dd::ln2_64();
    if (k <= n) return full;
    if (k < kResolved) {
        const auto size = [&](u64 x) {
            return 2 * (static_cast<double>(x) * ln_n(m_).high - factorial_double(x));
        };
        return DoubleDouble(std::max(0.0, full.high - (size(n) - size(k))));
    }
    const DoubleDouble rest = full - (largest_term_ - term_size(m_, k));
    return rest < DoubleDouble(0.0) ? DoubleDouble(0.0) : rest;
}

namespace {

// By the bits of the largest index: ranges of few terms are many.
Family::Words small_capacities(u64 m, u64 terms, u64 b) {
    const u64 index = static_cast<u64>(std::bit_width(b)), square = 2 * std::max(index, m);
    const auto words = [terms](u64 bits) { return (terms * bits) / 64 + 1; };
    Family::Words capacities;
    capacities[kT] = round_up_8(std::max(words(square + index) + 8, kLeafWords + 3));
    capacities[kQ] = round_up_8(words(index) + 4);
    capacities[kR] = round_up_8(std::max(words(square) + 6, kLeafWords + 3));
    capacities[kP] = round_up_8(words(index) + 6);
    return capacities;
}

}  // namespace

// Products are written at the sum of their factors' lengths, sums at one more; an exponent of whole words
// leaves up to a word of R and T above their lowest power of n.
Family::Words Family::capacities(const Series& series, u64 a, u64 b) {
    if (b - a <= kSmallRange) return small_capacities(series.m(), b - a, b);
    const u64 Q = whole_words_of(series.log_size_Q(a, b)), R = whole_words_of(series.log_size_R(a, b));
    Words words;
    words[kT] = round_up_8(std::max(whole_words_of(series.log_largest(a, b)) + 8, kLeafWords + 3));
    words[kQ] = round_up_8(Q + 4);
    words[kR] = round_up_8(std::max(R + 6, kLeafWords + 3));
    words[kP] = round_up_8(Q + 6);
    return words;
}

u64 Family::split(const Series& series, u64 a, u64 b) {
    const u64 middle = b - a > kSmallRange ? series.split_point(a, b) : a + (b - a + 1) / 2;
    const u64 even = middle - middle % 2;
    if (even <= a) return a + 1;
    return even < b ? even : b - 1;
}

namespace {

// U = T1 Q2^2 + P1 R2, which T is a multiple of. The second product begins at a higher power of n.
u64 words_of_U(u64 T1, u64 Q2, u64 T) {
    return round_up_8(std::max(T1 + 2 * Q2, T) + 1);
}

u64 longest_product(const Family::Words& left, const Family::Words& right, u64 square, u64 U) {
    return std::max({2 * right[kQ], left[kT] + square, left[kR] + square, left[kP] + right[kR], U + right[kQ],
                     left[kQ] + right[kT], left[kP] + right[kQ], left[kQ] + right[kP], left[kQ] + right[kQ]});
}

}  // namespace

// What a floating-point merge has between its operands and its results. It stands in the buffers of results
// that are formed later, as far as it fits: Q2^2 in that of Q, U and then the second terms of sums in that of
// R, the second term of U in that of T.
struct FloatWords {
    u64 square, U, term;

    static FloatWords of(const Family::Words& left, const Family::Words& right, const Family::Words& out,
                         u64 precision) {
        const u64 words = Family::float_words(precision);
        return {std::min(words, 2 * right[kQ]), std::min(words, words_of_U(left[kT], right[kQ], out[kT])),
                words};
    }
    // Words of buffers of their own.
    u64 beside(const Family::Words& out) const {
        return (out[kQ] < square ? square : 0) + (out[kR] < U ? U : 0) +
               (std::min(out[kT], out[kR]) < term ? term : 0);
    }
};

Needs Family::merge_needs(const MergeSizes<Family>& sizes) {
    const u64 square = 2 * sizes.right[kQ], U = words_of_U(sizes.left[kT], sizes.right[kQ], sizes.out[kT]);
    const u64 term = std::max(sizes.out[kT], sizes.left[kP] + sizes.right[kR]);
    return product_needs(longest_product(sizes.left, sizes.right, square, U)).above(square + U + term);
}

Needs Family::float_needs(const MergeSizes<Family>& sizes, u64 precision) {
    const FloatWords between = FloatWords::of(sizes.left, sizes.right, sizes.out, precision);
    const u64 above = sizes.bounds ? between.square + between.U + between.term : between.beside(sizes.out);
    return product_needs(longest_product(sizes.left, sizes.right, between.square, between.U)).above(above);
}

namespace {

void require(const ExactFloat& A) {
    if (A.buffer_size < kLeafWords) throw BufferTooSmallException(kLeaf, A.buffer_size, kLeafWords);
}

// A sum is formed in the longer of the two.
const BasicIntR& sum(BasicIntR& A, BasicIntR& B) {
    BasicIntR& longer = A.L >= B.L ? A : B;
    longer += &longer == &A ? B : A;
    return longer;
}

void set(ExactFloat& out, const BasicInt& A) {
    out.set_BasicInt(A, true, serial_context());
}

}  // namespace

void Family::leaf(const MultiplyContext&, const Series& series, u64 a, u64 b, Exact& out, bool edge) {
    for (const std::size_t i : {kT, kQ, kR}) require(out[i]);
    const bool two = b - a == 2;
    const u64 j = b, m = series.m();
    Word words[kLeafWords + 1], more[kLeafWords + 1];
    BasicIntR A(words, kLeafWords + 1), B(more, kLeafWords + 1);
    const auto times_n_squared = [&](BasicIntR& value) {
        value.mul_uW(Word(1) << m);
        value.mul_uW(Word(1) << m);
    };

    A.set_word(j);
    if (two) A.mul_uW(j - 1);
    set(out[kQ], A);
    if (edge) {
        out[kP].clear();
    } else {
        A.set_word(two ? 2 * j - 1 : 1);
        set(out[kP], A);
    }
    const i64 shift = static_cast<i64>(2 * m * (two ? j - 1 : j));
    // R = j^2 + n^2, T = j^3 + n^2 (2j - 1); of one term 1.
    if (two) {
        A.set_word(j);
        A.mul_uW(j);
        B.set_word(1);
        times_n_squared(B);
        set(out[kR], sum(A, B));
    } else {
        A.set_word(1);
        set(out[kR], A);
    }
    out[kR].mp2(shift, serial_context());
    if (two) {
        A.set_word(j);
        A.mul_uW(j);
        A.mul_uW(j);
        B.set_word(2 * j - 1);
        times_n_squared(B);
        set(out[kT], sum(A, B));
    } else {
        set(out[kT], A);
    }
    out[kT].mp2(shift, serial_context());
}

// The powers of n of the right half are the higher ones, so every sum grows upwards only.
void Family::merge(const MultiplyContext& context, bool, const Exact& left, const Exact& right, Exact& out,
                   bool edge) {
    MultiplyContext inner = context;
    const ParallelContext& parallel = context.parallel;
    auto square = carve<ExactFloat>(inner.scratch, 2 * right[kQ].buffer_size);
    auto U = carve<ExactFloat>(inner.scratch,
                               words_of_U(left[kT].buffer_size, right[kQ].buffer_size, out[kT].buffer_size));
    auto term = carve<ExactFloat>(
        inner.scratch, std::max(out[kT].buffer_size, left[kP].buffer_size + right[kR].buffer_size));
    square.set_mul(inner, right[kQ], right[kQ]);

    U.set_mul(inner, left[kT], square);
    term.set_mul(inner, left[kP], right[kR]);
    U.uaddAB_ip(parallel, term);
    out[kT].set_mul(inner, U, right[kQ]);
    term.set_mul(inner, left[kQ], right[kT]);
    out[kT].uaddAB_ip(parallel, term);

    out[kR].set_mul(inner, left[kR], square);
    out[kR].uaddAB_ip(parallel, right[kR]);
    if (edge) {
        out[kP].clear();
    } else {
        out[kP].set_mul(inner, left[kP], right[kQ]);
        term.set_mul(inner, right[kP], left[kQ]);
        out[kP].uaddAB_ip(parallel, term);
    }
    out[kQ].set_mul(inner, left[kQ], right[kQ]);
}

namespace {

// A += B, to `precision` words below the larger top.
void add(const ParallelContext& parallel, u64 precision, BigFloat& A, const BigFloat& B) {
    constexpr const char* function = "BrentMcMillanAB::merge_float()";
    if (is_zero(B, function)) return;
    const i64 lowest = std::max(A.mag(), B.mag()) - static_cast<i64>(precision) - 2;
    if (A.L != 0 && A.exp < lowest) cut_below(parallel, A, lowest);
    if (is_zero(A, function)) {
        A.set_BigFloat(precision, parallel, B);
        return;
    }
    const i64 floor = std::max(B.exp, lowest);
    if (A.exp > floor) extend_down(A, floor, function);
    combine_ip(parallel, A, B, false);
}

}  // namespace

void Family::merge_float(const MultiplyContext& context, bool, const Floats& left, const Floats& right,
                         Floats& out, u64 precision, u64 link_precision, bool edge) {
    MultiplyContext inner = context;
    const ParallelContext& parallel = context.parallel;
    const auto sizes = [](const Floats& range) {
        Words words;
        for (std::size_t i = 0; i < kNumbers; i++) words[i] = range[i].buffer_size;
        return words;
    };
    const FloatWords between = FloatWords::of(sizes(left), sizes(right), sizes(out), precision);
    const auto place = [&inner](const BigFloat& owner, u64 words) {
        return owner.buffer_size < words ? carve<BigFloat>(inner.scratch, words)
                                         : BigFloat(owner.buffer, owner.buffer_size);
    };
    BigFloat square = place(out[kQ], between.square), U = place(out[kR], between.U);
    const bool own_term = std::min(out[kT].buffer_size, out[kR].buffer_size) < between.term;
    const BigFloat own = own_term ? carve<BigFloat>(inner.scratch, between.term) : BigFloat();
    const auto term_in = [&](const BigFloat& owner) {
        const BigFloat& place = own_term ? own : owner;
        return BigFloat(place.buffer, place.buffer_size);
    };
    square.set_sqr(precision, inner, right[kQ]);

    U.set_mul(precision, inner, left[kT], square);
    BigFloat term = term_in(out[kT]);
    term.set_mul(precision, inner, left[kP], right[kR]);
    add(parallel, precision, U, term);
    out[kT].set_mul(precision, inner, U, right[kQ]);
    term = term_in(out[kR]);
    term.set_mul(precision, inner, left[kQ], right[kT]);
    add(parallel, precision, out[kT], term);

    if (edge) {
        out[kP].clear();
    } else {
        out[kP].set_mul(link_precision, inner, left[kP], right[kQ]);
        term = term_in(out[kR]);
        term.set_mul(link_precision, inner, right[kP], left[kQ]);
        add(parallel, link_precision, out[kP], term);
    }
    out[kR].set_mul(precision, inner, left[kR], square);
    add(parallel, precision, out[kR], right[kR]);
    out[kQ].set_mul(precision, inner, left[kQ], right[kQ]);
}

}  // namespace kalvor::BinarySplitting::BrentMcMillanAB
