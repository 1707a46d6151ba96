// What plans are told of the built-in series: how many terms a precision takes, and how long numbers get.
// Held against their definitions, also where nobody can compute them.
#include "constants/builtin/row_series.h"

#include <gtest/gtest.h>

#include <cmath>

#include "constants/bsr/block_run.h"
#include "reference/mpz_words.h"
#include "reference/series_definitions.h"
#include "support/capture_console.h"
#include "support/effort.h"
#include "support/scratch.h"

using namespace kalvor;
using reference::mpz_of;
using reference::SeriesDefinition;
using trel::BasicIntR;
using trel::u64;
using trel::Word;

namespace {

struct Case {
    const BuiltInSeries* row;
    const SeriesDefinition* definition;
    double value;  // of the constant, as its row makes it; Pi's is 1 / x
};

std::vector<Case> cases() {
    std::vector<Case> list;
    const auto add = [&](std::span<const BuiltInSeries> rows,
                         const std::vector<SeriesDefinition>& definitions, double value) {
        for (u64 i = 0; i < rows.size(); i++) list.push_back({&rows[i], &definitions[i], value});
    };
    add(pi_series(), reference::pi_definitions(), 0);
    add(zeta3_series(), reference::zeta3_definitions(), 1.2020569);
    add(catalan_series(), reference::catalan_definitions(), 0.9159655);
    return list;
}

// ln |S + coefficient Q / coefficient P|: what terms are small against.
double ln_scale(const Case& c) {
    const auto of = [](i64 n) { return std::log(std::fabs(static_cast<double>(n))); };
    if (c.value == 0) return of(c.row->coefficient_Q);
    return std::log(c.value) + of(c.row->coefficient_D) - of(c.row->coefficient_P);
}

// Of the gains that are n ln 2; 0 for others.
int twos_of(const Case& c) {
    const std::string& name = c.definition->name;
    if (name == "Amdeberhan-Zeilberger (1997)" || name == "Pilehrood (2010-long)") return 10;
    if (name == "Guillera (2008)") return 3;
    return name == "Lupas (2000)" ? 2 : 0;
}

// The integer next to p 64 ln 2 / gain + 1.5; both at a half, where the last bit of the gain decides.
struct Count {
    mpz_class low, high;
};
Count count_of(const Case& c, const mpz_class& p) {
    const std::string& name = c.definition->name;
    const int twos = twos_of(c);
    if (twos != 0) {
        // 64 p / n + 3 / 2
        const mpz_class x = 128 * p + 3 * twos, d = 2 * twos;
        const mpz_class q = x / d, r = x % d;
        if (2 * r == d) return {q, q + 1};
        const mpz_class n = 2 * r > d ? mpz_class(q + 1) : q;
        return {n, n};
    }
    reference::Mpfr gain, x;
    if (name == "Ramanujan (1910)") {
        mpfr_set_str(gain.x, "18.38047627747241588639166145022043732094", 10, MPFR_RNDN);
    } else {
        const mpq_class ratio = name == "Chudnovsky (1988)"        ? mpq_class("262537412640768000/1728")
                                : name == "Wedeniwski (1998)"      ? mpq_class("110592")
                                : name == "Pilehrood (2010-short)" ? mpq_class("729/4")
                                                                   : mpq_class("19683/64");
        mpfr_set_q(gain.x, ratio.get_mpq_t(), MPFR_RNDN);
        mpfr_log(gain.x, gain.x, MPFR_RNDN);
    }
    mpfr_const_log2(x.x, MPFR_RNDN);
    mpfr_mul_ui(x.x, x.x, 64, MPFR_RNDN);
    mpfr_mul_z(x.x, x.x, p.get_mpz_t(), MPFR_RNDN);
    mpfr_div(x.x, x.x, gain.x, MPFR_RNDN);
    mpfr_add_d(x.x, x.x, 1.5, MPFR_RNDN);
    Count n;
    mpfr_get_z(n.low.get_mpz_t(), x.x, MPFR_RNDN);
    n.high = n.low;
    return n;
}

// As many terms as the formula says, and the first that is left out is below 2^(-64 p) of the sum.
TEST(RowSeriesTest, TermCounts) {
    std::vector<u64> sizes;
    for (u64 p = 1; p <= 200; p++) sizes.push_back(p);
    sizes.insert(sizes.end(), {100000, 519054, 1000000000, 10000000000000});
    for (const Case& c : cases()) {
        int ties = 0;
        for (const u64 p : sizes) {
            SCOPED_TRACE(testing::Message() << c.row->name << " p=" << p);
            const Count want = count_of(c, mpz_of(p));
            const u64 got = built_in_terms(c.row->gain, p);
            ASSERT_TRUE(mpz_of(got) == want.low || mpz_of(got) == want.high)
                << got << " " << want.low.get_str();
            ties += want.low != want.high ? 1 : 0;
            ASSERT_EQ(RowSeries(*c.row, p).terms(), got);
            if (p > 40 && p < 1000 && p % kalvor_test::thinned(7) != 0) continue;
            const double omitted = c.definition->ln_term(mpz_of(got) + 1);
            const double margin = ln_scale(c) - 64 * std::log(2.0) * static_cast<double>(p) - omitted;
            // Doubles end where margins far out are differences of 10^15.
            ASSERT_GT(margin, p > 1000000000 ? 5.5 : 5.9);
        }
        EXPECT_EQ(ties > 0, twos_of(c) != 0) << c.row->name << " " << ties;
    }
    const auto zeta3 = zeta3_series(), catalan = catalan_series();
    EXPECT_EQ(built_in_terms(zeta3[0].gain, 519054), 1982674u);
    EXPECT_EQ(built_in_terms(zeta3[1].gain, 519054), 3321947u);
    EXPECT_EQ(built_in_terms(catalan[0].gain, 519054), 4423497u);
    EXPECT_EQ(built_in_terms(catalan[1].gain, 519054), 4019459u);
    EXPECT_EQ(built_in_terms(catalan[2].gain, 519054), 3321947u);
    EXPECT_EQ(built_in_terms(pi_series()[0].gain, 519054), 705142u);
    EXPECT_EQ(built_in_terms(pi_series()[0].gain, 8), 12u);
    EXPECT_EQ(built_in_terms(pi_series()[1].gain, 8), 21u);
}

TEST(RowSeriesTest, WhatTheTailNeeds) {
    for (const Case& c : cases()) {
        const RowSeries series(*c.row, 100);
        EXPECT_EQ(series.precision_words(0), 100u);
        u64 before = 100;
        for (u64 k = 1; k <= series.terms(); k += 1 + k / 30) {
            const u64 words = series.precision_words(k);
            ASSERT_LE(words, before);
            before = words;
            // Enough for the first term behind k.
            const double tail = c.definition->ln_term(mpz_of(k + 1)) - ln_scale(c);
            ASSERT_GT(static_cast<double>(words) * 64 * std::log(2.0) - 100 * 64 * std::log(2.0), tail - 1)
                << c.row->name << " " << k;
        }
        EXPECT_EQ(series.precision_words(series.terms()), 0u);
    }
}

// Numbers that a merge makes on its way, beside its results.
TEST(RowSeriesTest, SizesAreUpperBoundsOfShortRanges) {
    const auto ln = SeriesDefinition::ln;
    for (const Case& c : cases()) {
        const RowSeries series(*c.row, 1000);
        for (const u64 a : {u64(0), u64(1), u64(2), u64(10), u64(5000), u64(1) << 39, u64(1) << 40}) {
            for (u64 n = 1; n <= 120; n += n < 12 ? 1 : 17) {
                SCOPED_TRACE(testing::Message() << c.row->name << " " << a << " + " << n);
                const auto range = c.definition->sum(a, a + n);
                ASSERT_GE(series.log_size_Q(a, a + n), ln(range.Q));
                ASSERT_LE(series.log_size_Q(a, a + n), ln(range.Q) + 12);
                ASSERT_GE(series.log_size_R(a, a + n), ln(range.R));
                ASSERT_GE(series.log_size_P(a, a + n), ln(range.P));
                if (n == 1) continue;
                const u64 m = series.split(a, a + n);
                const auto left = c.definition->sum(a, m), right = c.definition->sum(m, a + n);
                const mpz_class together = left.P * right.Q + left.R * right.P;
                ASSERT_GE(series.log_size_P(a, a + n), ln(together));
                ASSERT_EQ(series.zero_bits_Q(a, a + n), mpz_scan1(range.Q.get_mpz_t(), 0));
            }
        }
    }
}

// The same by the logarithms of their definitions, to the last term of 10^15 digits.
TEST(RowSeriesTest, SizesAreUpperBoundsFarOut) {
    for (const Case& c : cases()) {
        const RowSeries series(*c.row, 51905126036840);
        const u64 N = series.terms();
        for (u64 a = 0; a < N; a = a == 0 ? 1 : 7 * a) {
            for (u64 n = 1; n <= N - a; n = n < N / 5 ? 5 * n : (n == N - a ? n + 1 : N - a)) {
                SCOPED_TRACE(testing::Message() << c.row->name << " " << a << " + " << n);
                const mpz_class from = mpz_of(a), to = mpz_of(a + n);
                const double saved = series.saved(a, a + n);
                const double Q = c.definition->ln_Q(from, to) - saved,
                             R = c.definition->ln_R(from, to) - saved;
                // What doubles of that size do not hold.
                const double grain = (Q + saved) * 0x1p-51;
                ASSERT_GE(series.log_size_Q(a, a + n) + grain, Q);
                ASSERT_GE(series.log_size_R(a, a + n) + grain, R);
                // P / Q is at most the first term and, without signs, what follows it.
                const double P = Q + SeriesDefinition::ln(c.definition->term_P(from + 1)) -
                                 SeriesDefinition::ln(c.definition->term_Q(from + 1));
                ASSERT_GE(series.log_size_P(a, a + n) + grain, P + 0.01);
                // And not much above, so that announced memory is what is used.
                ASSERT_LE(series.log_size_Q(a, a + n), Q + 12 + 2 * grain);
            }
        }
        // F is what is announced.
        const double F = series.log_size_dd(0, N).high;
        EXPECT_NEAR(series.log_size_resolved(0, N), F, F * 1e-15);
    }
}

// P of a range grows by Q's words or R's, which are more than its own in some rows.
TEST(RowSeriesTest, LeavesAndMergesFarOut) {
    static constexpr Word kGuard = 0x5555aaaa5555aaaa;
    for (const Case& c : cases()) {
        const RowSeries series(*c.row, 100);
        std::vector<u64> ends;
        for (unsigned bits = 3; bits < 52; bits += kalvor_test::thinned(5)) ends.push_back(u64(1) << bits);
        ends.push_back((u64(1) << 51) - 50);
        ends.push_back((u64(1) << 52) - 200);
        for (const u64 a : ends) {
            for (u64 n = 1; n < c.row->leaf_threshold; n++) {
                SCOPED_TRACE(testing::Message() << c.row->name << " " << a << " + " << n);
                const auto words = series.term_words().of(n);
                std::vector<Word> P(words.P + 1, kGuard), Q(words.Q + 1, kGuard), R(words.R + 1, kGuard);
                ASSERT_LE(series.bsr_end_words(n), 4 * series.growth_words() * n);
                std::vector<Word> scratch(series.bsr_end_words(n) + 1, kGuard);
                BasicIntR p(P.data(), words.P), q(Q.data(), words.Q), r(R.data(), words.R);
                series.bsr_end(a, a + n, p, q, r, scratch.data());
                for (const auto* memory : {&P, &Q, &R, &scratch}) ASSERT_EQ(memory->back(), kGuard);
                const auto want = c.definition->sum(a, a + n);
                ASSERT_EQ(reference::to_mpz(p.T, p.L), want.P);
                ASSERT_EQ(reference::to_mpz(q.T, q.L), want.Q);
                ASSERT_EQ(reference::to_mpz(r.T, r.L), want.R);
            }
            for (const u64 n : {50, 75, 100, 101, 240}) {
                SCOPED_TRACE(testing::Message() << c.row->name << " " << a << " + " << n);
                using Family = BinarySplitting::CommonP2B3::Family;
                const BinarySplitting::BSR_BlockB<Family> plan(series, {a, a + n, 100, 100}, false, true, 1);
                Scratch results(BinarySplitting::total_words(plan.capacities()) * sizeof(Word)),
                    stack(plan.needs().bytes);
                trel::AlignedBufferC memory = results.view();
                auto range = BinarySplitting::carve_range<trel::ExactFloat>(memory, plan.capacities());
                const trel::MultiplyContext context{trel::serial_context(), stack.view(), nullptr};
                BinarySplitting::BlockRun<Family>(plan).run(context, trel::null_status(), range);
                const auto want = c.definition->sum(a, a + n);
                const mpz_class numbers[] = {want.P, want.Q, want.R};
                for (int i = 0; i < 3; i++) {
                    mpz_class got = reference::to_mpz(range[i].T, range[i].L);
                    got <<= static_cast<mp_bitcnt_t>(64 * range[i].exp);
                    ASSERT_EQ(got, numbers[i]) << i;
                }
            }
        }
    }
}

}  // namespace
