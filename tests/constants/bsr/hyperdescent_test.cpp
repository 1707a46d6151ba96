// The family of two numbers: the series of e, and a series whose terms have signs that follow no rule.
#include "constants/bsr/hyperdescent.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/errors/exceptions.h"
#include "constants/bsr/e_taylor.h"
#include "constants/bsr/series_value.h"
#include "reference/mpz_words.h"
#include "support/message_of.h"
#include "support/scratch.h"
#include "support/threads.h"

using namespace kalvor;
using namespace kalvor::BinarySplitting;
using Hyperdescent::Family;
using Hyperdescent::kP;
using Hyperdescent::kQ;
using reference::mpz_of;
using reference::mpz_of_signed;

namespace {

constexpr double kLn2 = 0.6931471805599453;

struct Sum {
    mpz_class P, Q;
};

template <class Number>
mpz_class value(const Number& A, i64 at) {
    const mpz_class z = reference::shifted(reference::to_mpz(A.T, A.L), A.exp - at);
    return A.sign ? z : mpz_class(-z);
}

// sum over k in (a, b] of s_k P(k) / ((a + 1) c ... k c), relative to the first term's sign.
template <class P_of>
Sum by_definition(u64 a, u64 b, bool alternating, unsigned long c, P_of&& P_of_k) {
    Sum sum{0, 1};
    bool negative = false;
    for (u64 k = a + 1; k <= b; k++) {
        const mpz_class Q = mpz_of(k) * c, P = P_of_k(k);
        sum.P = sum.P * Q + (negative ? mpz_class(-P) : P);
        sum.Q *= Q;
        if (alternating) negative = !negative;
    }
    return sum;
}

// A block in buffers of exactly the planned sizes.
void expect_exact(const Hyperdescent::Series& series, u64 a, u64 b, u64 tds, const Sum& want) {
    const BSR_BlockB<Family> plan(series, {a, b, series.precision(), 0}, false, true, tds);
    Scratch results(total_words(plan.capacities()) * sizeof(Word)), scratch(plan.needs().bytes);
    AlignedBufferC memory = results.view();
    ExactRange<Family> got = carve_range<ExactFloat>(memory, plan.capacities());
    BlockRun<Family>(plan).run({{thread_framework(), tds}, scratch.view(), nullptr}, null_status(), got);
    ASSERT_EQ(value(got[kP], 0), want.P);
    ASSERT_EQ(value(got[kQ], 0), want.Q);
    for (const ExactFloat& A : got) ASSERT_EQ(A.residue, A.computed_residue());
}

mpz_class one(u64) {
    return 1;
}

TEST(ETaylorTest, BlocksOfAnyNumberOfTerms) {
    for (const bool alternating : {false, true}) {
        const ETaylor series(alternating, 3000);
        for (const u64 a : {u64(1), u64(2), u64(17), u64(1) << 31, (u64(1) << 51) + 1}) {
            for (const u64 n : {1, 2, 3, 7, 8, 9, 15, 16, 17, 31, 33, 99, 100, 101, 999, 1000, 1001, 5000}) {
                const Sum want = by_definition(a, a + n, alternating, 1, one);
                for (const u64 tds : {1, 2, 7}) {
                    SCOPED_TRACE(testing::Message()
                                 << a << " + " << n << " tds=" << tds << " alternating=" << alternating);
                    expect_exact(series, a, a + n, tds, want);
                    if (HasFatalFailure()) return;
                }
            }
        }
    }
}

// Leaves in buffers of the words that they are promised, to the last one.
TEST(ETaylorTest, LeavesStayInTheirBuffers) {
    constexpr Word kGuard = 0x5555aaaa5555aaaa;
    for (const bool alternating : {false, true}) {
        const ETaylor series(alternating, 100);
        EXPECT_EQ(series.leaf_threshold(), 16u);
        EXPECT_EQ(series.growth_words(), 10u);
        for (const u64 a : {u64(1), u64(2), u64(1) << 32, (u64(1) << 51) + 1, (u64(1) << 52) - 20}) {
            for (u64 n = 1; n < 16; n++) {
                const Hyperdescent::Series::TermWords words = series.term_words().of(n);
                std::vector<Word> P(words.P + 1, kGuard), Q(words.Q + 1, kGuard),
                    scratch(series.leaf_scratch_words(a, a + n) + 1, kGuard);
                ExactFloat p(P.data(), words.P), q(Q.data(), words.Q);
                series.leaf(a, a + n, p, q, scratch.data());
                for (const auto* memory : {&P, &Q, &scratch}) ASSERT_EQ(memory->back(), kGuard);
                const Sum want = by_definition(a, a + n, alternating, 1, one);
                ASSERT_EQ(value(p, 0), want.P) << a << " " << n;
                ASSERT_EQ(value(q, 0), want.Q) << a << " " << n;
                ASSERT_EQ(p.residue, p.computed_residue());
                ASSERT_EQ(q.residue, q.computed_residue());
            }
        }
    }
}

// One exact block over [1, N), whose results are about as long as the precision.
TEST(ETaylorTest, ThePlan) {
    for (const u64 p : {3, 100, 519054}) {
        const auto series = std::make_shared<const ETaylor>(false, p);
        EXPECT_EQ(series->first(), 1u);
        const PsrBlocks blocks = plan_series(*series, p, 4).blocks;
        ASSERT_EQ(blocks.size(), 1u);
        EXPECT_EQ(blocks[0].a, 1u);
        EXPECT_EQ(blocks[0].b, series->terms());
        EXPECT_TRUE(blocks[0].exact);
        EXPECT_GE(series->plan_words(1, series->terms()), p);
        EXPECT_LE(series->plan_words(1, series->terms()), p + 3);
        const PSR_SeriesB<Family> sum(*series, p, 1);
        EXPECT_EQ(sum.banner(), "Series Hyperdescent...  " + Console::format_commas(series->terms()) +
                                    " terms  (Expansion Factor = " +
                                    Console::format_fixed(sum.expansion_factor(), 3) + ")");
        EXPECT_NEAR(sum.expansion_factor(), 1, p < 10 ? 0.06 : 0.003);
    }
    const ETaylor series(true, 10);
    for (const auto& ask : {std::function<void()>([&] { series.log_remaining(3); }),
                            std::function<void()>([&] { series.precision_words(3); })}) {
        EXPECT_EQ(kalvor_test::message_of<InvalidParametersException>(kalvor_test::Form::message, ask),
                  "Not Implemented");
    }
}

// F is never below the truth, and close to it, also where doubles do not resolve it.
TEST(ETaylorTest, SizesAreUpperBounds) {
    const ETaylor series(false, 100000);
    for (const auto& [a, b] : std::vector<std::pair<u64, u64>>{
             {1, 2}, {1, 100}, {7, 500}, {1, 30000}, {(u64(1) << 51) + 1, (u64(1) << 51) + 200}}) {
        const mpz_class Q = by_definition(a, b, false, 1, one).Q;
        long exponent = 0;
        const double truth =
            std::log(mpz_get_d_2exp(&exponent, Q.get_mpz_t())) + static_cast<double>(exponent) * kLn2;
        EXPECT_GE(series.log_size_resolved(a, b), truth - 1e-9 * truth);
        EXPECT_LE(series.log_size_resolved(a, b), truth + 0.1 + 1e-9 * truth);
        EXPECT_EQ(mpz_scan1(Q.get_mpz_t(), 0), series.zero_bits_Q(a, b));
    }
}

// P(k) / (c^k k!), P(k) of either sign or zero.
class SignedSeries final : public Hyperdescent::Series {
  public:
    static constexpr u64 kC = 1000003;

