#include "constants/bsr/common_p2b3.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "base/errors/exceptions.h"
#include "constants/bsr/block_run.h"
#include "constants/bsr/verify_bsr.h"
#include "reference/hypergeometric_sum.h"
#include "reference/mpz_words.h"
#include "support/capture_console.h"
#include "support/pi_like_series.h"
#include "support/scratch.h"
#include "support/threads.h"

using namespace kalvor;
using namespace kalvor::BinarySplitting;
using CommonP2B3::Family;
using CommonP2B3::kP;
using CommonP2B3::kQ;
using CommonP2B3::kR;
using trel::BigFloat;
using trel::ExactFloat;
using trel::i64;
using trel::MultiplyContext;

namespace {

mpz_class value(const ExactFloat& A) {
    const mpz_class z = reference::shifted(reference::to_mpz(A.T, A.L), A.exp);
    return A.sign ? z : mpz_class(-z);
}

// A block with memory of exactly the planned sizes.
struct PlannedBlock {
    PlannedBlock(const CommonP2B3::Series& series, u64 a, u64 b, bool exact, u64 tds, u64 run_tds = 0,
                 bool edge = false, u64 room = kAnyRoom)
        : plan(series, {a, b, series.precision_words(a), series.precision_words(b)}, edge, exact, tds, room),
          results(total_words(plan.capacities()) * sizeof(Word)),
          scratch(plan.needs().bytes),
          context{{thread_framework(), run_tds == 0 ? tds : run_tds}, scratch.view(), nullptr} {
        trel::AlignedBufferC memory = results.view();
        if (exact) {
            exacts = carve_range<ExactFloat>(memory, plan.capacities());
            BlockRun<Family>(plan).run(context, trel::null_status(), exacts);
        } else {
            floats = carve_range<BigFloat>(memory, plan.capacities());
            BlockRun<Family>(plan).run(context, trel::null_status(), floats);
        }
        EXPECT_TRUE(results.guards_intact() && scratch.guards_intact());
    }
    BSR_BlockB<Family> plan;
    Scratch results, scratch;
    MultiplyContext context;
    ExactRange<Family> exacts;
    FloatRange<Family> floats;
};

void expect_range(const ExactRange<Family>& got, const mpz_class& P, const mpz_class& Q, const mpz_class& R) {
    ASSERT_EQ(value(got[kP]), P);
    ASSERT_EQ(value(got[kQ]), Q);
    ASSERT_EQ(value(got[kR]), R);
    kvb_Verify_BSR(0, 1, got, trel::serial_context());
}

class RangeTest : public testing::TestWithParam<bool> {
  protected:
    RangeTest() : series(GetParam(), 5000) {}
    reference::HypergeometricTerm (*term() const)(trel::u64) {
        return GetParam() ? reference::chudnovsky_term : reference::ramanujan_term;
    }
    PiLikeSeries series;
};

// Word-level leaves of every range up to 60 terms.
TEST_P(RangeTest, LeavesOfEveryShortRange) {
    std::vector<Word> memory(1000), scratch(4 * series.growth_words() * 60);
    for (trel::u64 a = 0; a < 60; a++) {
        reference::HypergeometricSum sum(term(), GetParam(), a);
        for (trel::u64 b = a + 1; b <= 60; b++) {
            sum.extend();
            const u64 n = b - a;
            trel::BasicIntR P(memory.data(), 5 * n), Q(memory.data() + 300, 4 * n),
                R(memory.data() + 600, 3 * n);
            series.bsr_end(a, b, P, Q, R, scratch.data());
            ASSERT_EQ(reference::to_mpz(P.T, P.L), sum.P) << a << " " << b;
            ASSERT_EQ(reference::to_mpz(Q.T, Q.L), sum.Q);
            ASSERT_EQ(reference::to_mpz(R.T, R.L), sum.R);
        }
    }
}

// The same ranges through the recursion: leaves, merges, stripped denominators.
TEST_P(RangeTest, MergesOfEveryShortRange) {
    for (trel::u64 a = 0; a < 60; a += 1 + a / 8) {
        reference::HypergeometricSum sum(term(), GetParam(), a);
        for (trel::u64 b = a + 1; b <= 60; b++) {
            sum.extend();
            const PlannedBlock run(series, a, b, true, 1);
            expect_range(run.exacts, sum.P, sum.Q, sum.R);
            if (HasFatalFailure()) FAIL() << a << " " << b;
        }
    }
}

TEST_P(RangeTest, LongRangesOnAnyNumberOfTasks) {
    for (const auto& [a, b] :
         std::vector<std::pair<u64, u64>>{{0, 999}, {0, 1000}, {1, 3002}, {4000, 8003}}) {
        const reference::HypergeometricTerm want = reference::hypergeometric_range(term(), GetParam(), a, b);
        for (const u64 tds : {1, 2, 7, 150}) {
            const PlannedBlock run(series, a, b, true, tds);
            expect_range(run.exacts, want.P, want.Q, want.R);
            if (HasFatalFailure()) FAIL() << a << " " << b << " " << tds;
        }
        // Little room: products one by one, fewer levels spread over tasks, and less memory.
        for (const u64 tds : {1, 7}) {
            const PlannedBlock roomy(series, a, b, true, tds), little(series, a, b, true, tds, tds, false, 0);
            expect_range(little.exacts, want.P, want.Q, want.R);
            EXPECT_LE(little.plan.needs().bytes, roomy.plan.needs().bytes);
            if (HasFatalFailure()) FAIL() << a << " " << b << " " << tds;
        }
        // Fewer tasks than planned.
        const PlannedBlock fewer(series, a, b, true, 7, 2);
        expect_range(fewer.exacts, want.P, want.Q, want.R);
        // Nothing follows: P and Q only.
        const PlannedBlock edge(series, a, b, true, 2, 2, true);
        ASSERT_EQ(value(edge.exacts[kP]), want.P);
        ASSERT_EQ(value(edge.exacts[kQ]), want.Q);
        ASSERT_EQ(edge.exacts[kR].L, 0u);
    }
}

// A block's denominator gives up its powers of two in lines of 8 words.
TEST_P(RangeTest, DenominatorsDropZeroWords) {
    const PlannedBlock run(series, 0, 2000, true, 1);
    const ExactFloat& Q = run.exacts[kQ];
    const u64 zero_words = series.zero_bits_Q(0, 2000) / 64;
    EXPECT_GT(static_cast<u64>(Q.exp), zero_words - 8);
    EXPECT_LE(static_cast<u64>(Q.exp), zero_words);
    EXPECT_EQ(mpz_scan1(value(Q).get_mpz_t(), 0), series.zero_bits_Q(0, 2000));
}

// Floating-point blocks hold P / Q to the precision at their start and R to that at their end.
TEST_P(RangeTest, FloatingPointBlocks) {
    const u64 N = series.terms();
    for (const auto& [a, b] :
         std::vector<std::pair<u64, u64>>{{0, N}, {0, N / 2}, {N / 3, N - 100}, {N - 50, N}}) {
        const reference::HypergeometricTerm want = reference::hypergeometric_range(term(), GetParam(), a, b);
        for (const auto& [tds, room] :
             std::vector<std::pair<u64, u64>>{{1, kAnyRoom}, {2, kAnyRoom}, {7, kAnyRoom}, {1, 0}, {7, 0}}) {
            const PlannedBlock run(series, a, b, false, tds, tds, b == N, room);
            const u64 p = series.precision_words(a);
            const i64 low = -static_cast<i64>(2 * p) - 40;
            const auto at = [&](const BigFloat& A) { return reference::magnitude_at(A, low); };
            const mpz_class ratio = (at(run.floats[kP]) << (64 * (p + 4))) / at(run.floats[kQ]);
            const mpz_class exact = (want.P << (64 * (p + 4))) / want.Q;
            const mpz_class difference = abs(ratio - exact);
            const auto bits = [](const mpz_class& z) {
                return static_cast<i64>(mpz_sizeinbase(z.get_mpz_t(), 2));
            };
            ASSERT_GT(bits(exact) - bits(difference), static_cast<i64>(64 * (p + 1)))
                << a << " " << b << " " << tds;
            if (b != N) {
                const mpz_class link = (at(run.floats[kR]) << (64 * (2 * p + 4))) / at(run.floats[kQ]);
                const mpz_class exact_link = (want.R << (64 * (2 * p + 4))) / want.Q;
                ASSERT_GT(bits(exact_link) - bits(abs(link - exact_link)),
                          static_cast<i64>(64 * (series.precision_words(b) + 1)));
            }
        }
    }
}

TEST_P(RangeTest, FlippedBitsAreFound) {
    std::mt19937_64 rng(7);
    for (const u64 terms : {300, 9000}) {
        PlannedBlock run(series, 0, terms, true, 2);
        ASSERT_EQ(run.exacts[kP].L >= 10000, terms == 9000 && GetParam());
        kvb_Verify_BSR(0, terms, run.exacts, run.context.parallel);
        for (int round = 0; round < 30; round++) {
            ExactFloat& A = run.exacts[rng() % 3];
            Word& word = A.T[rng() % A.L];
            const Word bit = Word(1) << (rng() % 64);
            word ^= bit;
            try {
                kvb_Verify_BSR(3, terms, run.exacts, run.context.parallel);
                FAIL() << "not found";
            } catch (const trel::BSRModularCheckFailedException& e) {
                EXPECT_EQ(e.function, "kvb_Verify_BSR()");
                EXPECT_EQ(e.message, "Modular Redundancy Check Failed");
                EXPECT_EQ(e.a, 3u);
                EXPECT_EQ(e.b, terms);
                ASSERT_EQ(e.hashes.size(), 2u);
                EXPECT_EQ(e.hashes[0] != 0, &A == &run.exacts[kP]);
                EXPECT_EQ(e.hashes[1] != 0, &A != &run.exacts[kP]);
            }
            word ^= bit;
        }
        kvb_Verify_BSR(0, terms, run.exacts, run.context.parallel);
    }
}

TEST_P(RangeTest, MoreTasksThanPlanned) {
    try {
        PlannedBlock run(series, 0, 50, true, 4, 8);
        FAIL();
    } catch (const trel::InvalidParametersException& e) {
        EXPECT_EQ(e.function, "BSR_BlockB::run()");
        EXPECT_EQ(e.message, "Attempted to run with a larger tds than the plan supports.");
    }
}

TEST_P(RangeTest, SmallBuffersAreRefused) {
    PlannedBlock run(series, 0, 50, true, 1);
    run.exacts[kQ].buffer_size -= 8;
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        (print_to_stderr(), BlockRun<Family>(run.plan).run(run.context, trel::null_status(), run.exacts)),
        testing::ExitedWithCode(1),
        "FATAL ERROR: Assertion Failure\n\nInvalid Function Parameters:   BSR_BlockB::run\\(\\)\n");
}

