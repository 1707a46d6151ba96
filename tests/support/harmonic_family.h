// A family of four numbers with a square and a cube in its merges, whose link is its first number and which
// splits at even indices only:
//
//   Q = (a + 1) ... b,   P / Q = sum of 1/k,   R / Q^2 = sum of 1 / ((a + 1) ... k)^2,
//   T / Q^3 = sum of (1/(a + 1) + ... + 1/k) / ((a + 1) ... k)^2,   k in (a, b].
//
//   Q = Q1 Q2,   P = P1 Q2 + P2 Q1,   R = R1 Q2^2 + R2,   T = T1 Q2^3 + P1 Q2 R2 + T2 Q1
//
// T and R of the whole sum over k from 1 on tend to those of two sums that converge like 1/k!^2. The numbers
// are one after the other in memory and nothing is kept, so that a plan for it is simple to check.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>

#include "arith/bigfloat/combine.h"
#include "arith/multiply/product_needs.h"
#include "constants/bsr/family.h"

namespace kalvor_test::harmonic {

using kalvor::BinarySplitting::MergeSizes;
using trel::BasicIntR;
using trel::BigFloat;
using trel::carve;
using trel::DoubleDouble;
using trel::ExactFloat;
using trel::i64;
using trel::MultiplyContext;
using trel::Needs;
using trel::ParallelContext;
using trel::u64;
using trel::Word;

enum : std::size_t { kP = 0, kQ = 1, kR = 2, kT = 3 };

class Series final : public kalvor::BinarySplitting::Series {
  public:
    Series(u64 terms, u64 precision) : kalvor::BinarySplitting::Series({terms, precision, 2, 8, false}) {}

    // Of Q; Stirling, because lgamma() writes a global of the C library.
    static double log_Q(u64 a, u64 b) { return ln_factorial(b) - ln_factorial(a); }
    double log_size_to(u64 k) const override { return 3 * ln_factorial(k) + 1e-9 * static_cast<double>(k); }
    DoubleDouble log_size_to_dd(u64 k) const override { return DoubleDouble(log_size_to(k)); }
    DoubleDouble log_remaining(u64 k) const override {
        const double rest = 64 * 0.6931471805599453 * static_cast<double>(precision()) - 2 * ln_factorial(k);
        return DoubleDouble(rest > 0 ? rest : 0);
    }

  private:
    static double ln_factorial(u64 k) {
        const double x = static_cast<double>(k);
        return k == 0 ? 0 : (x + 0.5) * std::log(x) - x + 0.918938533204672742 + 1 / (12 * x);
    }
};

struct Family {
    using Series = harmonic::Series;
    static constexpr std::size_t kNumbers = 4;
    static constexpr std::size_t kLink = kP;
    static constexpr const char* kBanner = "Harmonic...  ";
    using Exact = std::array<ExactFloat, kNumbers>;
    using Floats = std::array<BigFloat, kNumbers>;
    using Words = std::array<u64, kNumbers>;

    static u64 words_of_Q(u64 a, u64 b) {
        return static_cast<u64>(kalvor::BinarySplitting::words_of(Series::log_Q(a, b))) + 2;
    }
    static Words capacities(const Series&, u64 a, u64 b) {
        const u64 Q = words_of_Q(a, b);
        // A sum of as many terms, each at most one in these units, has two words more; a product is written
        // with the lengths of its factors, a sum with one more.
        return {trel::round_up_8(Q + 8), trel::round_up_8(Q + 4), trel::round_up_8(2 * Q + 8),
                trel::round_up_8(3 * Q + 10)};
    }
    static u64 term_words(const Series&) { return 8; }
    static u64 float_words(u64 precision) { return trel::round_up_8(precision + 6); }
    static u64 split(const Series& series, u64 a, u64 b) {
        const u64 m = series.split(a, b);
        return m % 2 == 0 ? m : m - 1 > a ? m - 1 : m + 1 < b ? m + 1 : m;
    }

    static u64 longest_product(const Words& left, const Words& right) {
        return std::max({left[kT] + 3 * right[kQ], left[kQ] + right[kT], left[kP] + right[kQ] + right[kR]});
    }
    // Q2^2, Q2^3 and a product of the sum stand below the products.
    static Needs merge_needs(const MergeSizes<Family>& sizes) {
        return trel::product_needs(longest_product(sizes.left, sizes.right))
            .above(2 * sizes.right[kQ] + 3 * sizes.right[kQ] + sizes.out[kT]);
    }
    static Needs float_needs(const MergeSizes<Family>& sizes, u64 precision) {
        return trel::product_needs(longest_product(sizes.left, sizes.right))
            .above(3 * float_words(precision));
    }

