#include "constants/bsr/psr_plan.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "base/errors/exceptions.h"
#include "support/capture_console.h"
#include "support/message_of.h"
#include "support/monitored_run.h"
#include "support/pi_like_series.h"

using namespace kalvor;
using namespace kalvor::BinarySplitting;

namespace {

// Sizes of `growth` nats a term; the rest of the sum needs `precision` words, less `gain` nats a term.
class LinearSeries final : public Series {
  public:
    LinearSeries(u64 terms, u64 precision, double growth, double gain)
        : Series({terms, precision, 8, 10, false}), growth_(growth), gain_(gain) {}
    double log_size_to(u64 k) const override { return growth_ * static_cast<double>(k); }
    DoubleDouble log_size_to_dd(u64 k) const override {
        return DoubleDouble::from_u64(k) * DoubleDouble(growth_);
    }
    DoubleDouble log_remaining(u64 k) const override {
        const DoubleDouble rest = DoubleDouble::from_u64(precision()) * trel::dd::ln2_64() -
                                  DoubleDouble::from_u64(k) * DoubleDouble(gain_);
        return rest < DoubleDouble(0.0) ? DoubleDouble(0.0) : rest;
    }

  private:
    double growth_, gain_;
};

void expect_cover(const PsrBlocks& blocks, u64 s, u64 N) {
    ASSERT_FALSE(blocks.empty());
    ASSERT_EQ(blocks.front().a, s);
    ASSERT_EQ(blocks.back().b, N);
    for (std::size_t i = 0; i < blocks.size(); i++) {
        ASSERT_LT(blocks[i].a, blocks[i].b);
        ASSERT_GE(blocks[i].precision_start, blocks[i].precision_end);
        if (i > 0) {
            ASSERT_EQ(blocks[i].a, blocks[i - 1].b);
        }
    }
}

// Sizes pass 2^52 nats, where a double's last place is a word, long before indices do.
TEST(SeriesTest, LargeSizesOfFewTerms) {
    const LinearSeries series(u64(1) << 47, 100, 3000.1, 1);
    for (u64 k = (u64(1) << 46) - 50; k < (u64(1) << 46) + 50; k++) {
        ASSERT_EQ(series.plan_words(k, k + 1), 69u) << k;   // 67.6 words
        ASSERT_EQ(series.plan_words(k, k + 7), 475u) << k;  // 473.4
    }
}

TEST(SeriesTest, SplitPointIsTheFirstAtHalfOfTheSize) {
    const PiLikeSeries series(true, 20000);
    for (const auto& [a, b] :
         {std::pair<u64, u64>{0, 3}, {0, 101}, {17, 5000}, {4990, 5001}, {1000, 27000}}) {
        const u64 m = series.split_point(a, b);
        const double half = (series.log_size_to(a) + series.log_size_to(b)) / 2;
        ASSERT_GT(m, a);
        ASSERT_LT(m, b);
        EXPECT_GE(series.log_size_to(m), half);
        EXPECT_TRUE(m - 1 == a || series.log_size_to(m - 1) < half);
    }
    EXPECT_EQ(series.split(10, 110), 60u);
    EXPECT_EQ(series.split(10, 111), series.split_point(10, 111));
}

// Beyond 2^48 terms a double no longer tells neighbouring indices apart.
TEST(SeriesTest, SplitPointOfHugeIndices) {
    const u64 N = u64(1) << 60;
    const LinearSeries series(N, 1000, 1.0, 0.0);
    EXPECT_EQ(series.split_point(0, N), N / 2);
    EXPECT_EQ(series.split_point(1, N), N / 2 + 1);
    EXPECT_EQ(series.split_point(N - 3, N), N - 1);
}

TEST(SeriesTest, PrecisionIsRoundedUpToWords) {
    const LinearSeries series(1000, 10, 1.0, trel::dd::ln2_64().high / 4);
    EXPECT_EQ(series.precision_words(0), 10u);
    EXPECT_EQ(series.precision_words(1), 10u);
    EXPECT_EQ(series.precision_words(7), 9u);
    EXPECT_EQ(series.precision_words(39), 1u);
    EXPECT_EQ(series.precision_words(41), 0u);
}

TEST(PsrPlanTest, BlocksOfLimitedSize) {
    const LinearSeries series(10000, 100, 1.0, 0.5);
    PsrPlan plan;
    PsrBlocks& blocks = plan.blocks;
    plan_blocks(series, 7, 99.5, plan);
    expect_cover(blocks, 7, 10000);
    EXPECT_EQ(blocks.size(), 100u);
    for (std::size_t i = 0; i + 1 < blocks.size(); i++) EXPECT_EQ(blocks[i].b - blocks[i].a, 100u);
    blocks.clear();
    const CaptureConsole console;
    plan_blocks(series, 0, 0.1, plan);  // never an empty block
    EXPECT_EQ(blocks.size(), 10000u);
}

TEST(PsrPlanTest, TenThousandBlocksAreReported) {
    const std::string once = "Performance Warning: PSR plan has exceeded 10000 blocks.\n";
    const std::string final_report =
        "PSR plan has reached a size of 10,003\n"
        "It is not recommended to proceed with such a computation.\n"
        "If you are seeing this message, it means the series is either too slow or\n"
        "there is something wrong with its convergence behavior.\n";
    CaptureConsole console;
    const auto report = [&](u64 blocks) {
        PsrPlan plan;
        plan_blocks(LinearSeries(blocks, 100, 1.0, 0.5), 0, 1.0, plan);
        EXPECT_EQ(plan.blocks.size(), blocks);
        EXPECT_EQ(console.text(), "") << "a plan does not print";
        trel::MonitoredRun().context().warn(plan.remarks);
        return console.take();
    };
    EXPECT_EQ(report(9999), "");
    EXPECT_EQ(report(10003), once + final_report);
    const std::string printed = report(10000);
    EXPECT_EQ(printed.substr(0, once.size()), once);
    EXPECT_EQ(printed.find("PSR plan has reached a size of 10,000\n"), once.size());
}

TEST(PsrPlanTest, EquilibriumOfPi) {
    const PiLikeSeries series(true, 519000);
    const PsrBlocks blocks = plan_equilibrium(series, 519000, 1).blocks;
    expect_cover(blocks, 0, series.terms());
    const double smallest = aggressive_limit(1);
    EXPECT_NEAR(smallest, 417794 * std::log(2.0), 1e-6);
    bool small = false;
    for (const PsrBlock& block : blocks) {
        const double size = series.log_size(block.a, block.b);
        if (!small && size > smallest * 1.01) {
            // The block's results are as long as the precision that the rest needs.
            EXPECT_NEAR(size, series.log_remaining(block.b).high, 200);
        } else {
            small = true;
            EXPECT_LT(size, smallest + 200);
        }
    }
    EXPECT_TRUE(small);
    EXPECT_GT(blocks.size(), 10u);
    // Half the limit: no block exceeds it, and there are more of them.
    const PsrBlocks reduced = plan_equilibrium(series, 519000 / 2, 1).blocks;
    expect_cover(reduced, 0, series.terms());
    for (const PsrBlock& block : reduced)
        EXPECT_LE(words_of(series.log_size(block.a, block.b)), 519000 / 2 + 3);
    EXPECT_LT(reduced[0].b, blocks[0].b);
}

TEST(PsrPlanTest, TooManyEquilibriumBlocks) {
    // Every block of equilibrium is half as long again as the smallest; 1,000 of them, then blocks of that
    // size.
    const double smallest = aggressive_limit(1);
    const u64 precision = static_cast<u64>(words_of(smallest) * 1.5);
    CaptureConsole console;
    const LinearSeries series(1500 * 300, precision, smallest / 200, 1e-9);
    const PsrPlan plan = plan_equilibrium(series, precision * 2, 1);
    expect_cover(plan.blocks, 0, series.terms());
    EXPECT_EQ(plan.blocks.size(), 1500u);
    trel::MonitoredRun().context().warn(plan.remarks);
    EXPECT_EQ(console.take(),
              "Equilibrium swap PSR plan has exceeded 1000 blocks.\nDropping down to aggressive PSR in "
              "memory...\n");
}

// The same sizes from another index on: the plan is the same but for that index.
TEST(PsrPlanTest, SeriesMayStartAtAnyIndex) {
    class Late final : public Series {
      public:
        explicit Late(u64 first) : Series({first + 3000000, 400000, 8, 10, false, first}) {}
        double log_size_to(u64 k) const override { return 30.0 * static_cast<double>(k); }
        DoubleDouble log_size_to_dd(u64 k) const override { return DoubleDouble(log_size_to(k)); }
        DoubleDouble log_remaining(u64 k) const override {
            return DoubleDouble(std::max(0.0, 44.0 * 400000 - 6.0 * static_cast<double>(k - first())));
        }
    };
    const PsrBlocks from_0 = plan_equilibrium(Late(0), 400000, 1).blocks;
    const PsrBlocks from_7 = plan_equilibrium(Late(7), 400000, 1).blocks;
    expect_cover(from_0, 0, 3000000);
    expect_cover(from_7, 7, 3000007);
    ASSERT_GT(from_0.size(), 3u);
    ASSERT_EQ(from_0.size(), from_7.size());
    for (std::size_t i = 0; i < from_0.size(); i++) {
        EXPECT_EQ(from_0[i].a + 7, from_7[i].a);
        EXPECT_EQ(from_0[i].precision_start, from_7[i].precision_start);
        EXPECT_EQ(from_0[i].exact, from_7[i].exact);
    }
}

// A block is exact where its results are no longer than the precision of its start.
TEST(PsrPlanTest, ExactBlocks) {
    const PiLikeSeries series(true, 519000);
    const PsrBlocks blocks = plan_equilibrium(series, 519000, 1).blocks;
    EXPECT_TRUE(blocks.front().exact);
    EXPECT_FALSE(blocks.back().exact);
    for (const PsrBlock& block : blocks)
        EXPECT_EQ(block.exact, series.plan_words(block.a, block.b) <= block.precision_start);
}

// A series that does not know what its tail needs is one exact block, even though its results are longer than
// the precision.
TEST(PsrPlanTest, ASingleBlockAsksNothing) {
    class Unknown final : public Series {
      public:
        explicit Unknown(bool one_block) : Series({500, 10, 8, 10, false, 1, one_block}) {}
        double log_size_to(u64 k) const override { return 5.0 * static_cast<double>(k); }
        DoubleDouble log_size_to_dd(u64 k) const override { return DoubleDouble(log_size_to(k)); }
    };
    const PsrBlocks blocks = plan_series(Unknown(true), 10, 1).blocks;
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_EQ(blocks[0].a, 1u);
    EXPECT_EQ(blocks[0].b, 500u);
    EXPECT_EQ(blocks[0].precision_start, 10u);
    EXPECT_TRUE(blocks[0].exact);
    for (const auto& ask : {std::function<void()>([] { Unknown(false).log_remaining(3); }),
                            std::function<void()>([] { Unknown(false).precision_words(3); }),
                            std::function<void()>([] { plan_series(Unknown(false), 10, 1); })}) {
        EXPECT_EQ(kalvor_test::message_of<trel::InvalidParametersException>(kalvor_test::Form::message, ask),
                  "Not Implemented");
    }
}

TEST(PsrPlanTest, MoreThanAMillionBlocksAreRefused) {
    PsrPlan plan;
    plan_blocks(LinearSeries(1000000, 100, 1.0, 0.5), 0, 0.5, plan);
    EXPECT_EQ(plan.blocks.size(), 1000000u);
    for (const u64 terms : {u64(1000002), u64(1) << 50, (u64(1) << 60) + 1}) {
        PsrPlan refused;
        try {
            plan_blocks(LinearSeries(terms, 100, 1.0, 0.5), 0, 1.0, refused);
            FAIL() << terms;
        } catch (const trel::LimitExceededException& e) {
            EXPECT_EQ(e.message, "The series takes more than 1,000,000 blocks.");
            EXPECT_EQ(e.limit, 1000000u);
        }
        EXPECT_TRUE(refused.blocks.empty());
    }
}

TEST(PsrPlanTest, ShortSeriesAreOneBlock) {
    const PiLikeSeries series(true, 100);
    for (const u64 tds : {1, 7, 64}) {
        const PsrBlocks blocks = plan_equilibrium(series, 100, tds).blocks;
        ASSERT_EQ(blocks.size(), 1u);
        EXPECT_EQ(blocks[0].precision_start, 100u);
    }
}

}  // namespace
