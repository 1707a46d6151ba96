// The plan of a block beside a walk into both halves of every range, and the work that planning takes.
#include "constants/bsr/block_plan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "constants/bsr/brent_mcmillan.h"
#include "constants/bsr/common_p2b3.h"
#include "constants/bsr/psr_series.h"
#include "constants/builtin/row_series.h"
#include "support/harmonic_family.h"
#include "support/scratch.h"
#include "support/threads.h"

using namespace kalvor;
using namespace kalvor::BinarySplitting;
using kalvor::BuiltInSeries;
using kalvor::RowSeries;
using trel::u64;
using trel::Word;

namespace {

// What a run of a range needs in memory, by the definition: the run's own splits, both halves of each.
template <class F>
class Walk {
  public:
    explicit Walk(const BSR_BlockB<F>& plan) : plan_(plan) {}
    Needs needs(u64 room) const { return upper(plan_.block().a, plan_.block().b, plan_.depth(), room); }

  private:
    Needs merge(u64 a, u64 m, u64 b, u64 room) const {
        const auto& series = plan_.series();
        return F::merge_needs(
            {plan_.capacities(a, m), F::capacities(series, m, b), F::capacities(series, a, b), room});
    }
    Needs upper(u64 a, u64 b, u64 depth, u64 room) const {
        if (depth == 0 || !plan_.splits(a, b)) return tasks(a, b, plan_.widened(plan_.tds()), room);
        const u64 m = plan_.split(a, b);
        const u64 left = total_words(plan_.capacities(a, m)), right = total_words(plan_.capacities(m, b));
        const u64 rest = room_above(room, left + right);
        return upper(m, b, depth - 1, rest).maximum(merge(a, m, b, rest)).above(left + right);
    }
    Needs tasks(u64 a, u64 b, u64 tds, u64 room) const {
        if (tds < 2 || !plan_.splits(a, b)) {
            const auto& series = plan_.series();
            const PsrBlock block{a, b, series.precision_words(a), series.precision_words(b)};
            const BSR_BlockB<F> one(series, block, plan_.edge(b), true, 1, room);
            EXPECT_EQ(one.depth(), 0u);
            return one.needs();
        }
        const u64 m = plan_.split(a, b);
        const u64 words = total_words(plan_.capacities(a, m)) + total_words(plan_.capacities(m, b));
        const u64 rest = room_above(room, words);
        const u64 each = rest == kAnyRoom ? rest : rest / 2;
        return tasks(a, m, tds / 2, each)
            .maximum(tasks(m, b, tds - tds / 2, each))
            .twice()
            .maximum(merge(a, m, b, rest))
            .above(words);
    }