    // One term or two.
    static void leaf(const MultiplyContext&, const Series&, u64 a, u64 b, Exact& out, bool edge) {
        using u128 = unsigned __int128;
        const u128 k = a + 1, l = b - a == 2 ? a + 2 : 0;
        set(out[kQ], l == 0 ? k : k * l);
        set(out[kR], l == 0 ? 1 : l * l + 1);
        // T = l^3 + l + k; of one term 1
        set(out[kT], l == 0 ? 1 : l * l * l + l + k);
        if (edge) {
            out[kP].clear();
        } else {
            set(out[kP], l == 0 ? 1 : k + l);
        }
    }

    static void merge(const MultiplyContext& context, bool, const Exact& left, const Exact& right, Exact& out,
                      bool edge) {
        MultiplyContext inner = context;
        auto square = carve<ExactFloat>(inner.scratch, 2 * right[kQ].buffer_size);
        auto cube = carve<ExactFloat>(inner.scratch, 3 * right[kQ].buffer_size);
        auto term = carve<ExactFloat>(inner.scratch, out[kT].buffer_size);
        square.set_mul(inner, right[kQ], right[kQ]);
        cube.set_mul(inner, square, right[kQ]);
        const ParallelContext& parallel = context.parallel;

        out[kT].set_mul(inner, left[kT], cube);
        term.set_mul(inner, left[kQ], right[kT]);
        out[kT].uaddAB_ip(parallel, term);
        cube.set_mul(inner, left[kP], right[kQ]);
        term.set_mul(inner, cube, right[kR]);
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

    static void merge_float(const MultiplyContext& context, bool, const Floats& left, const Floats& right,
                            Floats& out, u64 precision, u64 link_precision, bool edge) {
        MultiplyContext inner = context;
        const u64 words = float_words(precision);
        auto square = carve<BigFloat>(inner.scratch, words), cube = carve<BigFloat>(inner.scratch, words);
        auto term = carve<BigFloat>(inner.scratch, words);
        square.set_sqr(precision, inner, right[kQ]);
        cube.set_mul(precision, inner, square, right[kQ]);

        out[kT].set_mul(precision, inner, left[kT], cube);
        term.set_mul(precision, inner, left[kQ], right[kT]);
        add(inner, precision, out[kT], term);
        cube.set_mul(precision, inner, left[kP], right[kQ]);
        term.set_mul(precision, inner, cube, right[kR]);
        add(inner, precision, out[kT], term);

        out[kR].set_mul(precision, inner, left[kR], square);
        add(inner, precision, out[kR], right[kR]);
        if (edge) {
            out[kP].clear();
        } else {
            out[kP].set_mul(link_precision, inner, left[kP], right[kQ]);
            term.set_mul(link_precision, inner, right[kP], left[kQ]);
            add(inner, link_precision, out[kP], term);
        }
        out[kQ].set_mul(precision, inner, left[kQ], right[kQ]);
    }

  private:
    static void set(ExactFloat& out, unsigned __int128 value) {
        BasicIntR A(out.buffer, out.buffer_size);
        const Word high = static_cast<Word>(value >> 64);
        if (high == 0) {
            A.set_word(static_cast<Word>(value));
        } else {
            // high 2^64 + low
            A.set_word(high);
            Word words[4] = {};
            BasicIntR radix(words, 4);
            radix.set_word(Word(1) << 32);
            radix.mul_uW(Word(1) << 32);
            Word product[8] = {};
            BasicIntR shifted(product, 8);
            shifted.set_mulB(A, radix);
            if (static_cast<Word>(value) != 0) {
                Word low_words[4] = {};
                BasicIntR low(low_words, 4);
                low.set_word(static_cast<Word>(value));
                shifted += low;
            }
            A.set_BasicInt(shifted);
        }
        out.T = out.buffer;
        out.L = A.L;
        out.exp = 0;
        out.sign = true;
        out.residue = A.residue;
    }
    static void add(const MultiplyContext& context, u64 precision, BigFloat& A, const BigFloat& B) {
        const i64 floor = std::max(B.exp, std::max(A.mag(), B.mag()) - static_cast<i64>(precision) - 2);
        if (A.exp > floor) trel::extend_down(A, floor, "harmonic::Family::merge_float()");
        trel::combine_ip(context.parallel, A, B, false);
    }
};

static_assert(kalvor::BinarySplitting::SeriesFamily<Family>);

}  // namespace kalvor_test::harmonic

// Tests use the inner name alone.
namespace harmonic = kalvor_test::harmonic;
