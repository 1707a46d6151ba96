// The machinery with a family that is unlike the one of the built-in series: four numbers, squares and cubes,
// the link in front, splits at even indices only.
#include "constants/bsr/family.h"

#include <gtest/gtest.h>

#include "constants/bsr/psr_series.h"
#include "reference/mpz_words.h"
#include "support/harmonic_family.h"
#include "support/scratch.h"
#include "support/threads.h"

using namespace kalvor;
using namespace kalvor::BinarySplitting;
using trel::BigFloat;
using trel::ExactFloat;
using trel::i64;
using trel::MultiplyContext;
using trel::u64;
using trel::Word;

namespace {

struct Numbers {
    mpz_class P, Q, R, T;
};

// By the definition, term after term.
Numbers by_definition(u64 a, u64 b) {
    Numbers n{0, 1, 0, 0};
    for (unsigned long k = a + 1; k <= b; k++) {
        const mpz_class old_Q = n.Q;
        n.P = n.P * k + old_Q;
        n.Q = old_Q * k;
        // R / Q^2 gains 1 / Q^2, T / Q^3 gains (P / Q) / Q^2.
        n.R = n.R * k * k + 1;
        n.T = n.T * k * k * k + n.P;
    }
    return n;
}

template <class Number>
mpz_class value(const Number& A) {
    const mpz_class z = reference::to_mpz(A.T, A.L);
    return A.exp >= 0 ? mpz_class(z << (64 * static_cast<u64>(A.exp)))
                      : mpz_class(z >> (64 * static_cast<u64>(-A.exp)));
}

// A block in buffers of exactly the planned sizes.
struct FourNumberBlock {
    FourNumberBlock(const harmonic::Series& series, u64 a, u64 b, bool exact, u64 tds, bool edge)
        : plan(series, {a, b, series.precision_words(a), series.precision_words(b)}, edge, exact, tds),
          results(total_words(plan.capacities()) * sizeof(Word)),
          scratch(plan.needs().bytes),
          context{{thread_framework(), tds}, scratch.view(), nullptr} {
        trel::AlignedBufferC memory = results.view();
        if (exact) {
            exacts = carve_range<ExactFloat>(memory, plan.capacities());
            BlockRun<harmonic::Family>(plan).run(context, trel::null_status(), exacts);
        } else {
            floats = carve_range<BigFloat>(memory, plan.capacities());
            BlockRun<harmonic::Family>(plan).run(context, trel::null_status(), floats);
        }
        EXPECT_TRUE(results.guards_intact() && scratch.guards_intact());
    }
    BSR_BlockB<harmonic::Family> plan;
    Scratch results, scratch;
    MultiplyContext context;
    ExactRange<harmonic::Family> exacts;
    FloatRange<harmonic::Family> floats;
};

// The sums R / Q^2 and T / Q^3 are right to so many words. Q alone is not: both halves of a range are scaled
// by the same truncated number.
void expect_sums(const FloatRange<harmonic::Family>& got, const Numbers& want, u64 words) {
    const auto check = [&](const BigFloat& sum, const mpz_class& want_sum, unsigned power) {
        mpz_class Q = 1, want_Q = 1;
        for (unsigned i = 0; i < power; i++) {
            Q *= value(got[harmonic::kQ]);
            want_Q *= want.Q;
        }
        const mpz_class right = want_sum * Q, error = abs(value(sum) * want_Q - right);
        if (error == 0) return;
        EXPECT_LT(mpz_sizeinbase(error.get_mpz_t(), 2) + 64 * words, mpz_sizeinbase(right.get_mpz_t(), 2) + 8)
            << "power " << power;
    };
    check(got[harmonic::kR], want.R, 2);
    check(got[harmonic::kT], want.T, 3);
}

TEST(FourNumbersTest, ExactBlocksStayInsideTheirPlan) {
    const harmonic::Series series(100000, 20000);
    for (const auto& [a, b] : std::vector<std::pair<u64, u64>>{{0, 1},
                                                               {0, 2},
                                                               {0, 3},
                                                               {1, 4},
                                                               {0, 7},
                                                               {5, 13},
                                                               {0, 101},
                                                               {0, 999},
                                                               {3, 1003},
                                                               {0, 1001},
                                                               {17, 2500},
                                                               {0, 9000}}) {
        const Numbers want = by_definition(a, b);
        for (const u64 tds : {1, 2, 7}) {
            for (const bool edge : {false, true}) {
                SCOPED_TRACE(testing::Message() << a << ".." << b << " tds=" << tds << " edge=" << edge);
                const FourNumberBlock run(series, a, b, true, tds, edge);
                EXPECT_EQ(value(run.exacts[harmonic::kQ]), want.Q);
                EXPECT_EQ(value(run.exacts[harmonic::kR]), want.R);
                EXPECT_EQ(value(run.exacts[harmonic::kT]), want.T);
                if (edge) {
                    EXPECT_EQ(run.plan.capacities()[harmonic::kP], 0u);
                } else {
                    EXPECT_EQ(value(run.exacts[harmonic::kP]), want.P);
                }
                for (const ExactFloat& A : run.exacts) EXPECT_EQ(A.computed_residue(), A.residue);
            }
        }
    }
}

TEST(FourNumbersTest, FloatingPointBlocksStayInsideTheirPlan) {
    for (const u64 precision : {40, 300, 1500}) {
        // As many terms as the precision needs.
        u64 terms = 2;
        while (harmonic::Series(terms, precision).log_remaining(terms).high > 0) terms += terms / 8 + 1;
        const harmonic::Series series(terms, precision);
        const Numbers want = by_definition(0, terms);
        for (const u64 tds : {1, 2, 7}) {
            SCOPED_TRACE(testing::Message() << precision << " words, " << terms << " terms, tds=" << tds);
            const FourNumberBlock run(series, 0, terms, false, tds, true);
            expect_sums(run.floats, want, precision);
        }
    }
}

// Blocks folded from the last to the first; the quotient of the two sums does not depend on how the range was
// cut.
TEST(FourNumbersTest, AWholeSeriesInBlocks) {
    const u64 precision = 600;
    u64 terms = 2;
    while (harmonic::Series(terms, precision).log_remaining(terms).high > 0) terms += terms / 8 + 1;
    const harmonic::Series series(terms, precision);
    const Numbers want = by_definition(0, terms);
    for (const u64 limit : {precision, precision / 2, precision / 5}) {
        for (const u64 tds : {1, 2}) {
            const PSR_SeriesB<harmonic::Family> sum(series, limit, tds);
            SCOPED_TRACE(testing::Message() << sum.blocks() << " blocks, tds=" << tds);
            EXPECT_EQ(sum.needs().result_words, 0u);  // the first number is not needed
            Scratch memory(sum.needs().bytes);
            const FloatRange<harmonic::Family> got =
                sum.run({{thread_framework(), tds}, memory.view(), nullptr}, trel::null_status(), nullptr);
            EXPECT_TRUE(memory.guards_intact());
            expect_sums(got, want, precision);
        }
    }
}

// Without the family's word on splits a range would be cut at an odd index.
TEST(FourNumbersTest, SplitsAreTheFamilys) {
    const harmonic::Series series(100, 50);
    EXPECT_EQ(series.split(0, 6), 3u);
    EXPECT_EQ(harmonic::Family::split(series, 0, 6), 2u);
    for (u64 a = 0; a < 40; a++) {
        for (u64 b = a + 2; b < 60; b++) {
            const u64 m = harmonic::Family::split(series, a, b);
            ASSERT_LT(a, m);
            ASSERT_LT(m, b);
            if (b - a > 2) {
                ASSERT_EQ(m % 2, 0u) << a << ".." << b;
            }
        }
    }
}

}  // namespace