    const BSR_BlockB<F>& plan_;
};

// Terms of a task's range that is far from the shortest that are split.
template <class Series>
u64 long_range(const Series& series) {
    return std::max<u64>(4000, 2 * series.leaf_threshold());
}

template <class F>
void expect_close(const typename F::Series& series, u64 a, u64 b, bool edge, u64 tds, u64 room) {
    SCOPED_TRACE(testing::Message() << a << ".." << b << " tds=" << tds << " edge=" << edge
                                    << " room=" << room);
    const PsrBlock block{a, b, series.precision_words(a), series.precision_words(b)};
    const BSR_BlockB<F> plan(series, block, edge, true, tds, room);
    const Needs walked = Walk<F>(plan).needs(room);
    EXPECT_GE(plan.needs().bytes, walked.bytes);
    EXPECT_GE(plan.needs().product_words, walked.product_words);
    // Where ranges are about as short as those that are not split, the plan takes all of them for split.
    if (b - a < 2 * tds * long_range(series)) return;
    EXPECT_LE(static_cast<double>(plan.needs().bytes), 1.08 * static_cast<double>(walked.bytes));
    EXPECT_LE(static_cast<double>(plan.needs().product_words),
              1.01 * static_cast<double>(walked.product_words));
}

TEST(BlockPlanTest, ManyTasksCoverEveryRange) {
    for (const BuiltInSeries& row : kalvor::pi_series()) {
        const RowSeries near(row, 10000000), far(row, u64(1) << 47);
        for (const u64 tds : {129, 150, 256, 700}) {
            for (const u64 room : {kAnyRoom, u64(0)}) {
                for (const bool edge : {false, true}) {
                    const auto expect = [&](const RowSeries& series, u64 a, u64 b) {
                        expect_close<CommonP2B3::Family>(series, a, b, edge, tds, room);
                    };
                    expect(near, 0, 300000);
                    expect(near, 0, 777777);
                    expect(near, 12345, 900001);
                    expect(near, 54321, 54321 + 16400 * tds);
                    expect(far, 123456789012, 123457789012);
                    // Where doubles no longer tell terms apart.
                    expect(far, (u64(1) << 48) - 100, (u64(1) << 48) + 300000);
                }
            }
        }
    }
}

TEST(BlockPlanTest, ManyTasksCoverEveryRangeOfAnotherFamily) {
    const harmonic::Series series(4000000, 2000000);
    for (const u64 tds : {129, 150, 700}) {
        for (const u64 room : {kAnyRoom, u64(0)}) {
            for (const bool edge : {false, true}) {
                for (const auto& [a, b] :
                     std::vector<std::pair<u64, u64>>{{0, 500000}, {0, 999999}, {77777, 1000001}})
                    expect_close<harmonic::Family>(series, a, b, edge, tds, room);
            }
        }
    }
}

// The family of the built-in series, counting how often it is asked for sizes: each is a step of the plan.
struct Counted : CommonP2B3::Family {
    static Words capacities(const Series& series, u64 a, u64 b) {
        asked++;
        return Family::capacities(series, a, b);
    }
    static Needs merge_needs(const MergeSizes<Counted>& sizes) {
        return Family::merge_needs({sizes.left, sizes.right, sizes.out, sizes.room});
    }
    static Needs float_needs(const MergeSizes<Counted>& sizes, u64 precision) {
        return Family::float_needs({sizes.left, sizes.right, sizes.out, sizes.room}, precision);
    }
    static inline u64 asked = 0;
};

// Terms that fall so slowly that very many blocks have one precision; their sizes drift as k grows.
class SlowSeries final : public CommonP2B3::Series {
  public:
    SlowSeries(u64 terms, u64 precision) : Series({terms, precision, 4, 20, true}, {2, 2, 1}) {}
    double log_size_to(u64 k) const override {
        const double x = static_cast<double>(k);
        return 2 * ((x + 0.5) * std::log(x + 1) - x) + 1.1 * x;
    }
    DoubleDouble log_size_to_dd(u64 k) const override {
        const DoubleDouble x = DoubleDouble::from_u64(k);
        return DoubleDouble(2.0) * ln_factorial(x) + x * DoubleDouble(1.1);
    }
    DoubleDouble log_remaining(u64) const override {
        return DoubleDouble(44.3 * static_cast<double>(precision()));
    }
    double log_size_R(u64 a, u64 b) const override { return log_size_resolved(a, b); }
    u64 zero_bits_Q(u64, u64) const override { return 0; }
    void term(u64 k, trel::BasicIntR& P, trel::BasicIntR& Q, trel::BasicIntR& R) const override {
        for (auto* number : {&P, &Q, &R}) number->set_word(k);
        P.mul_uW(2);
        Q.mul_uW(3 * k);
    }
};

// Rows of blocks that are alike are planned by their ends: no block inside takes more, as its own plan says
// for the room that the run gives it, and the run stays inside exactly the planned memory.
TEST(BlockPlanTest, RowsOfBlocksThatAreAlike) {
    for (const u64 precision : {10, 60, 300}) {
        for (const double nats : {500.0, 2500.0}) {
            const SlowSeries series(static_cast<u64>(nats * 100), precision);
            PsrPlan plan;
            plan_blocks(series, 0, nats, plan);
            ASSERT_GT(plan.blocks.size(), 1000u);
            for (const u64 tds : {1, 2, 7}) {
                const PSR_SeriesB<CommonP2B3::Family> sum(series, plan, tds);
                SCOPED_TRACE(testing::Message()
                             << precision << " words, " << sum.blocks() << " blocks of " << nats);
                u64 most = 0;
                for (std::size_t i = 0; i < sum.blocks(); i += 1 + i % 61) {
                    const BSR_BlockB<CommonP2B3::Family> block = sum.block(i);
                    most = std::max(most, block.needs().above(total_words(block.capacities())).bytes);
                }
                EXPECT_LE(most + 8 * sum.accumulator_words(), sum.needs().bytes);
                // What the rows' ends are given beyond their own needs is little.
                EXPECT_LT(sum.needs().bytes, 2 * most + 100000);
                if (tds == 2 && nats == 2500.0) {
                    Scratch lent(sum.needs().result_words * sizeof(Word)), memory(sum.needs().bytes);
                    sum.run({{thread_framework(), tds}, memory.view(), nullptr}, trel::null_status(),
                            lent.words());
                }
            }
        }
    }
}

// A hundred thousand blocks and more are not planned one by one.
TEST(BlockPlanTest, PlanningDoesNotGrowWithTheBlocks) {
    const SlowSeries series(u64(1) << 34, 100);
    PsrPlan plan;
    plan_blocks(series, 0, series.log_size(0, series.terms()) / 200000, plan);
    ASSERT_GT(plan.blocks.size(), 100000u);
    for (PsrBlock& block : plan.blocks) block.exact = true;
    Counted::asked = 0;
    const PSR_SeriesB<Counted> sum(series, plan, 2);
    EXPECT_LT(Counted::asked, 20000u);
    EXPECT_EQ(sum.exact_blocks(), plan.blocks.size());
    EXPECT_GT(sum.work(), 0);
}

// The same for the sums of Euler's constant.
struct CountedAB : BrentMcMillanAB::Family {
    static Words capacities(const Series& series, u64 a, u64 b) {
        asked++;
        return Family::capacities(series, a, b);
    }
    static Needs merge_needs(const MergeSizes<CountedAB>& sizes) {
        return Family::merge_needs({sizes.left, sizes.right, sizes.out, sizes.room});
    }
    static Needs float_needs(const MergeSizes<CountedAB>& sizes, u64 precision) {
        return Family::float_needs({sizes.left, sizes.right, sizes.out, sizes.room}, precision);
    }
    static inline u64 asked = 0;
};

// 2^k terms and more for a few digits: blocks a thousand times as long as their precision, and many of them.
TEST(BlockPlanTest, PlanningDoesNotGrowWithAForcedParameter) {
    for (const u64 k : {16, 20, 21, 22, 23, 28}) {
        const BrentMcMillanAB::Series series(k, 8);
        for (const u64 tds : {1, 2, 64}) {
            CountedAB::asked = 0;
            const PSR_SeriesB<CountedAB> sum(series, 8, tds);
            // 3 10^6 where every block and both halves of every range are followed.
            EXPECT_LT(CountedAB::asked, 200000u) << k << " " << tds;
            EXPECT_LT(sum.needs().bytes, 300000u) << k << " " << tds;
        }
    }
}

TEST(BlockPlanTest, PlanningDoesNotGrowWithTheTasks) {
    // 10^11 and 10^15 digits.
    for (const u64 precision : {u64(5190512603), u64(51905126036840)}) {
        const RowSeries series(kalvor::pi_series()[0], precision);
        const auto asked = [&](u64 tds) {
            Counted::asked = 0;
            const PSR_SeriesB<Counted> plan(series, precision, tds);
            return Counted::asked;
        };
        // A walk into both halves of every range asks 10^7 times and more with 1024 tasks or more.
        for (const u64 tds : {1, 64, 129, 1024, 65536})
            EXPECT_LT(asked(tds), 600000u) << precision << " " << tds;
    }
}

}  // namespace