    SignedSeries(u64 terms, u64 precision) : Series({terms, precision, 2, 4, false}, {1, 2}) {}
    static i64 P(u64 k) {
        u64 h = (k ^ 0x5bd1e995) * 0x9e3779b97f4a7c15;
        h = (h ^ (h >> 29)) * 0xbf58476d1ce4e5b9;
        return h % 4 == 0 ? 0 : static_cast<i64>(h ^ (h >> 32));
    }
    static mpz_class P_mpz(u64 k) { return mpz_of_signed(P(k)); }
    double log_size_to(u64 k) const override {
        const double x = static_cast<double>(k);
        return (x + 0.5) * std::log(x + 1) - x + x * std::log(static_cast<double>(kC));
    }
    DoubleDouble log_size_to_dd(u64 k) const override { return DoubleDouble(log_size_to(k)); }
    double log_size_P(u64 a, u64 b) const override {
        return log_size(a, b) + 64 * kLn2 + std::log(static_cast<double>(b - a));
    }
    DoubleDouble log_remaining(u64 k) const override {
        const double full = 64 * kLn2 * static_cast<double>(precision());
        return DoubleDouble(
            std::clamp(full - log_size_to(k) + std::log(static_cast<double>(k + 1)), 0.0, full));
    }
    std::optional<double> log_scale() const override { return 64 * kLn2; }
    u64 zero_bits_Q(u64, u64) const override { return 0; }
    void leaf(u64, u64 b, ExactFloat& P_out, ExactFloat& Q, Word*) const override {
        const i64 n = P(b);
        P_out.clear();
        if (n != 0) {
            P_out.T[0] = n < 0 ? Word(0) - static_cast<Word>(n) : static_cast<Word>(n);
            P_out.L = 1;
            P_out.sign = n > 0;
            P_out.residue = P_out.computed_residue();
        }
        const u128 q = u128(b) * kC;
        Q.clear();
        Q.T[0] = static_cast<Word>(q);
        Q.T[1] = static_cast<Word>(q >> 64);
        Q.L = Q.T[1] != 0 ? 2 : 1;
        Q.residue = Q.computed_residue();
    }
};

TEST(HyperdescentTest, SignedExactBlocks) {
    const SignedSeries series(3000, 2000);
    for (const u64 n : {1, 2, 3, 7, 8, 9, 100, 101, 1001, 3000}) {
        for (const u64 a : {u64(0), u64(1) << 50}) {
            const Sum want = by_definition(a, a + n, false, SignedSeries::kC, SignedSeries::P_mpz);
            for (const u64 tds : {1, 2, 7}) {
                SCOPED_TRACE(testing::Message() << a << " + " << n << " tds=" << tds);
                expect_exact(series, a, a + n, tds, want);
                if (HasFatalFailure()) return;
            }
        }
    }
}

// A left half far below the right one, as large terms behind small ones make it, and one far above: the sum
// keeps the words of the larger one, in a buffer of the planned size.
TEST(HyperdescentTest, HalvesOfVeryDifferentSizes) {
    const u64 p = 20;
    for (const i64 place : {-60, -23, -2, 0, 1, 5, 18, 22, 23, 24, 60}) {
        for (const bool subtract : {false, true}) {
            for (const u64 left_words : {u64(0), u64(1), p + 2}) {
                std::vector<Word> words(6 * 64, 0x123456789abcdef1);
                const auto number = [&](int i, u64 length, i64 exp, u64 size) {
                    BigFloat A(words.data() + 64 * i, size);
                    A.L = length;
                    A.exp = length == 0 ? 0 : exp;
                    A.sign = true;
                    A.seal(serial_context());
                    return A;
                };
                const FloatRange<Family> left = {number(0, left_words, 0, 64), number(1, p + 2, 0, 64)};
                const FloatRange<Family> right = {number(2, p + 2, place, 64), number(3, p, -3, 64)};
                FloatRange<Family> out = {number(4, 0, 0, Family::float_words(p)),
                                          number(5, 0, 0, Family::float_words(p))};
                words[64 * 4 + Family::float_words(p)] = 77;
                Scratch memory(Family::float_needs({{64, 64}, {64, 64}, {64, 64}, 0}, p).bytes);
                Family::merge_float({serial_context(), memory.view(), nullptr}, subtract, left, right, out, p,
                                    p, true);
                const i64 low = -200;
                const mpz_class a = value(left[kP], low) * value(right[kQ], low) >> (64 * 200),
                                b = value(right[kP], low);
                const mpz_class sum = subtract ? mpz_class(a - b) : mpz_class(a + b);
                const mpz_class larger = a > b ? a : b;
                const mpz_class difference = abs(value(out[kP], low) - sum) << (64 * p);
                EXPECT_LE(difference, larger) << place << " " << left_words << " " << subtract;
                EXPECT_EQ(out[kP].residue, out[kP].computed_residue(serial_context()));
                EXPECT_EQ(words[64 * 4 + Family::float_words(p)], 77u);
            }
        }
    }
}

// One floating-point block, several of them, and sums in which both kinds of blocks meet: |P / Q - S| stays
// below what the precision promises.
TEST(HyperdescentTest, SignedFloatingPointSums) {
    for (const u64 p : {3, 40, 300}) {
        u64 terms = 2;
        while (SignedSeries(terms, p).log_remaining(terms).high > 0) terms++;
        const SignedSeries series(terms + 2, p);
        const Sum want = by_definition(0, series.terms(), false, SignedSeries::kC, SignedSeries::P_mpz);
        for (const double nats : {1e9, 3000.0, 500.0, 60.0}) {
            for (const u64 tds : {1, 2, 7}) {
                PsrPlan blocks;
                plan_blocks(series, 0, nats, blocks);
                SCOPED_TRACE(testing::Message()
                             << p << " words, " << blocks.blocks.size() << " blocks, tds=" << tds);
                for (const bool all_cut : {false, true}) {
                    PsrPlan plan = blocks;
                    for (PsrBlock& block : plan.blocks) block.exact = block.exact && !all_cut;
                    const PSR_SeriesB<Family> sum(series, plan, tds);
                    Scratch lent(sum.needs().result_words * sizeof(Word)), memory(sum.needs().bytes);
                    const FloatRange<Family> got = sum.run(
                        {{thread_framework(), tds}, memory.view(), nullptr}, null_status(), lent.words());
                    const i64 low = -static_cast<i64>(2 * p) - 20;
                    const mpz_class difference = value(got[kP], low) * want.Q - want.P * value(got[kQ], low);
                    // Below 2^(64 + 6 - 64 p)
                    const mpz_class error = abs(difference) << (64 * (p - 1) - 6);
                    const mpz_class limit = value(got[kQ], low) * want.Q;
                    ASSERT_LT(error, limit);
                    for (const BigFloat& A : got) ASSERT_EQ(A.residue, A.computed_residue(serial_context()));
                }
            }
        }
    }
}

}  // namespace
