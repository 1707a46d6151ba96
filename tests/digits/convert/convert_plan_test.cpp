#include "digits/convert/convert_plan.h"

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <utility>

#include "base/errors/exceptions.h"
#include "reference/mpz_words.h"

namespace kalvor::CBRv2 {
namespace {

TEST(ConvertPlanTest, Levels) {
    struct Case {
        u64 n, b, levels;
    };
    for (const Case& c : {Case{100, 13, 3}, Case{16, 8, 1}, Case{15, 15, 0}, Case{1, 1, 0}, Case{31, 8, 2},
                          Case{526318, 9, 16}}) {
        const ConvertPlanP plan = ConvertPlanP::make(kRadix19, c.n, kNoBudget, 1);
        EXPECT_EQ(plan.b, c.b) << c.n;
        EXPECT_EQ(plan.levels, c.levels) << c.n;
        EXPECT_EQ(plan.level.size(), c.levels);
        EXPECT_GE(plan.top_words(), c.n);
        EXPECT_EQ(plan.trailing_zeros, 19u);
    }
    for (u64 n = 16; n < 90; n++) {
        const ConvertPlanP plan = ConvertPlanP::make(kRadix19, n, kNoBudget, 1);
        EXPECT_TRUE(plan.b >= 8 && plan.b <= 15) << n;
    }
}

TEST(ConvertPlanTest, SmallRadixIsRefused) {
    for (const Word radix : {Word(0), Word(1)}) {
        try {
            (void)ConvertPlanP::make(radix, 100, kNoBudget, 1);
            FAIL();
        } catch (const trel::InvalidParametersException& e) {
            EXPECT_EQ(e.function, "ConvertPlanP::make()");
            EXPECT_EQ(e.message, "Invalid Parameters");
        }
    }
    EXPECT_THROW((void)ConvertPlanP::make(10, 0, kNoBudget, 1), trel::InvalidParametersException);
    EXPECT_EQ(ConvertPlanP::make(2, 40, kNoBudget, 1).trailing_zeros, 1u);
}

TEST(ConvertPlanTest, BasePowerIsExact) {
    for (const Word radix : {kRadix19, Word(10), Word(3), Word(2), Word(1) << 63, ~Word(0)}) {
        for (u64 n = 1; n < 60; n++) {
            const ConvertPlanP plan = ConvertPlanP::make(radix, n, kNoBudget, 1);
            mpz_class want;
            mpz_pow_ui(want.get_mpz_t(), reference::to_mpz(&radix, 1).get_mpz_t(), plan.b);
            const u64 zeros = plan.trailing_zeros * plan.b / 64;
            EXPECT_EQ(reference::shifted(reference::to_mpz(plan.base_power.data(), plan.base_power_words),
                                         static_cast<i64>(zeros)),
                      want)
                << radix << " " << n;
            EXPECT_NE(plan.base_power[0], 0u);
            for (u64 l = 0; l < plan.levels; l++) {
                const u64 H = plan.level[l].radix_words;
                mpz_pow_ui(want.get_mpz_t(), reference::to_mpz(&radix, 1).get_mpz_t(), H);
                EXPECT_EQ(static_cast<u64>(plan.level[l].power_exp), mpz_scan1(want.get_mpz_t(), 0) / 64);
                const u64 words = reference::word_length(want) - static_cast<u64>(plan.level[l].power_exp);
                EXPECT_GE(plan.level[l].power_words, words);
                EXPECT_LE(plan.level[l].power_words, words + 1);
            }
        }
    }
}

// A plan takes a level less when its memory and all n radix words are a byte more than the budget, from
// whatever level; radix words beyond the top size of a plan that peels count as well.
TEST(ConvertPlanTest, BudgetCountsAllRadixWords) {
    for (const u64 n : {u64(3000), u64(40000), u64(526318)}) {
        u64 peeling = 0;
        ConvertPlanP plan = ConvertPlanP::make(kRadix19, n, kNoBudget, 1);
        while (plan.levels > 4) {
            const u64 needs = plan.needs().bytes + 8 * n;
            EXPECT_EQ(ConvertPlanP::make(kRadix19, n, needs, 1).levels, plan.levels) << n;
            ConvertPlanP less = ConvertPlanP::make(kRadix19, n, needs - 1, 1);
            ASSERT_LT(less.levels, plan.levels) << n;
            if (less.levels > 4) {
                EXPECT_LE(less.needs().bytes + 8 * n, needs - 1) << n;
                if (less.top_words() < n) peeling++;
            }
            plan = std::move(less);
        }
        EXPECT_GT(peeling, 0u) << n;
        EXPECT_EQ(ConvertPlanP::make(kRadix19, n, 0, 1).levels, 4u);
    }
}

// Many tasks take a quarter more than one at most: then splits near the top do not fork. Few tasks always do.
TEST(ConvertPlanTest, ManyTasksTakeLittleMoreMemoryThanOne) {
    for (const u64 n : {u64(53000), u64(526318), u64(5263160)}) {
        const auto bytes = [n](const ConvertPlanP& plan) { return plan.needs().bytes + 8 * n; };
        const ConvertPlanP one = ConvertPlanP::make(kRadix19, n, kNoBudget, 1);
        for (const u64 tasks : {2, 4, 8, 64, 1000}) {
            const ConvertPlanP plan = ConvertPlanP::make(kRadix19, n, kNoBudget, tasks);
            EXPECT_LE(bytes(plan), bytes(one) / 4 * 5) << n << " " << tasks;
            EXPECT_EQ(plan.levels, one.levels) << n << " " << tasks;
            EXPECT_EQ(plan.forks(plan.levels - 1, plan.tds), tasks <= 8 || n == 53000) << n << " " << tasks;
            EXPECT_TRUE(plan.forks(7, 2)) << n << " " << tasks;
        }
    }
}

// ceil((n + 1) log2(R) / 64) + 2
TEST(ConvertPlanTest, LengthHoldsTheRadixWordsAndTwoMore) {
    const ConvertPlanP plan = ConvertPlanP::make(kRadix19, 20, kNoBudget, 1);
    for (const u64 n : {1ull, 8ull, 71ull, 72ull, 100ull, 12345ull, 600000ull}) {
        mpz_class power;
        mpz_pow_ui(power.get_mpz_t(), reference::to_mpz(&kRadix19, 1).get_mpz_t(), n + 1);
        EXPECT_EQ(plan.length(n), reference::word_length(power) + 2) << n;
    }
}

}  // namespace
}  // namespace kalvor::CBRv2
