#include "constants/builtin/pi_series.h"

#include <gtest/gtest.h>

#include <cmath>

#include "arith/residue/goldilocks.h"
#include "reference/hypergeometric_sum.h"
#include "reference/mpz_words.h"
#include "support/capture_console.h"

using namespace kalvor;
using trel::BasicIntR;
using trel::u64;
using trel::Word;

namespace {

struct Term {
    Term(PiSeriesKind kind, u64 k) { PiSeries(kind, 10).term(k, P, Q, R); }
    Word words[12];
    BasicIntR P{words, 5}, Q{words + 5, 4}, R{words + 9, 3};
};
mpz_class value(const BasicIntR& A) {
    return reference::to_mpz(A.T, A.L);
}

TEST(PiSeriesTest, FirstTerms) {
    const Term c(PiSeriesKind::chudnovsky, 1);
    EXPECT_EQ(value(c.R), 5);
    EXPECT_EQ(value(c.P), mpz_class("2793657715"));
    EXPECT_EQ(value(c.Q), mpz_class("10939058860032000"));
    const Term r(PiSeriesKind::ramanujan, 1);
    EXPECT_EQ(value(r.R), 3);
    EXPECT_EQ(value(r.P), 82479);
    EXPECT_EQ(value(r.Q), mpz_class("3073907232"));
}

TEST(PiSeriesTest, TermsOfAnyIndex) {
    for (const u64 k :
         {u64(2), u64(3), u64(12345), (u64(1) << 32) + 7, u64(40000000000), (u64(1) << 57) + 12345}) {
        for (const PiSeriesKind kind : {PiSeriesKind::chudnovsky, PiSeriesKind::ramanujan}) {
            const Term t(kind, k);
            const reference::HypergeometricTerm want = kind == PiSeriesKind::chudnovsky
                                                           ? reference::chudnovsky_term(k)
                                                           : reference::ramanujan_term(k);
            for (const auto& [got, expected] : {std::pair{&t.P, &want.P}, {&t.Q, &want.Q}, {&t.R, &want.R}}) {
                ASSERT_EQ(value(*got), *expected) << k;
                ASSERT_EQ(got->residue, trel::goldilocks::of_words(got->T, got->L));
            }
        }
    }
}

TEST(PiSeriesTest, SizesAreUpperBounds) {
    for (const PiSeriesKind kind : {PiSeriesKind::chudnovsky, PiSeriesKind::ramanujan}) {
        const PiSeries series(kind, 1000);
        for (const u64 a : {0, 1, 2, 10, 500}) {
            mpz_class Q = 1, R = 1;
            for (u64 b = a + 1; b <= a + 400; b++) {
                const reference::HypergeometricTerm t = kind == PiSeriesKind::chudnovsky
                                                            ? reference::chudnovsky_term(b)
                                                            : reference::ramanujan_term(b);
                Q *= t.Q;
                R *= t.R;
                const auto ln = [](const mpz_class& z) {
                    long e;
                    const double d = mpz_get_d_2exp(&e, z.get_mpz_t());
                    return std::log(d) + static_cast<double>(e) * std::log(2.0);
                };
                ASSERT_GE(series.log_size(a, b), ln(Q) - 1e-9 * ln(Q)) << a << " " << b;
                ASSERT_LE(series.log_size(a, b), ln(Q) + 0.5);
                ASSERT_GE(series.log_size_R(a, b), ln(R));
                ASSERT_EQ(series.zero_bits_Q(a, b), mpz_scan1(Q.get_mpz_t(), 0));
                ASSERT_NEAR(series.log_size_dd(a, b).high, series.log_size(a, b), 1e-8);
            }
        }
    }
}

TEST(PiSeriesTest, TermCounts) {
    // p 64 ln 2 / gain + 1.5, rounded
    EXPECT_EQ(PiSeries::term_count(PiSeriesKind::chudnovsky, 8), 12u);
    EXPECT_EQ(PiSeries::term_count(PiSeriesKind::ramanujan, 8), 21u);
    EXPECT_EQ(PiSeries::term_count(PiSeriesKind::chudnovsky, 519054), 705142u);
    EXPECT_EQ(PiSeries(PiSeriesKind::chudnovsky, 8).terms(), 12u);
    const PiSeries series(PiSeriesKind::chudnovsky, 100);
    EXPECT_EQ(series.precision_words(0), 100u);
    EXPECT_EQ(series.precision_words(1), 100u);
    EXPECT_EQ(series.precision_words(2), 99u);
    EXPECT_EQ(series.precision_words(series.terms()), 0u);
}

TEST(PiSeriesDeathTest, SmallBuffersAreRefused) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Word words[12];
    for (const PiSeriesKind kind : {PiSeriesKind::chudnovsky, PiSeriesKind::ramanujan}) {
        const PiSeries series(kind, 10);
        const auto run = [&](u64 P, u64 Q, u64 R) {
            BasicIntR p(words, P), q(words + 5, Q), r(words + 9, R);
            series.term(1, p, q, r);
        };
        const auto report = [&](const std::string& number) {
            return "FATAL ERROR: Assertion Failure\n\nInvalid Function Parameters:   " +
                   std::string(kind == PiSeriesKind::chudnovsky ? "Pi_Chudnovsky" : "Pi_Ramanujan") +
                   "_BSR_End_" + number + "1\\(\\)\n";
        };
        const testing::ExitedWithCode fails(1);
        EXPECT_EXIT((print_to_stderr(), run(5, 4, 2)), fails, report("R"));
        EXPECT_EXIT((print_to_stderr(), run(4, 4, 3)), fails, report("P"));
        EXPECT_EXIT((print_to_stderr(), run(5, 3, 3)), fails, report("Q"));
        run(5, 4, 3);
    }
}

}  // namespace
