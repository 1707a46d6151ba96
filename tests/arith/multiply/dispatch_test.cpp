#include "arith/multiply/dispatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/multiply_algorithm.h"
#include "base/errors/exceptions.h"
#include "reference/fold_transform.h"
#include "reference/mpz_words.h"
#include "reference/words.h"
#include "support/effort.h"
#include "support/scratch.h"

using namespace trel;
using reference::Words;

namespace {

constexpr Word kCanary = 0x0123456789abcdef;

u64 largest_product() {
    return basic_table64().items().back().threshold_words;
}

// Runs `call(T)` on an output of n words with a canary behind it.
template <class F>
Words output_of(u64 n, F&& call) {
    Words T(n + 1, kCanary);
    call(T.data());
    EXPECT_EQ(T[n], kCanary);
    T.pop_back();
    return T;
}

// Words skip .. total - 1 of A * B are T, at most `low` units too low in the lowest word.
void expect_window(const Words& T, u64 skip, u64 total, const Words& A, const Words& B, u64 low) {
    const mpz_class product = reference::to_mpz(A) * reference::to_mpz(B);
    // Differences modulo the window: a window may wrap where it is cut at the top.
    const mpz_class difference =
        reference::low_words(reference::window(product, skip, total) - reference::to_mpz(T), total - skip);
    EXPECT_TRUE(difference <= static_cast<unsigned long>(low))
        << difference.get_str() << " units low, LA=" << A.size() << " LB=" << B.size() << " skip=" << skip
        << " total=" << total;
}

// What the cuts can cost: operands are pre-cut only when skip exceeds the shorter one.
u64 allowed_low(u64 skip, u64 LA, u64 LB) {
    if (skip <= std::min(LA, LB)) return 0;
    return skip > std::max(LA, LB) ? 2 : 1;
}

void check_all_entries(const MultiplyContext& context, const Words& A, const Words& B, u64 skip, u64 total) {
    const u64 LA = A.size(), LB = B.size(), low = allowed_low(skip, LA, LB);
    const u64 m = total - skip;
    expect_window(
        output_of(m,
                  [&](Word* T) { multiply_truncated(context, T, skip, total, A.data(), LA, B.data(), LB); }),
        skip, total, A, B, low);
    expect_window(
        output_of(m,
                  [&](Word* T) {
                      EXPECT_EQ(multiply_truncated_small(context, T, skip, total, A.data(), LA, B.data(), LB),
                                0);
                  }),
        skip, total, A, B, low);
    if (skip == 0 && total == LA + LB) {
        expect_window(output_of(m, [&](Word* T) { multiply_full(context, T, A.data(), LA, B.data(), LB); }),
                      0, m, A, B, 0);
    }
}

void check_all_squares(const MultiplyContext& context, const Words& A, u64 skip, u64 total) {
    const u64 L = A.size(), low = allowed_low(skip, L, L), m = total - skip;
    expect_window(output_of(m, [&](Word* T) { square_truncated(context, T, skip, total, A.data(), L); }),
                  skip, total, A, A, low);
    expect_window(
        output_of(m, [&](Word* T) { multiply_truncated(context, T, skip, total, A.data(), L, A.data(), L); }),
        skip, total, A, A, low);
    if (skip == 0 && total == 2 * L) {
        expect_window(output_of(m, [&](Word* T) { multiply_full(context, T, A.data(), L, A.data(), L); }), 0,
                      m, A, A, 0);
    }
}

TEST(DispatchTest, EveryWindowOfSmallProducts) {
    std::mt19937_64 rng(1);
    for (u64 LA = 1; LA <= 6; LA++) {
        for (u64 LB = 1; LB <= 6; LB++) {
            Scratch scratch(multiply_scratch_bytes(LA + LB));
            const MultiplyContext context{serial_context(), scratch.view()};
            for (u64 total = 1; total <= LA + LB; total++) {
                for (u64 skip = 0; skip <= total; skip++) {
                    for (int repeat = 0; repeat < 3; repeat++) {
                        const Words A = reference::pattern(LA, rng), B = reference::pattern(LB, rng);
                        check_all_entries(context, A, B, skip, total);
                        if (LA == LB) check_all_squares(context, A, skip, total);
                    }
                }
            }
        }
    }
}

TEST(DispatchTest, RandomWindowsOfEveryAlgorithm) {
    std::mt19937_64 rng(2);
    for (unsigned repeat = 0; repeat < 400 / kalvor_test::thinned(4); repeat++) {
        // Sizes on a geometric grid up to a few thousand words, often lopsided.
        const u64 limit = std::min<u64>(largest_product() / 2, u64(8) << rng() % 9);
        const u64 LA = 1 + rng() % limit, LB = rng() % 4 == 0 ? LA : 1 + rng() % limit;
        const u64 total = rng() % 2 ? LA + LB : 1 + rng() % (LA + LB);
        const u64 skip = rng() % 3 == 0 ? 0 : rng() % total;
        Scratch scratch(multiply_scratch_bytes(std::max(LA + LB, 2 * LA)));
        for (u64 tds : {1, 2, 7}) {
            const MultiplyContext context{serial_context().with_tds(tds), scratch.view()};
            SCOPED_TRACE(testing::Message() << "repeat=" << repeat << " tds=" << tds);
            const Words A = reference::pattern(LA, rng), B = reference::pattern(LB, rng);
            check_all_entries(context, A, B, skip, total);
            check_all_entries(context, A, B, 0, LA + LB);
            check_all_squares(context, A, std::min(skip, 2 * LA), std::min(std::max(skip, total), 2 * LA));
            check_all_squares(context, A, 0, 2 * LA);
        }
    }
}

TEST(DispatchTest, SizesAroundTheThresholds) {
    std::mt19937_64 rng(3);
    for (u64 n : {79, 80, 81, 82}) {
        if (n > largest_product()) continue;
        Scratch scratch(multiply_scratch_bytes(n));
        const MultiplyContext context{serial_context(), scratch.view()};
        for (u64 LA = 1; LA < n; LA += LA < 8 || LA + 8 >= n ? 1 : 5) {
            check_all_entries(context, reference::pattern(LA, rng), reference::pattern(n - LA, rng), 0, n);
        }
        if (n % 2 == 0) check_all_squares(context, reference::pattern(n / 2, rng), 0, n);
    }
}

// The cuts of the two-unit bound: everything that was dropped is as large as it can be.
TEST(DispatchTest, PreCutOperandsAreAtMostTwoUnitsLow) {
    Scratch scratch(multiply_scratch_bytes(64));
    const MultiplyContext context{serial_context(), scratch.view()};
    u64 worst = 0;
    std::mt19937_64 rng(4);
    for (int repeat = 0; repeat < 3000; repeat++) {
        const u64 L = 2 + rng() % 20, skip = L + 1 + rng() % (L - 1);
        Words A(L, ~Word(0)), B(L, ~Word(0));
        // What is dropped from each operand times the other comes near one unit of the lowest kept word.
        A[L - 1] -= rng() >> 8;
        B[L - 1] -= rng() >> 8;
        const Words T = output_of(2 * L - skip, [&](Word* T) {
            multiply_truncated(context, T, skip, 2 * L, A.data(), L, B.data(), L);
        });
        expect_window(T, skip, 2 * L, A, B, 2);
        const mpz_class exact = reference::window(reference::to_mpz(A) * reference::to_mpz(B), skip, 2 * L);
        const mpz_class difference = exact - reference::to_mpz(T);
        worst = std::max<u64>(worst, reference::u64_of(difference));
    }
    EXPECT_EQ(worst, 2u);  // the bound is reached
}

// Every entry gives the residue of the words that it writes, whatever is cut off the operands, and compares
// those that the operands carry.
TEST(DispatchTest, ResiduesOfWindowsAndOperands) {
    std::mt19937_64 rng(31);
    for (const u64 most : {u64(30), u64(200), u64(2000)}) {
        Scratch scratch(multiply_scratch_bytes(2 * most));
        const MultiplyContext context{serial_context(), scratch.view()};
        for (int repeat = 0; repeat < 60; repeat++) {
            const u64 LA = 1 + rng() % most, LB = 1 + rng() % most;
            Words A = reference::pattern(LA, rng), B = reference::pattern(LB, rng);
            const u64 total = 1 + rng() % (LA + LB), skip = rng() % total;
            const Carried carried{goldilocks::of_words(A.data(), LA), goldilocks::of_words(B.data(), LB)};
            Words T(LA + LB);
            const auto expect_residue = [&](u64 residue, u64 n) {
                ASSERT_EQ(residue, goldilocks::of_words(T.data(), n))
                    << "LA=" << LA << " LB=" << LB << " skip=" << skip << " total=" << total;
            };
            const auto truncated = [&] {
                return multiply_truncated(context, T.data(), skip, total, A.data(), LA, B.data(), LB,
                                          carried);
            };
            expect_residue(truncated(), total - skip);
            expect_residue(multiply_truncated(context, T.data(), skip, total, A.data(), LA, B.data(), LB),
                           total - skip);
            u64 small = 0;
            multiply_truncated_small(context, T.data(), skip, total, A.data(), LA, B.data(), LB, carried,
                                     &small);
            expect_residue(small, total - skip);
            const auto full = [&] {
                return multiply_full(context, T.data(), A.data(), LA, B.data(), LB, carried);
            };
            expect_residue(full(), LA + LB);
            Words S(2 * LA);
            const u64 end = 1 + rng() % (2 * LA), begin = rng() % end;
            const u64 square = square_truncated(context, S.data(), begin, end, A.data(), LA, carried.a);
            ASSERT_EQ(square, goldilocks::of_words(S.data(), end - begin));

            A[rng() % LA] ^= Word(1) << rng() % 64;
            ASSERT_THROW(full(), AlgorithmFailedException);
            ASSERT_THROW(square_truncated(context, S.data(), begin, end, A.data(), LA, carried.a),
                         AlgorithmFailedException);
            ASSERT_THROW(truncated(), AlgorithmFailedException);
        }
    }
}

TEST(DispatchTest, EmptyWindowWritesNothing) {
    const MultiplyContext context{serial_context(), {}};
    const Word A[3] = {1, 2, 3};
    Word T = kCanary;
    multiply_truncated(context, &T, 4, 4, A, 3, A, 2);
    square_truncated(context, &T, 6, 6, A, 3);
    EXPECT_EQ(multiply_truncated_small(context, &T, 6, 6, A, 3, A, 3), 0);
    EXPECT_EQ(T, kCanary);
}

TEST(DispatchTest, ProductsBeyondTheTableAreRefused) {
    const MultiplyContext context{serial_context(), {}};
    const u64 n = largest_product() + 1;
    const Word one = 1;
    Word T = 0;
    try {
        multiply_full(context, &T, &one, 1, &one, n - 1);  // lengths only: nothing is read
        FAIL();
    } catch (const LimitExceededException& e) {
        EXPECT_EQ(e.function, "AlgorithmTable::get_algorithm()");
        EXPECT_EQ(e.attempted, n);
    }
    TransformHolder holder;
    EXPECT_THROW(make_transform(holder, n, context), LimitExceededException);
    EXPECT_FALSE(holder);
    EXPECT_THROW((void)multiply_scratch_bytes(n), LimitExceededException);
}

TEST(DispatchTest, ScratchThatIsTooSmallIsRefused) {
    Scratch scratch(64);
    const MultiplyContext context{serial_context(), scratch.view()};
    const Words A(40, 3), B(40, 5);
    Words T(80);
    EXPECT_THROW(multiply_full(context, T.data(), A.data(), 40, B.data(), 40), BufferTooSmallException);
    EXPECT_THROW(multiply_truncated(context, T.data(), 10, 80, A.data(), 40, B.data(), 40),
                 BufferTooSmallException);
    EXPECT_THROW(multiply_truncated_small(context, T.data(), 10, 80, A.data(), 40, B.data(), 40),
                 BufferTooSmallException);
}

// The generic operations of the interface, on transforms that are nothing but the definition.
class GenericOperationsTest : public testing::TestWithParam<reference::Fold> {};

TEST_P(GenericOperationsTest, EqualExactProducts) {
    const reference::FoldAlgorithm algorithm(GetParam());
    std::mt19937_64 rng(5);
    for (int repeat = 0; repeat < 300; repeat++) {
        const u64 LA = 1 + rng() % 30, LB = 1 + rng() % 30, n = LA + LB;
        const Words A = reference::pattern(LA, rng), B = reference::pattern(LB, rng);
        const u64 total = 1 + rng() % n, skip = rng() % total;
        Scratch scratch(std::max(algorithm.mSBsize(n), algorithm.mSBsize(2 * LA)));
        const MultiplyContext context{serial_context(), scratch.view()};
        expect_window(output_of(n, [&](Word* T) { algorithm.mul(context, T, A.data(), LA, B.data(), LB); }),
                      0, n, A, B, 0);
        expect_window(output_of(2 * LA, [&](Word* T) { algorithm.sqr(context, T, A.data(), LA); }), 0, 2 * LA,
                      A, A, 0);
        expect_window(output_of(total - skip,
                                [&](Word* T) {
                                    algorithm.mul_skip(context, T, skip, total, A.data(), LA, B.data(), LB);
                                }),
                      skip, total, A, B, 0);
        expect_window(output_of(total - skip,
                                [&](Word* T) {
                                    EXPECT_EQ(algorithm.mul_skip_transform(context, T, skip, total, A.data(),
                                                                           LA, B.data(), LB),
                                              0);
                                }),
                      skip, total, A, B, 0);
        const u64 end = std::min(total, 2 * LA), begin = std::min(skip, end);
        expect_window(output_of(end - begin,
                                [&](Word* T) { algorithm.sqr_skip(context, T, begin, end, A.data(), LA); }),
                      begin, end, A, A, 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Folds, GenericOperationsTest,
                         testing::Values(reference::Fold::cyclic, reference::Fold::negacyclic));

}  // namespace

// Every entry asks first, so that a run stops between two products wherever it is.
TEST(DispatchTest, NoEntryBeginsAProductAfterTheRunWasAskedToStop) {
    RunMonitor monitor;
    Scratch scratch((multiply_scratch_bytes(8) + 63) / 64 * 64);
    const MultiplyContext context{{serial_context().framework, 1, &monitor}, scratch.view()};
    const Words A(4, 3), B(4, 5);
    Words T(8);
    multiply_full(context, T.data(), A.data(), 4, B.data(), 4);
    monitor.stop.request();
    TransformHolder holder;
    EXPECT_THROW(multiply_full(context, T.data(), A.data(), 4, B.data(), 4), RunStopped);
    EXPECT_THROW(multiply_truncated(context, T.data(), 0, 8, A.data(), 4, B.data(), 4), RunStopped);
    EXPECT_THROW(square_truncated(context, T.data(), 0, 8, A.data(), 4), RunStopped);
    EXPECT_THROW(multiply_truncated_small(context, T.data(), 0, 8, A.data(), 4, B.data(), 4), RunStopped);
    EXPECT_THROW(make_transform(holder, 8, context), RunStopped);
}
