// Sums of ranges: the same bits as the definition for every formula, mode, instruction set and cut.
#include "digits/bbp/range_sum.h"

#include <gtest/gtest.h>

#include <random>

#include "reference/bbp_reference.h"
#include "support/effort.h"

namespace kalvor::BBPv2 {
namespace {

using reference::mpz_of_limbs;
using trel::i64;
using trel::u64;

FractionFloat sum(const SubSum& s, Mode mode, u64 k0, u64 k1, u64 n_limbs, const BbpKernels& kernels) {
    RangeSum range(n_limbs, kernels);
    u64 n_done = 0;
    range.add(s, mode, k0, k1, [&](u64 n) {
        EXPECT_LE(n, kBbpTile);
        n_done += n;
    });
    EXPECT_EQ(n_done, k1 - k0);
    return range.take();
}

std::string text(const FractionFloat& f) {
    return mpz_of_limbs(f.limbs()).get_str(16);
}

class RangeSumTest : public testing::TestWithParam<trel::Isa> {
  protected:
    const BbpKernels& kernels() { return bbp_kernels(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(Levels, RangeSumTest, testing::ValuesIn(trel::available_isas()),
                         [](const auto& info) { return trel::isa_name(info.param); });

TEST_P(RangeSumTest, EverySubSumInEveryMode) {
    for (u64 number = 0; number < kFormulas; number++) {
        for (const u64 offset : {0, 1, 16, 1000}) {
            for (const u64 digits : {8, 32, 33, 1000}) {
                const Figures f = figures_of(number, offset, digits);
                for (const SubSum& at_0 : formula(number).sub_sums) {
                    const SubSum s = at_offset(at_0, offset);
                    const mpz_class want = reference::bbp_sum(s, 0, f.terms, 48 * f.limbs);
                    for (const Mode mode : {Mode::a, Mode::b, Mode::c}) {
                        ASSERT_EQ(text(sum(s, mode, 0, f.terms, f.limbs, kernels())), want.get_str(16))
                            << number << " " << offset << " " << digits << " " << s.a << " " << s.b << " "
                            << mode_row(mode).letter;
                    }
                }
            }
        }
    }
}

// With divisors just below the mode's limit: terms with large exponents, and the step into the tail.
TEST_P(RangeSumTest, AtTheLimits) {
    std::mt19937_64 rng(21);
    for (const Mode mode : {Mode::a, Mode::b, Mode::c}) {
        for (u64 i = 0; i < 40 / kalvor_test::thinned(10); i++) {
            const u64 a = i % 2 ? 20 : 8;
            const u64 n = 1 + rng() % 400, n_limbs = 2 + rng() % 9;
            SubSum s{a, 1 + 2 * (rng() % (a / 2)), i % 2 ? -20 : -4, 0, false};
            const u64 k1 = (mode_row(mode).limit - s.b) / a + 1;
            const u64 k0 = k1 - n;
            // The exponent of the first term: large, or such that the tail begins inside.
            const i64 first = i % 4 < 2 ? static_cast<i64>(rng() >> 3 >> (rng() % 40)) % (i64(1) << 60)
                                        : static_cast<i64>(rng() % (n * 20 + 60));
            s.e = first - s.c * static_cast<i64>(k0);
            const mpz_class want = reference::bbp_sum(s, k0, k1, 48 * n_limbs);
            ASSERT_EQ(text(sum(s, mode, k0, k1, n_limbs, kernels())), want.get_str(16))
                << mode_row(mode).letter << " i " << i << " b " << s.b << " e " << s.e;
        }
    }
}

// More limbs than a block of limbs, more terms than are added up between two folds, and cuts anywhere.
TEST_P(RangeSumTest, LongRangesAndManyLimbs) {
    const SubSum s = at_offset(formula(kBellardBbp).sub_sums[6], 300000);
    const mpz_class want = reference::bbp_sum(s, 0, 61000, 48 * 3);
    for (const Mode mode : {Mode::a, Mode::b, Mode::c}) {
        FractionFloat total(3);
        for (const auto& [k0, k1] : {std::pair<u64, u64>{0, 37111}, {37111, 37112}, {37112, 61000}}) {
            total.add(sum(s, mode, k0, k1, 3, kernels()));
        }
        EXPECT_EQ(text(total), want.get_str(16)) << mode_row(mode).letter;
    }
    const SubSum few = at_offset(formula(kOriginalBbp).sub_sums[0], 200);
    const mpz_class many = reference::bbp_sum(few, 0, 9000, 48 * 700);
    for (const Mode mode : {Mode::a, Mode::c}) {
        // Not shown when it fails: 8400 digits.
        EXPECT_TRUE(mpz_of_limbs(sum(few, mode, 0, 9000, 700, kernels()).limbs()) == many)
            << mode_row(mode).letter;
    }
}

TEST_P(RangeSumTest, DivisorOne) {
    for (i64 e = -200; e < 5; e++) {
        const SubSum s{8, 1, -4, e, false};
        const mpz_class want = reference::bbp_sum(s, 0, 1, 144);
        EXPECT_EQ(text(sum(s, Mode::a, 0, 1, 3, kernels())), want.get_str(16)) << e;
    }
}

TEST(RangeSumStopTest, ProgressMayThrow) {
    RangeSum range(2);
    const SubSum s = at_offset(formula(kOriginalBbp).sub_sums[0], 100000);
    u64 n_done = 0;
    EXPECT_THROW(range.add(s, Mode::a, 0, 100000,
                           [&](u64 n) {
                               n_done += n;
                               if (n_done > 5000) throw 1;
                           }),
                 int);
    EXPECT_LE(n_done, 5000 + kBbpTile);
}

}  // namespace
}  // namespace kalvor::BBPv2