// P(k) is longer than Q(k) and R(k) shorter by far: every number has a bound of its own.
class UnevenSeries final : public CommonP2B3::Series {
  public:
    UnevenSeries() : Series({4000, 100, 4, 60, false}, {40, 1, 1}) {}
    double log_size_to(u64 k) const override {
        const double x = static_cast<double>(k);
        return k == 0 ? 0 : (x + 0.5) * std::log(x) - x + 1 + x * std::log(3.0);
    }
    DoubleDouble log_size_to_dd(u64 k) const override { return DoubleDouble(log_size_to(k)); }
    DoubleDouble log_remaining(u64) const override { return DoubleDouble(4436.0); }
    double log_size_P(u64 a, u64 b) const override { return log_size(a, b) + 40 * 64 * std::log(2.0) + 1; }
    double log_size_R(u64, u64) const override { return 1; }
    u64 zero_bits_Q(u64, u64) const override { return 0; }
    void term(u64 k, trel::BasicIntR& P, trel::BasicIntR& Q, trel::BasicIntR& R) const override {
        P.set_word(~Word(0));
        for (int i = 0; i < 39; i++) P.mul_uW(~Word(0));
        Q.set_word(3 * k);
        R.set_word(1);
    }
    static reference::HypergeometricTerm reference_term(u64 k) {
        mpz_class P, n = (mpz_class(1) << 64) - 1;
        mpz_pow_ui(P.get_mpz_t(), n.get_mpz_t(), 40);
        return {P, 3 * mpz_class(static_cast<unsigned long>(k)), 1};
    }
};

TEST(UnevenSeriesTest, EachNumberHasItsOwnBound) {
    const UnevenSeries series;
    const Family::Words words = Family::capacities(series, 100, 1100);
    EXPECT_GT(words[kP], words[kQ]);
    EXPECT_LT(words[kR], 20u);
    for (const auto& [a, b] :
         std::vector<std::pair<u64, u64>>{{0, 2}, {0, 100}, {0, 101}, {7, 250}, {0, 4000}}) {
        const reference::HypergeometricTerm want =
            reference::hypergeometric_range(UnevenSeries::reference_term, false, a, b);
        for (const u64 tds : {1, 2, 7}) {
            const PlannedBlock run(series, a, b, true, tds);
            expect_range(run.exacts, want.P, want.Q, want.R);
            if (HasFatalFailure()) FAIL() << a << " " << b << " " << tds;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Series, RangeTest, testing::Bool());

}  // namespace
