// Huvent's series as plans see it: its terms, its sizes, its blocks, and what becomes of a changed bit.
#include "constants/builtin/huvent_series.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "base/errors/exceptions.h"
#include "constants/bsr/block_run.h"
#include "constants/builtin/catalan.h"
#include "constants/builtin/huvent_terms.h"
#include "reference/mpz_words.h"
#include "support/changed_numbers.h"
#include "support/damaged_run.h"
#include "support/effort.h"
#include "support/evaluator_run.h"
#include "support/scratch.h"
#include "support/threads.h"

using namespace kalvor;
using namespace kalvor::BinarySplitting;
using BinaryBBP::Family;
using BinaryBBP::kP;
using BinaryBBP::kQ;
using kalvor_test::DamagedRun;
using kalvor_test::OneChangedNumber;
using kalvor_test::run_damaged;

namespace {

constexpr double kLn2 = 0.6931471805599453;

struct Sum {
    mpz_class P, Q;  // P in units of 2^(-6b)
};
Sum by_definition(u64 a, u64 b) {
    Sum s{0, 1};
    Word words[36];
    BasicIntR P(words, 18), Q(words + 18, 18);
    for (u64 k = a + 1; k <= b; k++) {
        catalan_huvent_term(k, P, Q);
        const mpz_class p = reference::to_mpz(P.T, P.L), q = reference::to_mpz(Q.T, Q.L);
        s.P = (s.P << 6) * q + (k % 2 == 0 ? mpz_class(-p) : p) * s.Q;
        s.Q *= q;
    }
    return s;
}

double ln(const mpz_class& z) {
    long exponent = 0;
    const double d = mpz_get_d_2exp(&exponent, z.get_mpz_t());
    return std::log(std::fabs(d)) + static_cast<double>(exponent) * kLn2;
}

TEST(HuventSeriesTest, TermsOfAPrecision) {
    EXPECT_EQ(HuventSeries(519054).terms(), 5536578u);
    const double scale = std::log(0.9159655941) + std::log(512265600.0 / 1334025);
    for (const u64 p : {u64(1), u64(2), u64(3), u64(17), u64(100), u64(1001), u64(100000), u64(1000000000),
                        u64(10000000000000)}) {
        const HuventSeries series(p);
        EXPECT_EQ(series.leaf_threshold(), 2u);
        EXPECT_EQ(series.growth_words(), 64u);
        // The first omitted term, by its leading coefficients where it is far out.
        Word words[36];
        BasicIntR P(words, 18), Q(words + 18, 18);
        const u64 k = series.terms() + 1;
        catalan_huvent_term(k, P, Q);
        const double omitted = ln(reference::to_mpz(P.T, P.L)) - ln(reference::to_mpz(Q.T, Q.L)) -
                               6 * kLn2 * static_cast<double>(k);
        // Doubles end where margins far out are differences of 10^15.
        EXPECT_GT(scale - 64 * kLn2 * static_cast<double>(p) - omitted, p > 1000000 ? 5.5 : 5.9) << p;
        // 64 p / 6 + 3/2 rounded, 64 p / 6 + 1 or + 2 where that ends in a half.
        const u64 six_times = 64 * p + 9;
        EXPECT_LE(6 * series.terms(), six_times + 3) << p;
        EXPECT_GE(6 * series.terms() + 3, six_times) << p;
    }
}

TEST(HuventSeriesTest, SizesAreUpperBounds) {
    const HuventSeries series(1000);
    for (const auto& [a, b] : std::vector<std::pair<u64, u64>>{{0, 1},
                                                               {0, 2},
                                                               {0, 30},
                                                               {1, 3},
                                                               {50, 700},
                                                               {0, 1500},
                                                               {(u64(1) << 32) + 5, (u64(1) << 32) + 205},
                                                               {(u64(1) << 51) - 1, (u64(1) << 51) + 101}}) {
        const Sum sum = by_definition(a, b);
        const double far = b > u64(1) << 40 ? 1 : 0;
        EXPECT_GE(series.log_size_Q(a, b), ln(sum.Q)) << a << " " << b;
        EXPECT_LE(series.log_size_Q(a, b), ln(sum.Q) + 12 + far) << a << " " << b;
        EXPECT_GE(series.log_size_P(a, b), ln(sum.P)) << a << " " << b;
        EXPECT_GE(series.log_size_resolved(a, b) + 9 * std::log(double(b + 1) / double(a + 1)) + 1,
                  ln(sum.Q));
    }
}

TEST(HuventSeriesTest, BlocksOfAnyNumberOfTerms) {
    const HuventSeries series(3000);
    for (const u64 a : {u64(0), u64(1), u64(1) << 31, (u64(1) << 51) + 1}) {
        for (const u64 n : {1, 2, 3, 7, 8, 9, 100, 101, 1001}) {
            const Sum want = by_definition(a, a + n);
            for (const u64 tds : {1, 2, 7}) {
                SCOPED_TRACE(testing::Message() << a << " + " << n << " tds=" << tds);
                const BSR_BlockB<Family> plan(series, {a, a + n, series.precision(), 0}, false, true, tds);
                Scratch results(total_words(plan.capacities()) * sizeof(Word)), scratch(plan.needs().bytes);
                AlignedBufferC memory = results.view();
                auto got = carve_range<ExactFloat>(memory, plan.capacities());
                BlockRun<Family>(plan).run({{thread_framework(), tds}, scratch.view(), nullptr},
                                           null_status(), got);
                mpz_class P = reference::to_mpz(got[kP].T, got[kP].L);
                const i64 bits = 64 * got[kP].exp + static_cast<i64>(6 * (a + n));
                if (bits >= 0) {
                    P <<= static_cast<mp_bitcnt_t>(bits);
                } else {
                    P >>= static_cast<mp_bitcnt_t>(-bits);
                }
                ASSERT_EQ(got[kP].sign ? P : mpz_class(-P), want.P);
                ASSERT_EQ(reference::shifted(reference::to_mpz(got[kQ].T, got[kQ].L), got[kQ].exp), want.Q);
                for (const ExactFloat& A : got) ASSERT_EQ(A.residue, A.computed_residue());
            }
        }
    }
}

// A whole sum, with exact blocks and floating-point ones. The sum that waits cannot be done again.
TEST(HuventSeriesTest, AChangedBitNeverComesThrough) {
    std::mt19937_64 random(24);
    const auto evaluator = Catalan(CatalanAlgorithm::huvent).make_evaluator({300, 1});
    for (const char* stage : {"piece", "range", "rest", "block", "fold", "sum"}) {
        OneChangedNumber none(OneChangedNumber::kNever, 0, stage);
        const DamagedRun right = run_damaged(*evaluator, none);
        ASSERT_EQ(right.error, "");
        ASSERT_GT(none.count, 1u) << stage;
        for (unsigned round = 0; round < 20 / kalvor_test::thinned(4); round++) {
            const u64 at = random() % none.count;
            SCOPED_TRACE(testing::Message() << stage << " " << at << " of " << none.count);
            OneChangedNumber flip(at, random(), stage);
            const DamagedRun got = run_damaged(*evaluator, flip);
            if (stage == std::string("sum")) {
                EXPECT_NE(got.error.find("A number was damaged in memory: "), std::string::npos) << got.error;
            } else {
                EXPECT_EQ(got.error, "");
                EXPECT_EQ(got.value, right.value);
                EXPECT_EQ(got.corrected, 1u);
            }
        }
    }
}

}  // namespace
